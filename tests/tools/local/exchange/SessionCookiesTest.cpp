// Session cookies: handed out as the platform's application servers do, and
// recorded so that tests see which request carried which session.

#include "PlatformTest.h"

#include <regex>

namespace lithmar::local::testing {
namespace {

using SessionCookies = PlatformTest;

std::string sessionIdFrom(const HttpReply& reply)
{
    std::smatch match;
    const std::string line = reply.headerLines("Set-Cookie").at(0);
    EXPECT_TRUE(std::regex_match(line, match, std::regex("JSESSIONID=([0-9A-F]{32}); Path=/; HttpOnly"))) << line;
    return match[1];
}

TEST_F(SessionCookies, TheSessionOpeningRequestGetsAnEmptyObjectAndTwoCookieLines)
{
    const HttpReply reply = get("/common/sites/v1?xrequestedwith=xmlhttprequest");
    EXPECT_EQ(reply.status, 200);
    EXPECT_EQ(reply.body, "{}");
    EXPECT_EQ(reply.header("Content-Type"), "application/json");
    const auto cookies = reply.headerLines("Set-Cookie");
    ASSERT_EQ(cookies.size(), 2u);
    EXPECT_FALSE(sessionIdFrom(reply).empty());
    EXPECT_EQ(cookies[1], "SERVERID=lithmar-local-1; path=/");
}

TEST_F(SessionCookies, AKnownSessionGetsNoNewCookiesAndIsRecordedPerRequest)
{
    const std::string session = sessionIdFrom(get("/common/sites/v1?xrequestedwith=xmlhttprequest"));
    const HttpReply sites =
        get("/common/sites/v1", {{"Cookie", "JSESSIONID=" + session + ";SERVERID=lithmar-local-1"}});
    EXPECT_EQ(sites.status, 200);
    EXPECT_TRUE(sites.headerLines("Set-Cookie").empty());
    const HttpReply missing = get("/common/sites/v1/nowhere", {{"Cookie", "SERVERID=x; JSESSIONID=" + session}});
    EXPECT_EQ(missing.status, 404);
    EXPECT_TRUE(missing.headerLines("Set-Cookie").empty()) << "failed requests keep their session too";

    const auto visits = platform.sessions().visits();
    ASSERT_EQ(visits.size(), 3u);
    for (const SessionVisit& visit : visits) {
        EXPECT_EQ(visit.sessionId, session);
        EXPECT_EQ(visit.method, "GET");
    }
    EXPECT_TRUE(visits[0].opened);
    EXPECT_FALSE(visits[1].opened);
    EXPECT_EQ(visits[0].target, "/lithmar-xchng/common/sites/v1?xrequestedwith=xmlhttprequest");
    EXPECT_EQ(visits[2].target, "/lithmar-xchng/common/sites/v1/nowhere");
    EXPECT_EQ(platform.sessions().sessionCount(), 1u);
}

TEST_F(SessionCookies, UnknownOrMissingSessionsGetNewOnesOnEveryEndpoint)
{
    const HttpReply stale = get("/common/crs/v1", {{"Cookie", "JSESSIONID=FFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFF"}});
    const HttpReply none = post("/common/sites/v1", "{\"siteName\":\"\"}");
    EXPECT_EQ(none.status, 400);
    const std::string first = sessionIdFrom(stale);
    const std::string second = sessionIdFrom(none);
    EXPECT_NE(first, second);
    EXPECT_EQ(platform.sessions().sessionCount(), 2u);
}

TEST_F(SessionCookies, ControlRequestsAndUnknownPathsDoNotOpenSessions)
{
    EXPECT_EQ(httpCall(platform.port(), "GET", "/_control/requests").headerLines("Set-Cookie").size(), 0u);
    EXPECT_EQ(httpCall(platform.port(), "GET", "/elsewhere").status, 404);
    EXPECT_EQ(platform.sessions().sessionCount(), 0u);
}

} // namespace
} // namespace lithmar::local::testing
