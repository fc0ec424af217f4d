// The platform session on the client: its rules (sibling service URLs,
// cookies, login URL, ticket, current user), then the calls on the wire.

#include <lithmar/exchange/session/GetVM.h>
#include <lithmar/exchange/session/ServiceUrls.h>
#include <lithmar/exchange/session/SessionCookies.h>
#include <lithmar/exchange/session/TicketService.h>
#include <lithmar/exchange/session/UserNameService.h>
#include <lithmar/runtime/ApiException.h>
#include <lithmar/runtime/Utf8.h>

#include <tests/support/Client.h>

#include <gtest/gtest.h>

namespace sdk = com::vantorel::lithmar;
namespace api = sdk::exploration::api;
namespace local = ::lithmar::local;
namespace test = ::lithmar::test;
using sdk::TicketService;
using sdk::UserNameService;
using Strings = std::tuple<std::wstring, std::string, std::wstring>;

namespace {

TEST(ServiceUrls, MapValueWinsOtherwiseEverySuffixIsSwapped)
{
    const std::wstring u = L"/api/users/current", d = L"/vireon/resources/AppsMngt/api/v1/services";
    const std::vector<std::tuple<api::ServiceUrlMap, std::string, std::wstring>> rows{
        {{}, "a-xchng/b-xchng", L"a-dash/b-dash" + u + L" a-gate/b-gate a-dirx/b-dirx" + d},
        // An empty value counts as absent; keys are case-sensitive.
        {{{"Brevane", ""}, {"tidewell", ""}, {"maraquil", "x"}}, "h-xchng", L"h-dash" + u + L" h-gate h-dirx" + d},
        // Values as they stand, then the path.
        {{{"Brevane", "u/"}, {"tidewell", "wss://n"}, {"Maraquil", "d"}}, "h-xchng", L"u/" + u + L" wss://n d" + d},
    };
    for (const auto& [map, own, expected] : rows) {
        EXPECT_EQ(api::userServiceUrl(map, own) + L" " + api::notificationServiceUrl(map, own) + L" " +
                      api::servicesDirectoryUrl(map, own),
                  expected);
    }
    EXPECT_THROW(api::userServiceUrl({}, "https://h-xchng/\xff"), sdk::EncodingError);
}

TEST(SessionCookies, PartsNamingACookieAreReplacedOrThePieceAppended)
{
    for (const auto& [store, name, piece, expected] : std::vector<std::array<std::wstring, 4>>{
             // Names are case-sensitive substrings; every part naming one is replaced.
             {L"XJSESSIONIDX=1;k=v;JSESSIONID=2", L"JSESSIONID", L"JSESSIONID=3", L"JSESSIONID=3;k=v;JSESSIONID=3"},
             {L"jsessionid=1", L"JSESSIONID", L"JSESSIONID=2", L"jsessionid=1;JSESSIONID=2"},
             // A leading empty part adds no ';', a trailing one keeps its place; blanks stay.
             {L";x=1; y=2;", L"N", L"N=1", L"x=1; y=2;;N=1"},
         }) {
        std::wstring merged = store;
        api::mergeCookie(merged, name, piece);
        EXPECT_EQ(merged, expected) << store;
    }
    for (const auto& [store, setCookie, expected] : std::vector<Strings>{
             {L"JSESSIONID=old;SERVERID=s1", "JSESSIONID=new; Secure", L"JSESSIONID=new;SERVERID=s1"},
             {L"JSESSIONID=a", "SERVERID=s1; path=/", L"JSESSIONID=a;SERVERID=s1"},
             {L"JSESSIONID=a", "theme=dark; Path=/", L"JSESSIONID=a"},
             // The leading piece goes under both names; it names no SERVERID, so it is appended too.
             {L"JSESSIONID=a;SERVERID=b", "JSESSIONID=j; Path=/, SERVERID=s; Path=/",
              L"JSESSIONID=j;JSESSIONID=j;JSESSIONID=j"},
         }) {
        web::http::http_response response(200);
        response.headers().add("Set-Cookie", setCookie);
        std::wstring captured = store;
        api::captureSessionCookies(response, captured);
        EXPECT_EQ(captured, expected) << store;
    }
    std::map<std::wstring, std::wstring> headers;
    api::applySessionCookies(headers, L"");
    EXPECT_EQ(headers.at(L"Cookie"), L"") << "created, empty";
    headers[L"Cookie"] = L"x=1;JSESSIONID=old";
    api::applySessionCookies(headers, L"JSESSIONID=a;SERVERID=b");
    api::applySessionCookies(headers, L"");
    EXPECT_EQ(headers[L"Cookie"], L"x=1;JSESSIONID=a;SERVERID=b");
}

TEST(TicketRules, LoginUrlFromTheDirectoryAndTicketFromTheRedirect)
{
    const std::string directory = R"({"platforms": [
        {"id": "p9", "services": [{"id": "sentrowe", "url": "https://elsewhere"}]},
        {"id": "r1.example.org", "services": [{"id": "x", "url": "https://x"},
            {"id": "SENTROWE", "url": "https://Login.Example.org/cas"}, {"id": "sentrowe", "url": "https://late"}]},
        {"id": "r2.example.org", "services": []},
        {"id": "R2.EXAMPLE.ORG", "services": [{"id": "sentrowe", "url": "https://second"}]}]})";
    const std::wstring login = L"https://Login.Example.org/cas/login?service=GATE";
    for (const auto& [serviceUrl, text, loginUrl] : std::vector<Strings>{
             {L"https://r1.example.org/dirx", directory, login},
             {L"HTTPS://R1.EXAMPLE.ORG/dirx", directory, login},
             {L"https://r2.example.org/d", directory, L""}, // only the first platform hosting it counts
             {L"https://proxy/https://r1.example.org", directory, L""},
             {L"http://r1.example.org/d", directory, L"http://r1.example.org/d"},
             {L"http://h/d", "", L"http://h/d"},
             {L"https://h/d?next=http://x", "", L""},
         }) {
        EXPECT_EQ(TicketService::findLoginUrl(serviceUrl, text), loginUrl) << serviceUrl;
    }
    for (const std::string bad : {"not json", R"({"platforms": [{"id": 7, "services": []}]})"}) {
        EXPECT_THROW(TicketService::findLoginUrl(L"https://h/d", bad), web::json::json_exception);
    }
    for (const auto& [loginUrl, location, ticket] : std::vector<Strings>{
             {L"https://l/login", "https://g/gate?ticket=ST-1=x&y", L"ST-1=x&y"},
             {L"http://h/dirx", "", L"LOCAL_TICKET"}, // no Location
             {L"https://l/login", "https://l/signin", L""},
         }) {
        web::http::http_response response(302);
        if (!location.empty()) {
            response.headers().add("Location", location);
        }
        EXPECT_EQ(TicketService::ticketFromRedirect(loginUrl, response), ticket) << loginUrl;
    }
}

