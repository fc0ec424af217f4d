// The text rules behind the endpoints, for the edge cases that the wire tests
// (EndpointsTest) do not reach.

#include <tools/local/common/Utf8.h>
#include <tools/local/exchange/JsonCommand.h>
#include <tools/local/exchange/PercentEncoding.h>
#include <tools/local/exchange/ServicePaths.h>
#include <tools/local/session/WebSessions.h>

#include <gtest/gtest.h>

#include <stdexcept>

namespace lithmar::local {
namespace {

TEST(TextRules, Utf8PercentDecodingJsonContentTypesAndServiceBasePaths)
{
    EXPECT_TRUE(isValidUtf8("\xc3\x89 \xe2\x82\xac \xf0\x9f\x98\x80 \xf4\x8f\xbf\xbf"));
    // Stray continuation, truncated, overlong three- and four-byte forms, a
    // surrogate, past U+10FFFF, a lead byte past F4, a continuation replaced.
    for (const char* bad : {"\x80", "\xc3", "\xe0\x80\xaf", "\xf0\x80\x80\xaf", "\xed\xa0\x80", "\xf4\x90\x80\x80",
                            "\xf5\x80\x80\x80", "a\xe2(\xac"}) {
        EXPECT_FALSE(isValidUtf8(bad)) << ::testing::PrintToString(std::string(bad));
    }
    EXPECT_EQ(percentDecoded("f%201%2fb+", false), "f 1/b+");
    EXPECT_EQ(percentDecoded("a+b", true), "a b");
    for (const char* bad : {"%", "%4", "a%2", "%g1"}) {
        EXPECT_EQ(percentDecoded(bad, false), std::nullopt) << bad;
    }
    EXPECT_EQ(
        queryParameters("crs=EPSG%3A4326&detailLevel=&format&format=json&&x=1+2"),
        (std::map<std::string, std::string>{{"crs", "EPSG:4326"}, {"detailLevel", ""}, {"format", ""}, {"x", "1 2"}}));
    for (const char* good : {"Application/JSON", "application/json;charset=\"UTF-8\"", "application/json; charset=utf8",
                             "application/problem+json", " application/json ; q=1"}) {
        EXPECT_TRUE(isJsonContentType(good)) << good;
    }
    for (const char* bad : {"", "text/json", "application/jsonx", "application/+json",
                            "application/json; charset=latin1", "multipart/form-data; boundary=x"}) {
        EXPECT_FALSE(isJsonContentType(bad)) << bad;
    }
    for (const char* bad : {"", "/", "lithmar-xchng", "/lithmar-xchng/", "//lithmar-xchng", "/-xchng", "/lithmar",
                            "/a b-xchng", "/x?-xchng"}) {
        EXPECT_THROW(checkBasePath(bad, "-xchng"), std::invalid_argument) << bad;
    }
}

TEST(TextRules, SessionCookiesAndATableThatForgetsTheOldestBeyondItsSize)
{
    const std::pair<const char*, std::optional<std::string>> cases[] = {
        {"a=1; JSESSIONID = ABC ; b=2", "ABC"},
        {"a=1, JSESSIONID=ABC", "ABC"}, // joined Cookie headers
        {"XJSESSIONID=ABC", std::nullopt},
        {"JSESSIONID", std::nullopt},
    };
    for (const auto& [header, value] : cases) {
        EXPECT_EQ(WebSessions::cookieValue(header, "JSESSIONID"), value) << header;
    }
    WebSessions sessions("node-7", 2);
    RecordedRequest withCookie;
    const std::string first = sessions.admit(RecordedRequest{}).sessionId;
    sessions.admit(RecordedRequest{});
    withCookie.headers.push_back({"Cookie", "JSESSIONID=" + first});
    EXPECT_FALSE(sessions.admit(withCookie).opened);
    sessions.admit(RecordedRequest{});
    EXPECT_EQ(sessions.sessionCount(), 2u);
    EXPECT_TRUE(sessions.admit(withCookie).opened) << "the oldest was forgotten";
}

} // namespace
} // namespace lithmar::local
