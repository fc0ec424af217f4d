#include <lithmar/exchange/session/SessionCookies.h>

#include <gtest/gtest.h>

namespace api = com::vantorel::lithmar::exploration::api;

namespace {

struct MergeCase {
    std::wstring store;
    std::wstring name;
    std::wstring piece;
    std::wstring expected;
};

class MergeCookie : public testing::TestWithParam<MergeCase> {};

TEST_P(MergeCookie, ReplacesEveryPartNamingTheCookieOrAppends)
{
    std::wstring store = GetParam().store;
    api::mergeCookie(store, GetParam().name, GetParam().piece);
    EXPECT_EQ(store, GetParam().expected);
}

INSTANTIATE_TEST_SUITE_P(
    Stores, MergeCookie,
    testing::Values(MergeCase{L"", L"JSESSIONID", L"JSESSIONID=a", L"JSESSIONID=a"},
                    MergeCase{L"JSESSIONID=a;SERVERID=b", L"JSESSIONID", L"JSESSIONID=c", L"JSESSIONID=c;SERVERID=b"},
                    MergeCase{L"JSESSIONID=a", L"SERVERID", L"SERVERID=s", L"JSESSIONID=a;SERVERID=s"},
                    // names are plain substrings: a longer cookie name holding it counts
                    MergeCase{L"XJSESSIONIDX=1;k=v", L"JSESSIONID", L"JSESSIONID=2", L"JSESSIONID=2;k=v"},
                    // duplicates stay duplicates, each replaced by the same piece
                    MergeCase{L"JSESSIONID=1;JSESSIONID=2", L"JSESSIONID", L"JSESSIONID=3",
                              L"JSESSIONID=3;JSESSIONID=3"},
                    // the empty part after a trailing ';' keeps its place
                    MergeCase{L"a;", L"N", L"N=1", L"a;;N=1"},
                    // blanks are not trimmed; a leading empty part adds no separator
                    MergeCase{L" x=1; y=2", L"JSESSIONID", L"JSESSIONID=z", L" x=1; y=2;JSESSIONID=z"},
                    MergeCase{L";x=1", L"N", L"N=1", L"x=1;N=1"},
                    // case matters
                    MergeCase{L"jsessionid=1", L"JSESSIONID", L"JSESSIONID=2", L"jsessionid=1;JSESSIONID=2"}));

std::wstring capture(const std::wstring& store, const char* setCookie)
{
    web::http::http_response response(200);
    if (setCookie != nullptr) {
        response.headers().add("Set-Cookie", setCookie);
    }
    std::wstring result = store;
    api::captureSessionCookies(response, result);
    return result;
}

TEST(CaptureSessionCookies, KeepsTheLeadingNameValueOfTheHeader)
{
    EXPECT_EQ(capture(L"", "JSESSIONID=abc; Path=/; HttpOnly"), L"JSESSIONID=abc");
    EXPECT_EQ(capture(L"JSESSIONID=abc", "SERVERID=s1; path=/"), L"JSESSIONID=abc;SERVERID=s1");
    EXPECT_EQ(capture(L"JSESSIONID=old;SERVERID=s1", "JSESSIONID=new; Secure"), L"JSESSIONID=new;SERVERID=s1");
    EXPECT_EQ(capture(L"", "JSESSIONID=whole"), L"JSESSIONID=whole") << "no \"; \" in the value";
}

TEST(CaptureSessionCookies, IgnoresResponsesWithoutSessionCookies)
{
    EXPECT_EQ(capture(L"JSESSIONID=a", nullptr), L"JSESSIONID=a");
    EXPECT_EQ(capture(L"JSESSIONID=a", "theme=dark; Path=/"), L"JSESSIONID=a");
}

TEST(CaptureSessionCookies, AValueNamingBothCookiesStoresItsLeadingPieceUnderBoth)
{
    EXPECT_EQ(capture(L"", "SERVERID=s9; JSESSIONID=j9"), L"SERVERID=s9");
    EXPECT_EQ(capture(L"JSESSIONID=a;SERVERID=b", "JSESSIONID=j; Path=/, SERVERID=s; Path=/"),
              L"JSESSIONID=j;JSESSIONID=j;JSESSIONID=j")
        << "the SERVERID part is replaced by the leading piece, which names no SERVERID, so it is appended too";
}

TEST(ApplySessionCookies, MergesTheStoreIntoTheCookieHeader)
{
    std::map<std::wstring, std::wstring> headers{{L"Cookie", L"x=1"}};
    api::applySessionCookies(headers, L"JSESSIONID=a;SERVERID=b");
    EXPECT_EQ(headers[L"Cookie"], L"x=1;JSESSIONID=a;SERVERID=b");

    headers[L"Cookie"] = L"JSESSIONID=old";
    api::applySessionCookies(headers, L"JSESSIONID=a;SERVERID=b");
    EXPECT_EQ(headers[L"Cookie"], L"JSESSIONID=a;SERVERID=b");
}

TEST(ApplySessionCookies, AnEmptyStoreLeavesAnEmptyOrUnchangedHeader)
{
    std::map<std::wstring, std::wstring> headers;
    api::applySessionCookies(headers, L"");
    ASSERT_EQ(headers.count(L"Cookie"), 1u);
    EXPECT_EQ(headers[L"Cookie"], L"");
    headers[L"Cookie"] = L"k=v";
    api::applySessionCookies(headers, L"");
    EXPECT_EQ(headers[L"Cookie"], L"k=v");
}

} // namespace
