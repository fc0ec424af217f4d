#include <lithmar/exchange/session/ServiceUrls.h>
#include <lithmar/exchange/session/TicketService.h>
#include <lithmar/exchange/session/UserNameService.h>
#include <lithmar/runtime/ApiException.h>
#include <lithmar/runtime/Utf8.h>

#include <tools/local/exchange/LocalPlatform.h>
#include <tools/local/server/HttpServer.h>

#include <gtest/gtest.h>

namespace sdk = com::vantorel::lithmar;
namespace api = sdk::exploration::api;
namespace local = ::lithmar::local;

namespace {

std::shared_ptr<sdk::ApiConfiguration> callerConfiguration()
{
    auto configuration = std::make_shared<sdk::ApiConfiguration>();
    configuration->setRetryPolicy(sdk::RetryPolicy::none());
    return configuration;
}

TEST(PlatformSessionTest, LocalInstallationGivesTheLocalUserAndTicket)
{
    local::LocalPlatform platform;
    platform.start();
    const std::string ownUrl = platform.exchangeUrl();
    auto configuration = callerConfiguration();
    EXPECT_EQ(sdk::UserNameService::getUser(api::userServiceUrl({}, ownUrl), configuration).get(), L"LOCAL_USER");
    EXPECT_EQ(sdk::TicketService::getTicket(api::servicesDirectoryUrl({}, ownUrl), configuration).get(),
              L"LOCAL_TICKET");
    EXPECT_TRUE(platform.tickets().check("LOCAL_USER", "LOCAL_TICKET"));
}

class PlatformCallTest : public testing::Test {
protected:
    void SetUp() override
    {
        server.route("GET", "/{rest...}", [](const local::RecordedRequest&) { return local::Response::json(200, ""); });
        server.start();
        configuration->getDefaultHeaders() = {{L"Cookie", L"JSESSIONID=s;SERVERID=n"}, {L"X-Host", L"modeller"}};
    }

    std::wstring url(const std::string& path) const { return sdk::fromUtf8(server.baseUrl() + path); }

    local::HttpServer server;
    std::shared_ptr<sdk::ApiConfiguration> configuration = callerConfiguration();
};

TEST_F(PlatformCallTest, RequestsCarryTheCallersCookieAndJsonContentTypeOnly)
{
    sdk::UserNameService::getUser(url("/h-dash/api/users/current"), configuration).get();
    sdk::TicketService::getTicket(url("/h-dirx/services"), configuration).get();
    const auto requests = server.requests();
    ASSERT_EQ(requests.size(), 3u) << "current user, directory, login";
    for (const auto& request : requests) {
        EXPECT_EQ(request.method, "GET");
        EXPECT_EQ(request.header("Cookie"), "JSESSIONID=s;SERVERID=n");
        EXPECT_EQ(request.header("Content-Type"), "application/json");
        EXPECT_FALSE(request.hasHeader("X-Host")) << "only the Cookie default header is carried over";
    }
    EXPECT_EQ(requests[0].target, "/h-dash/api/users/current");
    EXPECT_EQ(requests[2].target, "/h-dirx/services");
}

TEST_F(PlatformCallTest, RequestsGoThroughTheCallersProxy)
{
    local::HttpServer proxy;
    proxy.start();
    configuration->getHttpConfig().set_proxy(web::web_proxy(proxy.baseUrl()));
    // The stand-in proxy answers the absolute request-target with 404; the
    // origin, which nothing listens on, is never tried.
    const std::wstring unreachable = L"http://127.0.0.1:9/h-dash/api/users/current";
    EXPECT_THROW(sdk::UserNameService::getUser(unreachable, configuration).get(), sdk::ApiException);
    ASSERT_EQ(proxy.requests().size(), 1u);
    const auto request = proxy.requests().at(0);
    EXPECT_NE(request.target.find("127.0.0.1:9/h-dash/api/users/current"), std::string::npos) << request.target;
    EXPECT_EQ(request.header("Cookie"), "JSESSIONID=s;SERVERID=n");
}

TEST_F(PlatformCallTest, FailedRequestsFailTheTask)
{
    server.script("GET", "/h-dash/{rest...}", local::Fault::respond(local::Response::error(503, "down")));
    try {
        sdk::UserNameService::getUser(url("/h-dash/api/users/current"), configuration).get();
        FAIL() << "no failure";
    } catch (const sdk::ApiException& error) {
        EXPECT_EQ(error.error_code().value(), 503);
        EXPECT_EQ(error.getMessage().rfind(L"error calling getUser: ", 0), 0u) << error.what();
        ASSERT_TRUE(error.getContent());
    }
    server.script("GET", "/h-dirx/{rest...}", local::Fault::respond(local::Response::error(500, "broken")));
    EXPECT_THROW(sdk::TicketService::getTicket(url("/h-dirx/services"), configuration).get(), sdk::ApiException);

    local::HttpServer gone;
    gone.start();
    const std::wstring closed = sdk::fromUtf8(gone.baseUrl() + "/h-dash");
    gone.stop();
    EXPECT_THROW(sdk::UserNameService::getUser(closed, configuration).get(), web::http::http_exception);
    EXPECT_THROW(sdk::TicketService::getTicket(closed, configuration).get(), web::http::http_exception);
    EXPECT_THROW(sdk::UserNameService::getUser(closed, nullptr), sdk::ApiException);
}

TEST_F(PlatformCallTest, LoginRedirectComesBackUnfollowedEvenToAnotherHost)
{
    local::HttpServer::Options otherHost;
    otherHost.address = "127.0.0.2";
    local::HttpServer other(otherHost);
    other.route("*", "/{rest...}", [](const local::RecordedRequest&) { return local::Response::json(200, "{}"); });
    other.start();
    // The directory names no login service, so over http the login request
    // goes to the directory URL again: its second answer is the redirect.
    server.script("GET", "/h-dirx/services", local::Fault::respond(local::Response::json(200, "")));
    server.script("GET", "/h-dirx/services",
                  local::Fault::respond({302, "", {{"Location", other.baseUrl() + "/gate?ticket=ST-9=x"}}, ""}));
    EXPECT_EQ(sdk::TicketService::getTicket(url("/h-dirx/services"), configuration).get(), L"ST-9=x");
    EXPECT_TRUE(other.requests().empty());
}

} // namespace
