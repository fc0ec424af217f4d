#include <lithmar/exchange/session/TicketService.h>
#include <lithmar/exchange/session/UserNameService.h>

#include <gtest/gtest.h>

namespace sdk = com::vantorel::lithmar;

namespace {

struct LoginLookup {
    const char* name;
    std::wstring serviceUrl;
    std::string directory;
    std::wstring loginUrl;
};

TEST(TicketRulesTest, FindsTheLoginServiceOfTheFirstPlatformHostingTheService)
{
    const std::string twoPlatforms = R"({"platforms": [
        {"id": "r1.example.org", "services": [{"id": "other", "url": "https://o"}]},
        {"id": "R1.EXAMPLE.ORG", "services": [{"id": "sentrowe", "url": "https://second"}]}]})";
    const std::string twoLogins = R"({"platforms": [
        {"id": "p9", "services": [{"id": "sentrowe", "url": "https://elsewhere"}]},
        {"id": "r1.example.org", "services": [{"id": "x", "url": "https://x"},
            {"id": "SENTROWE", "url": "https://Login.Example.org/cas"}, {"id": "sentrowe", "url": "https://late"}]}]})";
    const std::vector<LoginLookup> cases{
        {"first login service wins, ids case-insensitive, url as given", L"https://r1.example.org/dirx", twoLogins,
         L"https://Login.Example.org/cas/login?service=GATE"},
        {"service URL in capitals", L"HTTPS://R1.EXAMPLE.ORG/dirx", twoLogins,
         L"https://Login.Example.org/cas/login?service=GATE"},
        {"only the first matching platform is searched", L"https://r1.example.org/d", twoPlatforms, L""},
        {"platform id matched at the start only", L"https://proxy/https://r1.example.org", twoLogins, L""},
        {"no match over http gives the service URL", L"http://127.0.0.1:1/dirx", twoLogins, L"http://127.0.0.1:1/dirx"},
        {"http platforms are not looked for", L"http://r1.example.org/d", twoLogins, L"http://r1.example.org/d"},
        {"empty directory", L"https://r1.example.org/d", "", L""},
        {"empty directory over http", L"http://h/d", "", L"http://h/d"},
        {"\"http://\" inside the query is not plain http", L"https://h/d?next=http://x", "", L""},
        {"no platforms", L"https://r1.example.org/d", R"({"platforms": []})", L""},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        EXPECT_EQ(sdk::TicketService::findLoginUrl(c.serviceUrl, c.directory), c.loginUrl);
    }
}

TEST(TicketRulesTest, DirectoryThatIsNotTheExpectedJsonFailsWithTheJsonError)
{
    for (const std::string directory : {"not json", "{}", R"({"platforms": {}})",
                                        R"({"platforms": [{"id": 7, "services": []}]})"}) {
        SCOPED_TRACE(directory);
        EXPECT_THROW(sdk::TicketService::findLoginUrl(L"https://h/d", directory), web::json::json_exception);
    }
}

struct Redirect {
    const char* name;
    std::wstring loginUrl;
    const char* location; // nullptr: no Location header
    std::wstring ticket;
};

TEST(TicketRulesTest, TicketIsEverythingAfterTheFirstEquals)
{
    const std::vector<Redirect> cases{
        {"ticket in the query", L"https://l/login?service=GATE", "https://g/gate?ticket=ST-1", L"ST-1"},
        {"split at the first '='", L"https://l/login", "https://g/?ticket=a=b&c=d", L"a=b&c=d"},
        {"no Location over http", L"http://h/dirx", nullptr, L"LOCAL_TICKET"},
        {"no Location over https", L"https://l/login", nullptr, L""},
        {"Location without '=' over https: not signed in", L"https://l/login", "https://l/signin", L""},
        {"Location without '=' over http", L"http://h/login", "http://h/signin", L"LOCAL_TICKET"},
        {"\"http://\" later in the login URL", L"https://l/login?from=http://h", nullptr, L""},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        web::http::http_response response(302);
        if (c.location) {
            response.headers().add("Location", c.location);
        }
        EXPECT_EQ(sdk::TicketService::ticketFromRedirect(c.loginUrl, response), c.ticket);
    }
}

struct UserAnswer {
    const char* name;
    std::wstring serviceUrl;
    std::string answer;
    std::wstring user;
};

TEST(TicketRulesTest, CurrentUserIsTheLoginFieldAndMalformedAnswersGiveNoName)
{
    const std::wstring https = L"https://h-dash/api/users/current";
    const std::vector<UserAnswer> cases{
        {"login field", https, R"({"login": "ada", "name": "Ada L."})", L"ada"},
        {"non-ASCII login", https, R"({"login": "z\u00fcrich"})", L"z\u00fcrich"},
        {"empty object", https, "{}", L""},
        {"not JSON", https, "<html>sign in</html>", L""},
        {"login not a string", https, R"({"login": 42})", L""},
        {"not an object", https, R"(["ada"])", L""},
        {"empty answer over http", L"http://127.0.0.1/lithmar-dash/api/users/current", "", L"LOCAL_USER"},
        {"empty answer over https", https, "", L""},
        {"\"http://\" inside the query", L"https://h/api/users/current?back=http://x", "", L""},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        EXPECT_EQ(sdk::UserNameService::userFromAnswer(c.serviceUrl, c.answer), c.user);
    }
}

} // namespace
