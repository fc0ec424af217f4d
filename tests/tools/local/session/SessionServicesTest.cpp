// The platform's session services on the local platform, over HTTPS:
// sign-in, current user, services directory, login tickets, users, and what
// bad input gets; then the ticket store, user names and local certificates.

#include <tests/support/Platform.h>
#include <tests/support/TemporaryDirectory.h>

#include <gmock/gmock.h>

#include <sys/stat.h>

#include <fstream>
#include <iterator>
#include <regex>

namespace lithmar::test {
namespace {

using namespace local;
namespace fs = std::filesystem;

// A call over HTTPS when the platform serves it.
HttpReply call(const LocalPlatform& platform, std::string_view method, const std::string& target,
               const std::vector<Header>& headers = {}, std::string_view body = {})
{
    return httpCall(platform.port(), method, target, headers, body, !platform.caCertificate().empty());
}

struct SessionServices : PlatformTest {
    SessionServices() : PlatformTest(platformModeWithOneUser()) {}
};

const std::string kCurrentUser = "/lithmar-dash/api/users/current";

TEST_F(SessionServices, ASignedInSessionHasAUserAndGetsTicketsThatOutliveIt)
{
    EXPECT_TRUE(isError(call(platform, "GET", kCurrentUser, {{"Cookie", "JSESSIONID=0123456789ABCDEF"}}), 401));
    const Header cookie = signInCookie(platform);
    const HttpReply redirect = call(platform, "GET", "/lithmar-login/login?service=GATE", {cookie});
    EXPECT_EQ(redirect.status, 302);
    std::smatch match;
    const std::string location = redirect.header("Location");
    ASSERT_TRUE(std::regex_match(location, match,
                                 std::regex("https://127\\.0\\.0\\.1:[0-9]+/lithmar-gate\\?ticket=(ST-[0-9a-f]{64})")))
        << location;
    const std::string ticket = match[1];
    EXPECT_TRUE(platform.tickets().check("ada", ticket));
    EXPECT_EQ(call(platform, "GET", "/lithmar-login/validate?ticket=" + ticket).json(), Json({{"user", "ada"}}));
    EXPECT_EQ(call(platform, "POST", "/lithmar-login/signout", {cookie}).status, 200);
    EXPECT_TRUE(isError(call(platform, "GET", kCurrentUser, {cookie}), 401));
    const HttpReply toSignIn = call(platform, "GET", "/lithmar-login/login?service=GATE", {cookie});
    EXPECT_EQ(toSignIn.status, 302);
    EXPECT_EQ(toSignIn.header("Location").find('='), std::string::npos) << "no ticket to find in it";
    EXPECT_TRUE(platform.tickets().check("ada", ticket)) << "a ticket outlives the session it came from";

    EXPECT_EQ(call(platform, "POST", "/_control/users", {}, R"({"user":"bob","password":"b0b"})").status, 201);
    EXPECT_EQ(call(platform, "POST", "/_control/users", {}, R"({"user":"bob","password":"n3w"})").status, 200);
    EXPECT_EQ(call(platform, "GET", kCurrentUser, {signInCookie(platform, "bob", "n3w")}).json(),
              Json({{"login", "bob"}}));

    const std::string host = "LocalHost:" + std::to_string(platform.port());
    EXPECT_EQ(call(platform, "GET", "/lithmar-dirx/vireon/resources/AppsMngt/api/v1/services", {{"Host", host}}).json(),
              Json::parse(R"({"platforms":[{"id":")" + host + R"(","services":[{"id":"sentrowe","url":"https://)" +
                          host + R"(/lithmar-login"}]}]})"));
}

TEST_F(SessionServices, BadInputGetsAClearErrorAndChangesNothing)
{
    const Header cookie = signInCookie(platform);
    const std::tuple<const char*, const char*, const char*, int> cases[] = {
        {"POST", "/lithmar-login/signin", R"({"user":"bob","password":"s3cret"})", 401},
        {"POST", "/lithmar-login/signin", R"({"user":"ada","password":"s3creT"})", 401},
        {"POST", "/lithmar-login/signin", R"({"user":"ada"})", 400},
        {"POST", "/lithmar-login/signin", R"({"user":["ada"],"password":"s3cret"})", 400},
        {"GET", "/lithmar-login/login", "", 400},
        {"GET", "/lithmar-login/login?service=FCS", "", 400},
        {"GET", "/lithmar-login/validate", "", 400},
        {"GET", "/lithmar-login/validate?ticket=ST-00", "", 404},
        {"POST", "/_control/users", R"({"user":"bob","password":""})", 400},
    };
    for (const auto& [method, target, body, status] : cases) {
        SCOPED_TRACE(std::string(target) + " " + body);
        const std::size_t sessions = platform.sessions().sessionCount();
        const HttpReply reply = call(platform, method, target, {}, body);
        EXPECT_TRUE(isError(reply, status));
        EXPECT_TRUE(reply.headerLines("Set-Cookie").empty());
        EXPECT_EQ(platform.sessions().sessionCount(), sessions);
    }
    EXPECT_EQ(platform.users().names(), std::vector<std::string>{"ada"});
    EXPECT_EQ(call(platform, "GET", kCurrentUser, {cookie}).json(), Json({{"login", "ada"}})) << "still signed in";
}

