#include <tools/local/server/PathPattern.h>

#include <gtest/gtest.h>

#include <stdexcept>

namespace lithmar::local {
namespace {

using Params = std::map<std::string, std::string>;

struct MatchCase {
    std::string pattern;
    std::string path;
    std::optional<Params> expected; // nullopt: no match
};

TEST(PathPatternTest, MatchesAndCaptures)
{
    const MatchCase cases[] = {
        {"/common/sites/v1", "/common/sites/v1", Params{}},
        {"/common/sites/v1", "/common/sites/v1/", std::nullopt},
        {"/common/sites/v1", "/common/sites", std::nullopt},
        {"/common/sites/v1/{id}", "/common/sites/v1/s-42", Params{{"id", "s-42"}}},
        {"/common/sites/v1/{id}", "/common/sites/v1/", std::nullopt},
        {"/common/sites/v1/{id}", "/common/sites/v1/a/b", std::nullopt},
        {"/a/{x}/b/{y}", "/a/1/b/2", Params{{"x", "1"}, {"y", "2"}}},
        // Captured as sent: no percent-decoding.
        {"/files/{name}", "/files/core%207.las", Params{{"name", "core%207.las"}}},
        {"/files/{rest...}", "/files/a/b/c.txt", Params{{"rest", "a/b/c.txt"}}},
        {"/files/{rest...}", "/files/", Params{{"rest", ""}}},
        {"/files/{rest...}", "/files", Params{{"rest", ""}}},
        {"/files/{rest...}", "/filesX", std::nullopt},
        {"/files/*", "/files/x/y", Params{{"*", "x/y"}}},
        {"*", "/any/thing", Params{{"*", "/any/thing"}}},
        {"/", "/", Params{}},
        {"/", "/x", std::nullopt},
        {"/x", "x", std::nullopt},
    };
    for (const MatchCase& c : cases) {
        EXPECT_EQ(PathPattern(c.pattern).match(c.path), c.expected) << c.pattern << " against " << c.path;
    }
}

TEST(PathPatternTest, RejectsMalformedPatternsWithTheReason)
{
    const std::pair<std::string, std::string> cases[] = {
        {"common/sites", "must start with '/'"},
        {"", "must start with '/'"},
        {"/a/{}", "without a valid name"},
        {"/a/{...}", "without a valid name"},
        {"/a/x{id}", "must be a whole segment"},
        {"/a/{rest...}/b", "only the last segment"},
        {"/*/b", "only the last segment"},
    };
    for (const auto& [pattern, reason] : cases) {
        try {
            PathPattern{pattern};
            ADD_FAILURE() << pattern << " was accepted";
        } catch (const std::invalid_argument& e) {
            EXPECT_NE(std::string(e.what()).find(reason), std::string::npos) << e.what();
        }
    }
}

} // namespace
} // namespace lithmar::local
