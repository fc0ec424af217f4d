// The small text rules of the service: UTF-8, percent-encoding, base paths,
// cookies and content types.

#include <tools/local/exchange/JsonCommand.h>
#include <tools/local/exchange/PercentEncoding.h>
#include <tools/local/exchange/RequestError.h>
#include <tools/local/exchange/ServicePaths.h>
#include <tools/local/exchange/Utf8.h>
#include <tools/local/session/WebSessions.h>

#include <gtest/gtest.h>

#include <stdexcept>

namespace lithmar::local {
namespace {

TEST(Utf8, AcceptsWellFormedTextAndRejectsEveryKindOfMalformedSequence)
{
    EXPECT_TRUE(isValidUtf8(""));
    EXPECT_TRUE(isValidUtf8("plain"));
    EXPECT_TRUE(isValidUtf8("\xc3\x89"
                            "corce \xe2\x82\xac \xf0\x9f\x98\x80 \xf4\x8f\xbf\xbf"));
    const char* malformed[] = {
        "\x80",             // stray continuation byte
        "\xc3",             // truncated two-byte sequence
        "\xc0\xaf",         // overlong '/'
        "\xe0\x80\xaf",     // overlong three-byte
        "\xed\xa0\x80",     // surrogate U+D800
        "\xf4\x90\x80\x80", // beyond U+10FFFF
        "\xf5\x80\x80\x80", // invalid lead byte
        "\xe2\x82",         // truncated three-byte at the end
        "a\xe2(\xac",       // continuation replaced by ASCII
        "\xff",
    };
    for (const char* text : malformed) {
        EXPECT_FALSE(isValidUtf8(text)) << testing::PrintToString(std::string(text));
    }
}

TEST(Utf8, CountsCodePointsNotBytes)
{
    EXPECT_EQ(codePointCount("Ecorce"), 6u);
    EXPECT_EQ(codePointCount("\xc3\x89"
                             "corce"),
              6u);
    EXPECT_EQ(codePointCount("\xf0\x9f\x98\x80"), 1u);
}

TEST(PercentEncoding, DecodesEscapesAndPlusOnlyInQueries)
{
    EXPECT_EQ(percentDecoded("f%201%2Fb", false), "f 1/b");
    EXPECT_EQ(percentDecoded("a+b", false), "a+b");
    EXPECT_EQ(percentDecoded("a+b", true), "a b");
    EXPECT_EQ(percentDecoded("%e2%82%ac", false), "\xe2\x82\xac");
    EXPECT_EQ(percentDecoded("%", false), std::nullopt);
    EXPECT_EQ(percentDecoded("%4", false), std::nullopt);
    EXPECT_EQ(percentDecoded("%zz", false), std::nullopt);
    EXPECT_EQ(percentDecoded("ab%", false), std::nullopt);
}

TEST(PercentEncoding, SplitsQueriesKeepingTheFirstOfRepeatedNames)
{
    const auto query = queryParameters("crs=EPSG%3A4326&detailLevel=&format&format=json&&x=1+2");
    EXPECT_EQ(query.at("crs"), "EPSG:4326");
    EXPECT_EQ(query.at("detailLevel"), "");
    EXPECT_EQ(query.at("format"), "");
    EXPECT_EQ(query.at("x"), "1 2");
    EXPECT_EQ(query.size(), 4u);
    EXPECT_TRUE(queryParameters("").empty());
    try {
        queryParameters("crs=%G1");
        FAIL() << "a bad escape must be refused";
    } catch (const RequestError& e) {
        EXPECT_EQ(e.status(), 400);
    }
}

TEST(ServicePaths, SwapsTheServiceSuffixOfTheLastSegment)
{
    EXPECT_EQ(siblingPath("/lithmar-xchng", "-xchng", "-fcs"), "/lithmar-fcs");
    EXPECT_EQ(siblingPath("/eu/prod-xchng", "-xchng", "-gate"), "/eu/prod-gate");
    EXPECT_EQ(siblingPath(kDefaultExchangeBasePath, service_suffix::kExchange, service_suffix::kDirectory),
              "/lithmar-dirx");
}

TEST(ServicePaths, RefusesBasePathsThatCannotNameAService)
{
    for (const char* bad : {"", "/", "lithmar-xchng", "/lithmar-xchng/", "/-xchng", "/lithmar", "//lithmar-xchng",
                            "/lithmar-xchng?x", "/a b-xchng", "/xchng-fcs"}) {
        EXPECT_THROW(checkBasePath(bad, "-xchng"), std::invalid_argument) << bad;
    }
    EXPECT_NO_THROW(checkBasePath("/lithmar-xchng", "-xchng"));
}

TEST(SessionCookie, IsFoundAmongOtherCookiesWhateverTheSpacing)
{
    EXPECT_EQ(WebSessions::cookieValue("JSESSIONID=ABC", "JSESSIONID"), "ABC");
    EXPECT_EQ(WebSessions::cookieValue("SERVERID=n1;JSESSIONID=ABC", "JSESSIONID"), "ABC");
    EXPECT_EQ(WebSessions::cookieValue("a=1; JSESSIONID = ABC ; b=2", "JSESSIONID"), "ABC");
    EXPECT_EQ(WebSessions::cookieValue("a=1, JSESSIONID=ABC", "JSESSIONID"), "ABC");
    EXPECT_EQ(WebSessions::cookieValue("XJSESSIONID=ABC", "JSESSIONID"), std::nullopt);
    EXPECT_EQ(WebSessions::cookieValue("JSESSIONID", "JSESSIONID"), std::nullopt);
    EXPECT_EQ(WebSessions::cookieValue("", "JSESSIONID"), std::nullopt);
}

TEST(WebSessionTable, ForgetsTheOldestSessionBeyondItsSize)
{
    WebSessions sessions("node-7", 2);
    auto withCookie = [](const std::string& id) {
        RecordedRequest request;
        request.method = "GET";
        request.headers.push_back({"Cookie", "JSESSIONID=" + id});
        return request;
    };
    const std::string first = sessions.admit(RecordedRequest{}).sessionId;
    const std::string second = sessions.admit(RecordedRequest{}).sessionId;
    EXPECT_FALSE(sessions.admit(withCookie(first)).opened);
    sessions.admit(RecordedRequest{});
    EXPECT_EQ(sessions.sessionCount(), 2u);
    EXPECT_TRUE(sessions.admit(withCookie(first)).opened) << "the oldest was forgotten";
    EXPECT_EQ(sessions.cookieHeaders(second).at(1).value, "SERVERID=node-7; path=/");
}

TEST(JsonContentType, AcceptsJsonMediaTypesInUtf8Only)
{
    for (const char* good : {"application/json", "Application/JSON", "application/json; charset=utf-8",
                             "application/json;charset=\"UTF-8\"", "application/problem+json", " application/json "}) {
        EXPECT_TRUE(isJsonContentType(good)) << good;
    }
    for (const char* bad : {"", "text/plain", "text/json", "application/jsonx", "application/json; charset=latin1",
                            "application/+json", "multipart/form-data; boundary=x", "json"}) {
        EXPECT_FALSE(isJsonContentType(bad)) << bad;
    }
}

} // namespace
} // namespace lithmar::local
