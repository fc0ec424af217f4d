#include <tools/local/server/RequestFraming.h>

#include <gtest/gtest.h>

namespace lithmar::local {
namespace {

TEST(RequestFramingTest, NamesEveryConflictOfFramingOrHost)
{
    struct Case {
        std::vector<Header> headers;
        std::string problem; // "" when the head is fine
        unsigned version = 11;
    };
    const Case cases[] = {
        {{{"Host", "a"}, {"Content-Length", "3"}}, ""},
        {{{"Host", "a"}, {"Transfer-Encoding", "gzip, chunked"}}, ""},
        {{{"Host", "a"}, {"Content-Length", "3"}, {"content-length", "3"}}, ""},
        {{{"Content-Length", "3"}}, "", 10},
        {{{"Content-Length", "3"}}, "no Host header"},
        {{{"Host", "a"}, {"host", "a"}}, "more than one Host header"},
        {{{"Host", "a"}, {"Content-Length", "3, 4"}}, "Content-Length values differ (3, 4)"},
        {{{"Host", "a"}, {"Content-Length", "3"}, {"Content-Length", "4"}}, "Content-Length values differ (3, 4)"},
        {{{"Host", "a"}, {"Content-Length", "3"}, {"Transfer-Encoding", "chunked"}},
         "both Content-Length and Transfer-Encoding"},
        {{{"Host", "a"}, {"Transfer-Encoding", "chunked, gzip"}}, "Transfer-Encoding does not end in chunked"},
        {{{"Host", "a"}, {"Transfer-Encoding", ""}}, "Transfer-Encoding does not end in chunked"},
        {{{"Host", "a"}, {"Transfer-Encoding", "chunked"}, {"Transfer-Encoding", "chunked"}},
         "Transfer-Encoding applies chunked more than once"},
    };
    for (const Case& c : cases) {
        std::string described;
        for (const Header& h : c.headers) {
            described += h.name + ": " + h.value + "; ";
        }
        EXPECT_EQ(framingProblem(c.headers, c.version), c.problem) << "HTTP/" << c.version << " " << described;
    }
}

} // namespace
} // namespace lithmar::local
