// The platform's session services on the local platform: sign-in, current
// user, services directory, login tickets, and what bad input gets.

#include "../exchange/PlatformTest.h"

#include <regex>

namespace lithmar::local::testing {
namespace {

LocalPlatformOptions platformMode(std::chrono::seconds ticketLifetime = std::chrono::hours(1))
{
    LocalPlatformOptions options;
    options.platformMode = true;
    options.users = {{"ada", "pw:1"}};
    options.passwordHashIterations = 1000;
    options.ticketLifetime = ticketLifetime;
    options.plainHttp = true; // the services themselves; TLS is the end-to-end tests' part
    return options;
}

class SessionServicesTest : public PlatformTest {
protected:
    explicit SessionServicesTest(LocalPlatformOptions options = platformMode()) : PlatformTest(std::move(options)) {}

    HttpReply call(std::string_view method, const std::string& target, const std::vector<Header>& headers = {},
                   std::string_view body = {})
    {
        return httpCall(platform.port(), method, target, headers, body);
    }

    // The Cookie header of a signed-in session.
    Header signIn(const std::string& body = R"({"user":"ada","password":"pw:1"})")
    {
        const HttpReply reply = call("POST", "/lithmar-login/signin", {}, body);
        EXPECT_EQ(reply.status, 200) << reply.body;
        const auto cookies = reply.headerLines("Set-Cookie");
        EXPECT_EQ(cookies.size(), 2u);
        std::string cookie;
        for (const std::string& line : cookies) {
            cookie += (cookie.empty() ? "" : "; ") + line.substr(0, line.find(';'));
        }
        return {"Cookie", cookie};
    }

    HttpReply currentUser(const std::vector<Header>& headers = {})
    {
        return call("GET", "/lithmar-dash/api/users/current", headers);
    }
    HttpReply login(const std::vector<Header>& headers = {}, const std::string& query = "?service=GATE")
    {
        return call("GET", "/lithmar-login/login" + query, headers);
    }
};

TEST_F(SessionServicesTest, SignedInSessionHasAUserAndGetsTicketsInTheLoginRedirect)
{
    const Header cookie = signIn();
    EXPECT_EQ(currentUser({cookie}).json(), Json({{"login", "ada"}}));

    const HttpReply redirect = login({cookie});
    EXPECT_EQ(redirect.status, 302);
    std::smatch match;
    const std::string location = redirect.header("Location");
    ASSERT_TRUE(std::regex_match(location, match, std::regex("http://127\\.0\\.0\\.1:[0-9]+/lithmar-gate\\?ticket=(ST-[0-9a-f]{64})")))
        << location;
    const std::string ticket = match[1];
    EXPECT_TRUE(platform.tickets().check("ada", ticket));
    EXPECT_EQ(call("GET", "/lithmar-login/validate?ticket=" + ticket).json(), Json({{"user", "ada"}}));

    EXPECT_EQ(call("POST", "/lithmar-login/signout", {cookie}).status, 200);
    EXPECT_TRUE(isError(currentUser({cookie}), 401));
    EXPECT_TRUE(platform.tickets().check("ada", ticket)) << "a ticket outlives the session it came from";
}

TEST_F(SessionServicesTest, SessionNotSignedInIsSentToTheSignInPageWithoutATicket)
{
    const Header stranger{"Cookie", "JSESSIONID=0123456789ABCDEF0123456789ABCDEF"};
    for (const auto& headers : {std::vector<Header>{}, std::vector<Header>{stranger}}) {
        EXPECT_TRUE(isError(currentUser(headers), 401));
        const HttpReply redirect = login(headers);
        EXPECT_EQ(redirect.status, 302);
        EXPECT_EQ(redirect.header("Location").find('='), std::string::npos) << redirect.header("Location");
        EXPECT_TRUE(isError(call("GET", "/lithmar-login/signin"), 401));
    }
}

TEST_F(SessionServicesTest, DirectoryNamesTheLoginServiceUnderTheHostTheClientReached)
{
    const HttpReply reply = call("GET", "/lithmar-dirx/vireon/resources/AppsMngt/api/v1/services",
                                 {{"Host", "LocalHost:" + std::to_string(platform.port())}});
    const std::string host = "LocalHost:" + std::to_string(platform.port());
    EXPECT_EQ(reply.json(), Json::parse(R"({"platforms": [{"id": ")" + host + R"(", "services": [
        {"id": "sentrowe", "url": "http://)" + host + R"(/lithmar-login"}]}]})"));
}