// Expired tickets, and a local installation (whose user and ticket the client
// session tests read end to end).
TEST(SessionServicesElsewhere, ExpiredTicketsAreToldApartAndALocalInstallationHasNoSignIn)
{
    LocalPlatformOptions options = platformModeWithOneUser();
    options.ticketLifetime = std::chrono::seconds(0);
    LocalPlatform platform(options);
    platform.start();
    const std::string location =
        call(platform, "GET", "/lithmar-login/login?service=GATE", {signInCookie(platform)}).header("Location");
    const std::string ticket = location.substr(location.find('=') + 1);
    EXPECT_TRUE(isError(call(platform, "GET", "/lithmar-login/validate?ticket=" + ticket), 410));
    EXPECT_FALSE(platform.tickets().check("ada", ticket));

    LocalPlatform local(endpointsOnly());
    local.start();
    for (const char* target : {"/lithmar-login/signin", "/_control/users"}) {
        EXPECT_TRUE(isError(call(local, "POST", target, {}, R"({"user":"a","password":"b"})"), 409));
    }
    EXPECT_TRUE(isError(call(local, "GET", "/lithmar-login/login?service=GATE"), 409));
}

TEST(TicketStore, ATicketBelongsToItsUserUntilItExpiresAndIsForgottenBeyondTheCapOrASecondLifetime)
{
    TicketStore::Clock::time_point now{};
    TicketStore tickets({std::chrono::seconds(60), false, 3, [&now] { return now; }});
    const std::string ticket = tickets.issue("ada");
    EXPECT_NE(ticket, tickets.issue("ada")) << "every ticket is new";
    EXPECT_TRUE(tickets.check("ada", ticket));
    EXPECT_FALSE(tickets.check("bob", ticket));
    EXPECT_FALSE(tickets.check("LOCAL_USER", "LOCAL_TICKET")) << "platform mode has no local ticket";
    now += std::chrono::seconds(60);
    EXPECT_FALSE(tickets.check("ada", ticket));
    EXPECT_EQ(tickets.lookup(ticket).state, TicketStore::State::Expired);
    EXPECT_EQ(tickets.lookup(ticket).user, "ada");
    const std::string later = tickets.issue("ada");
    tickets.issue("ada");
    EXPECT_EQ(tickets.lookup(ticket).state, TicketStore::State::Unknown) << "the cap of 3 pushed it out";
    now += std::chrono::seconds(125);
    tickets.issue("ada");
    EXPECT_EQ(tickets.lookup(later).state, TicketStore::State::Unknown) << "expired for more than a lifetime";

    EXPECT_EQ(parseUserCredentials("ada.l@example-1:pa:ss").password, "pa:ss");
    for (const std::string& bad : std::vector<std::string>{"ada", ":pw", "a b:pw", std::string(65, 'a') + ":pw"}) {
        EXPECT_THROW(parseUserCredentials(bad), std::invalid_argument) << bad;
    }
}

TEST(LocalCertificates, KeepTheCaAcrossRunsAndMakeANewServerCertificateForNewNamesOrDamagedFiles)
{
    const auto textOf = [](const fs::path& path) {
        std::ifstream in(path);
        return std::string(std::istreambuf_iterator<char>(in), {});
    };
    const auto modeOf = [](const fs::path& path) {
        struct stat status {};
        return ::stat(path.c_str(), &status) == 0 ? status.st_mode & 0777 : 0;
    };
    const TemporaryDirectory scratch;
    const fs::path directory = scratch.path() / "tls";
    const LocalCertificates first(directory, LocalCertificates::namesFor("127.0.0.1"));
    EXPECT_EQ(Json({modeOf(directory), modeOf(directory / "ca-key.pem"), modeOf(first.serverKey())}),
              Json({0700, 0600, 0600}));
    const std::string ca = textOf(first.caCertificate()), server = textOf(first.serverCertificate());
    EXPECT_EQ(textOf(LocalCertificates(directory, LocalCertificates::namesFor("127.0.0.1")).serverCertificate()),
              server);
    const LocalCertificates moved(directory, LocalCertificates::namesFor("127.0.0.2"));
    EXPECT_EQ(textOf(moved.caCertificate()), ca) << "hosts that trust the CA go on trusting it";
    EXPECT_NE(textOf(moved.serverCertificate()), server);
    EXPECT_NO_THROW(moved.serverContext());

    std::ofstream(directory / "ca-key.pem") << "not a key";
    const LocalCertificates remade(directory, {"localhost"});
    EXPECT_NE(textOf(remade.caCertificate()), ca);
    EXPECT_NO_THROW(remade.serverContext());
    EXPECT_EQ(LocalCertificates::namesFor("127.0.0.2"),
              (std::vector<std::string>{"127.0.0.2", "localhost", "127.0.0.1", "::1"}));
    EXPECT_THAT(LocalCertificates::namesFor("0.0.0.0"), ::testing::Not(::testing::Contains("0.0.0.0")));
}

} // namespace
} // namespace lithmar::test
