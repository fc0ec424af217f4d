#include <tools/local/server/BoundaryFinder.h>

#include "RawClient.h"

#include <gtest/gtest.h>

namespace lithmar::local {
namespace {

const std::string kDelimiter = "\r\n------------------------d74496d66958873e";

// The vector search and the portable one must agree everywhere: at every
// start offset of data holding delimiters, near misses (first and last byte
// right, middle wrong) and delimiters cut by the end of the text.
TEST(BoundaryFinderTest, VectorAndPortableSearchesAgree)
{
    const BoundaryFinder finder(kDelimiter);
    std::string nearMiss = kDelimiter;
    nearMiss[10] = 'x';
    std::string text = testing::pseudoRandomBytes(300, 3) + nearMiss + testing::pseudoRandomBytes(77, 4) + kDelimiter +
                       testing::pseudoRandomBytes(5, 5) + kDelimiter + "tail" + kDelimiter.substr(0, 20);
    for (std::size_t offset = 0; offset <= text.size(); ++offset) {
        const std::string_view rest = std::string_view(text).substr(offset);
        const std::size_t expected = rest.find(kDelimiter);
        EXPECT_EQ(finder.find(rest), expected) << "from offset " << offset;
        EXPECT_EQ(finder.findWithoutVectors(rest), expected) << "from offset " << offset;
    }
}

TEST(BoundaryFinderTest, FindsTheStartOfADelimiterCutByTheEnd)
{
    const BoundaryFinder finder(kDelimiter);
    const std::pair<std::string, std::size_t> cases[] = {
        {"data", 4},
        {"data\r", 4},
        {"data\r\n--", 4},
        {"data" + kDelimiter.substr(0, kDelimiter.size() - 1), 4},
        {"\r\r\n-", 1},
        {"data\r\n-x", 8},
        {"", 0},
    };
    for (const auto& [text, expected] : cases) {
        EXPECT_EQ(finder.partialAtEnd(text), expected) << text;
    }
}

} // namespace
} // namespace lithmar::local