struct BadRequest {
    const char* name;
    const char* method;
    const char* target;
    const char* body;
    int status;
};

TEST_F(SessionServicesTest, BadInputGetsAClearErrorAndChangesNothing)
{
    const Header cookie = signIn();
    const std::vector<BadRequest> cases{
        {"unknown user", "POST", "/lithmar-login/signin", R"({"user":"bob","password":"pw:1"})", 401},
        {"wrong password", "POST", "/lithmar-login/signin", R"({"user":"ada","password":"pw:2"})", 401},
        {"not JSON", "POST", "/lithmar-login/signin", "user=ada&password=pw", 400},
        {"password missing", "POST", "/lithmar-login/signin", R"({"user":"ada"})", 400},
        {"user not a string", "POST", "/lithmar-login/signin", R"({"user":["ada"],"password":"pw:1"})", 400},
        {"invalid UTF-8", "POST", "/lithmar-login/signin", "{\"user\":\"\xff\",\"password\":\"x\"}", 400},
        {"login without service", "GET", "/lithmar-login/login", "", 400},
        {"login to another service", "GET", "/lithmar-login/login?service=FCS", "", 400},
        {"validate without ticket", "GET", "/lithmar-login/validate", "", 400},
        {"unknown ticket", "GET", "/lithmar-login/validate?ticket=ST-00", "", 404},
        {"user with a bad name", "POST", "/_control/users", R"({"user":"a b","password":"x"})", 400},
        {"user without password", "POST", "/_control/users", R"({"user":"bob","password":""})", 400},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        const std::size_t sessions = platform.sessions().sessionCount();
        const HttpReply reply = call(c.method, c.target, {}, c.body);
        EXPECT_TRUE(isError(reply, c.status));
        EXPECT_TRUE(reply.headerLines("Set-Cookie").empty());
        EXPECT_EQ(platform.sessions().sessionCount(), sessions);
    }
    EXPECT_EQ(platform.users().names(), std::vector<std::string>{"ada"});
    EXPECT_EQ(currentUser({cookie}).json(), Json({{"login", "ada"}})) << "the signed-in session is untouched";
}

TEST_F(SessionServicesTest, UsersAddedThroughTheControlEndpointCanSignIn)
{
    EXPECT_EQ(call("POST", "/_control/users", {}, R"({"user":"bob","password":"b0b"})").status, 201);
    EXPECT_EQ(call("POST", "/_control/users", {}, R"({"user":"bob","password":"n3w"})").status, 200);
    EXPECT_EQ(currentUser({signIn(R"({"user":"bob","password":"n3w"})")}).json(), Json({{"login", "bob"}}));
}

class ExpiringTickets : public SessionServicesTest {
protected:
    ExpiringTickets() : SessionServicesTest(platformMode(std::chrono::seconds(0))) {}
};

TEST_F(ExpiringTickets, ExpiredTicketIsToldApartAndRefused)
{
    const std::string location = login({signIn()}).header("Location");
    const std::string ticket = location.substr(location.find('=') + 1);
    EXPECT_TRUE(isError(call("GET", "/lithmar-login/validate?ticket=" + ticket), 410));
    EXPECT_FALSE(platform.tickets().check("ada", ticket));
}

using LocalInstallation = PlatformTest;

TEST_F(LocalInstallation, AnswersAsALocalInstallationWithoutSignIn)
{
    const HttpReply user = httpCall(platform.port(), "GET", "/lithmar-dash/api/users/current");
    EXPECT_EQ(user.status, 200);
    EXPECT_EQ(user.body, "");
    EXPECT_EQ(httpCall(platform.port(), "GET", "/lithmar-dirx/vireon/resources/AppsMngt/api/v1/services").json(),
              Json({{"platforms", Json::array()}}));
    for (const char* target : {"/lithmar-login/signin", "/_control/users"}) {
        EXPECT_TRUE(isError(httpCall(platform.port(), "POST", target, {}, R"({"user":"a","password":"b"})"), 409));
    }
    EXPECT_TRUE(platform.tickets().check("LOCAL_USER", "LOCAL_TICKET"));
}

} // namespace
} // namespace lithmar::local::testing
