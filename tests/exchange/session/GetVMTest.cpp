#include <lithmar/exchange/session/SessionCookies.h>
#include <lithmar/runtime/Utf8.h>

#include <tools/local/server/HttpServer.h>

#include <gtest/gtest.h>

namespace sdk = com::vantorel::lithmar;
namespace api = sdk::exploration::api;
namespace local = ::lithmar::local;

namespace {

class GetVMTest : public testing::Test {
protected:
    void SetUp() override
    {
        server.route("GET", "/{rest...}", [this](const local::RecordedRequest&) { return answer; });
        server.start();
        auto configuration = std::make_shared<sdk::ApiConfiguration>();
        configuration->setBaseUrl(sdk::fromUtf8(server.baseUrl() + "/data-xchng"));
        configuration->getDefaultHeaders() = {{L"Accept", L"text/plain"}, {L"X-Host", L"modeller"}};
        client = std::make_shared<sdk::ApiClient>(configuration);
    }

    local::HttpServer server;
    local::Response answer = local::Response::json(200, "{}");
    std::shared_ptr<sdk::ApiClient> client;
};

TEST_F(GetVMTest, SendsTheSessionOpeningRequest)
{
    std::wstring cookies;
    api::getVM(client, cookies, L"/common/sites/v1").get();
    const auto request = server.requests().at(0);
    EXPECT_EQ(request.method, "GET");
    EXPECT_EQ(request.target, "/data-xchng/common/sites/v1?xrequestedwith=xmlhttprequest");
    EXPECT_EQ(request.header("Accept"), "application/json") << "overrides the default header";
    EXPECT_EQ(request.header("Content-Type"), "application/json");
    EXPECT_EQ(request.header("X-Host"), "modeller");
    EXPECT_EQ(request.bodySize, 0u);
}

TEST_F(GetVMTest, YieldsACopyOfTheCookiesWithTheAnswersMergedIn)
{
    answer.headers.push_back({"Set-Cookie", "JSESSIONID=new; Path=/; HttpOnly"});
    std::wstring cookies = L"JSESSIONID=old;SERVERID=s1";
    const std::wstring merged = api::getVM(client, cookies, L"/common/sites/v1").get();
    EXPECT_EQ(merged, L"JSESSIONID=new;SERVERID=s1");
    EXPECT_EQ(cookies, L"JSESSIONID=old;SERVERID=s1") << "the caller's store is left alone";
}

TEST_F(GetVMTest, AnErrorStatusStillYieldsTheCookies)
{
    answer = local::Response::error(500, "down");
    answer.headers.push_back({"Set-Cookie", "SERVERID=s2; path=/"});
    std::wstring cookies;
    EXPECT_EQ(api::getVM(client, cookies, L"/x").get(), L"SERVERID=s2");
}

TEST_F(GetVMTest, ATransportFailureFailsTheTask)
{
    server.script("GET", "/{rest...}", local::Fault::garbage("not http"), local::FaultScript::kForever);
    std::wstring cookies;
    EXPECT_THROW(api::getVM(client, cookies, L"/x").get(), web::http::http_exception);
}

} // namespace