TEST(CurrentUser, IsTheLoginFieldAndMalformedAnswersGiveNoName)
{
    const std::wstring https = L"https://h-dash/api/users/current";
    for (const auto& [serviceUrl, answer, user] : std::vector<Strings>{
             {https, R"({"login": "z\u00fcrich", "name": "Ada"})", L"z\u00fcrich"},
             {https, "<html>sign in</html>", L""},
             {https, R"({"login": 42})", L""},
             {https, "", L""},
             {L"http://127.0.0.1/lithmar-dash/api/users/current", "", L"LOCAL_USER"},
         }) {
        EXPECT_EQ(UserNameService::userFromAnswer(serviceUrl, answer), user) << answer;
    }
}

class SessionCalls : public testing::Test {
protected:
    void SetUp() override
    {
        server.route("GET", "/{rest...}", [this](const local::RecordedRequest&) { return answer; });
        server.start();
        configuration->getDefaultHeaders() = {{L"Cookie", L"JSESSIONID=s;SERVERID=n"}, {L"X-Host", L"modeller"}};
    }

    std::wstring url(const std::string& path) const { return sdk::fromUtf8(server.baseUrl() + path); }

    local::HttpServer server;
    local::Response answer = local::Response::json(200, "");
    std::shared_ptr<sdk::ApiConfiguration> configuration = std::make_shared<sdk::ApiConfiguration>();
};

TEST_F(SessionCalls, GetVMSendsTheSessionOpeningRequestAndYieldsTheMergedCookies)
{
    answer.headers.push_back({"Set-Cookie", "JSESSIONID=new; Path=/; HttpOnly"});
    configuration->setBaseUrl(url("/data-xchng"));
    configuration->getDefaultHeaders()[L"Accept"] = L"text/plain";
    auto client = std::make_shared<sdk::ApiClient>(configuration);
    std::wstring cookies = L"JSESSIONID=old;SERVERID=s1";
    EXPECT_EQ(api::getVM(client, cookies, L"/common/sites/v1").get(), L"JSESSIONID=new;SERVERID=s1");
    EXPECT_EQ(cookies, L"JSESSIONID=old;SERVERID=s1") << "the caller's store is left alone";
    const auto request = server.requests().at(0);
    EXPECT_EQ(request.method + " " + request.target, "GET /data-xchng/common/sites/v1?xrequestedwith=xmlhttprequest");
    EXPECT_EQ(request.header("Accept"), "application/json") << "overrides the default header";
    EXPECT_EQ(request.header("Content-Type"), "application/json");
    EXPECT_EQ(request.header("X-Host"), "modeller");

    answer = local::Response::error(500, "down");
    answer.headers.push_back({"Set-Cookie", "SERVERID=s2; path=/"});
    EXPECT_EQ(api::getVM(client, cookies, L"/x").get(), L"JSESSIONID=old;SERVERID=s2") << "also from an error";
    server.script("GET", "/{rest...}", local::Fault::garbage("not http"), local::FaultScript::kForever);
    EXPECT_THROW(api::getVM(client, cookies, L"/x").get(), web::http::http_exception);
}

