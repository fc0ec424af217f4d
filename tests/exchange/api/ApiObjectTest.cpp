// The API object's state: defaults, configuration, copies and session cookies.

#include "ApiTestServer.h"

#include <gtest/gtest.h>

using namespace apitest;

namespace {

TEST(ApiObject, StartsWithOneHourNoCookieAndNoServiceUrls)
{
    api::DataExchangeApi api(std::make_shared<sdk::ApiClient>());
    EXPECT_EQ(api.getAsyncResponseTimeOut(), 3600);
    EXPECT_EQ(api.getSessionCookie(), L"");
    EXPECT_TRUE(api.getServiceUrls().empty());
}

TEST(ApiObject, StoresSettingsAsGiven)
{
    api::DataExchangeApi api(std::make_shared<sdk::ApiClient>());
    for (int seconds : {0, -5, 7}) {
        api.setAsyncResponseTimeOut(seconds);
        EXPECT_EQ(api.getAsyncResponseTimeOut(), seconds);
    }
    api.setServiceUrls({{"Brevane", "https://dash.example"}, {"tidewell", "https://gate.example"}});
    api.setServiceUrls({{"Maraquil", "https://dirx.example"}});
    EXPECT_EQ(api.getServiceUrls(), (std::map<std::string, std::string>{{"Maraquil", "https://dirx.example"}}));
    api.setServiceUrls({});
    EXPECT_TRUE(api.getServiceUrls().empty());
}

TEST(ApiObject, CopiesCarryTimeOutAndServiceUrlsOfTheirOwn)
{
    api::DataExchangeApi api(std::make_shared<sdk::ApiClient>());
    api.setAsyncResponseTimeOut(12);
    api.setServiceUrls({{"tidewell", "https://gate.example"}});
    api::DataExchangeApi copy = api;
    api::DataExchangeApi assigned(nullptr);
    assigned = api;
    api.setAsyncResponseTimeOut(99);
    api.setServiceUrls({});
    for (const auto* other : {&copy, &assigned}) {
        EXPECT_EQ(other->getAsyncResponseTimeOut(), 12);
        EXPECT_EQ(other->getServiceUrls().at("tidewell"), "https://gate.example");
        EXPECT_EQ(other->getApiClient(), api.getApiClient());
    }
}

TEST(ApiObject, ANullClientFailsOnlyWhenUsed)
{
    api::DataExchangeApi api(nullptr);
    api.setAsyncResponseTimeOut(10);
    EXPECT_EQ(api.getApiClient(), nullptr);
    try {
        (void)api.getCrs();
        FAIL() << "no failure";
    } catch (const std::invalid_argument& error) {
        EXPECT_STREQ(error.what(),
                     "DataExchangeApi->getCrs: the API object was built without an ApiClient; construct it with one");
    }
}

class SessionCookies : public testing::Test {
protected:
    void answerSettingCookies(const std::string& session)
    {
        auto response = local::Response::json(200, "{}");
        response.headers.push_back({"Set-Cookie", "JSESSIONID=" + session + "; Path=/; HttpOnly"});
        server.answerWith(response);
    }

    ApiTestServer server;
    api::DataExchangeApi api{server.client()};
};

TEST_F(SessionCookies, SetByOneAnswerAndSentWithTheNext)
{
    answerSettingCookies("abc");
    api.getCrs().get();
    EXPECT_EQ(api.getSessionCookie(), L"JSESSIONID=abc");
    server.answerWith(local::Response::json(200, "{}"));
    api.getSite(L"1").get();
    const auto requests = server.server.requests();
    EXPECT_EQ(requests[0].header("Cookie"), "");
    EXPECT_EQ(requests[1].header("Cookie"), "JSESSIONID=abc");
}

TEST_F(SessionCookies, AreMergedWithACookieDefaultHeader)
{
    auto configured = server.client();
    configured->getConfiguration()->getDefaultHeaders()[L"Cookie"] = L"theme=dark";
    api::DataExchangeApi withDefaults(configured);
    answerSettingCookies("s1");
    withDefaults.getCrs().get();
    withDefaults.getCrs().get();
    EXPECT_EQ(server.server.requests().at(1).header("Cookie"), "theme=dark;JSESSIONID=s1");
}

TEST_F(SessionCookies, AreNotTakenFromFailedAnswers)
{
    auto failure = local::Response::error(500, "down");
    failure.headers.push_back({"Set-Cookie", "JSESSIONID=bad; Path=/"});
    server.answerWith(failure);
    EXPECT_THROW(api.getCrs().get(), sdk::ApiException);
    EXPECT_EQ(api.getSessionCookie(), L"");
}

TEST_F(SessionCookies, ACopyKeepsItsOwnCookies)
{
    answerSettingCookies("first");
    api.getCrs().get();
    api::DataExchangeApi copy = api;
    EXPECT_EQ(copy.getSessionCookie(), L"JSESSIONID=first");
    EXPECT_EQ(copy.getApiClient(), api.getApiClient()) << "copies share the client";

    answerSettingCookies("second");
    copy.getCrs().get();
    EXPECT_EQ(copy.getSessionCookie(), L"JSESSIONID=second");
    EXPECT_EQ(api.getSessionCookie(), L"JSESSIONID=first");

    api::DataExchangeApi assigned(std::make_shared<sdk::ApiClient>());
    assigned = copy;
    EXPECT_EQ(assigned.getSessionCookie(), L"JSESSIONID=second");
}

} // namespace