// The ticket must not travel on to another host: the login's redirect comes back unfollowed.
TEST_F(SessionCalls, PlatformCallsCarryTheCookieOnlyAndKeepTheLoginRedirect)
{
    local::ServerOptions otherHost;
    otherHost.address = "127.0.0.2";
    local::HttpServer other(otherHost);
    other.start();
    // An empty directory over http: the login request goes to the directory URL again.
    server.script("GET", "/h-dirx/services", local::Fault::respond(local::Response::json(200, "")));
    server.script("GET", "/h-dirx/services",
                  local::Fault::respond({302, "", {{"Location", other.baseUrl() + "/gate?ticket=ST-9=x"}}, ""}));
    EXPECT_EQ(UserNameService::getUser(url("/h-dash/api/users/current"), configuration).get(), L"LOCAL_USER");
    EXPECT_EQ(TicketService::getTicket(url("/h-dirx/services"), configuration).get(), L"ST-9=x");
    EXPECT_TRUE(other.requests().empty());
    const auto requests = server.requests();
    ASSERT_EQ(requests.size(), 3u) << "current user, directory, login";
    for (const auto& request : requests) {
        EXPECT_EQ(request.method, "GET");
        EXPECT_EQ(request.header("Cookie"), "JSESSIONID=s;SERVERID=n");
        EXPECT_EQ(request.header("Content-Type"), "application/json");
        EXPECT_FALSE(request.hasHeader("X-Host")) << "only the Cookie default header is carried over";
    }
    EXPECT_EQ(requests[0].target, "/h-dash/api/users/current");
}

TEST_F(SessionCalls, FailedCallsFailTheTask)
{
    answer = local::Response::error(500, "down");
    try {
        UserNameService::getUser(url("/h-dash/api/users/current"), configuration).get();
        FAIL() << "no failure";
    } catch (const sdk::ApiException& error) {
        EXPECT_EQ(error.error_code().value(), 500);
        EXPECT_EQ(error.getMessage().rfind(L"error calling getUser: ", 0), 0u) << error.what();
        EXPECT_TRUE(error.getContent());
    }
    server.stop();
    EXPECT_THROW(UserNameService::getUser(url("/h-dash"), configuration).get(), web::http::http_exception);
    EXPECT_THROW(UserNameService::getUser(url("/h-dash"), nullptr), sdk::ApiException);
}

// Both modes of the local platform; platform mode is the end-to-end flow
// over HTTPS with the platform's CA: sign-in, user, ticket.
TEST(PlatformSession, LocalModeHasTheLocalUserSignedInSessionsTheirUserAndTickets)
{
    local::LocalPlatform localMode, platform{test::platformModeWithOneUser()};
    localMode.start();
    platform.start();
    auto configuration = test::clientConfiguration(localMode);
    const auto user = [&](const local::LocalPlatform& at) {
        return UserNameService::getUser(api::userServiceUrl({}, at.exchangeUrl()), configuration).get();
    };
    const auto ticket = [&](const local::LocalPlatform& at) {
        return TicketService::getTicket(api::servicesDirectoryUrl({}, at.exchangeUrl()), configuration).get();
    };
    EXPECT_EQ(user(localMode), L"LOCAL_USER");
    EXPECT_EQ(ticket(localMode), L"LOCAL_TICKET");
    EXPECT_TRUE(localMode.tickets().check("LOCAL_USER", "LOCAL_TICKET"));

    configuration = test::clientConfiguration(platform);
    EXPECT_THROW(user(platform), sdk::ApiException) << "401 before sign-in";
    EXPECT_EQ(ticket(platform), L"") << "before sign-in";
    test::signIn(configuration, platform);
    EXPECT_EQ(user(platform), L"ada");
    const std::string issued = sdk::toUtf8(ticket(platform));
    EXPECT_EQ(issued.rfind("ST-", 0), 0u) << issued;
    EXPECT_TRUE(platform.tickets().check("ada", issued));
    EXPECT_NE(sdk::toUtf8(ticket(platform)), issued) << "a fresh ticket each time";
    // Check-in slots name the HTTPS origin too.
    const auto slots = test::exchangePost(platform.port(), "/upload/v1/start", R"({"numberOfFiles":1})", {}, true);
    EXPECT_EQ(
        slots.json()["fcsFiles"][0]["fcsFileUrl"].get<std::string>().rfind(platform.baseUrl() + "/lithmar-fcs/", 0),
        0u);

    platform.server().clearRequests();
    configuration = std::make_shared<sdk::ApiConfiguration>();
    EXPECT_THROW(user(platform), web::http::http_exception) << "the platform's CA is not trusted";
    EXPECT_TRUE(platform.server().requests().empty()) << "the certificate is checked before anything is sent";
}

} // namespace
