// The session services against the local platform in platform mode: HTTPS
// with the platform's own CA, users who sign in, login tickets.

#include <lithmar/exchange/session/ServiceUrls.h>
#include <lithmar/exchange/session/TicketService.h>
#include <lithmar/exchange/session/UserNameService.h>
#include <lithmar/runtime/ApiClient.h>
#include <lithmar/runtime/ApiException.h>
#include <lithmar/runtime/JsonBody.h>
#include <lithmar/runtime/Utf8.h>

#include <tools/local/exchange/LocalPlatform.h>

#include <tests/exchange/PlatformSignIn.h>

#include <gtest/gtest.h>

namespace sdk = com::vantorel::lithmar;
namespace api = sdk::exploration::api;
namespace local = ::lithmar::local;
namespace test = ::lithmar::test;

namespace {

class PlatformModeTest : public testing::Test {
protected:
    void SetUp() override
    {
        platform.start();
        ASSERT_EQ(platform.exchangeUrl().rfind("https://", 0), 0u) << platform.exchangeUrl();
        configuration->setRetryPolicy(sdk::RetryPolicy::none());
        test::trustPlatformCa(*configuration, platform);
    }

    std::wstring user() { return sdk::UserNameService::getUser(api::userServiceUrl({}, own()), configuration).get(); }
    std::wstring ticket()
    {
        return sdk::TicketService::getTicket(api::servicesDirectoryUrl({}, own()), configuration).get();
    }
    std::string own() const { return platform.exchangeUrl(); }

    local::LocalPlatform platform{test::platformModeWithOneUser()};
    std::shared_ptr<sdk::ApiConfiguration> configuration = std::make_shared<sdk::ApiConfiguration>();
};

TEST_F(PlatformModeTest, SignedInSessionYieldsItsUserAndATicketThePlatformRecognises)
{
    test::signIn(configuration, platform);
    EXPECT_EQ(user(), L"ada");
    const std::string issued = sdk::toUtf8(ticket());
    EXPECT_EQ(issued.rfind("ST-", 0), 0u) << issued;
    EXPECT_TRUE(platform.tickets().check("ada", issued));
    EXPECT_FALSE(platform.tickets().check("bob", issued));
    EXPECT_NE(sdk::toUtf8(ticket()), issued) << "a fresh ticket each time";
}

TEST_F(PlatformModeTest, SessionNotSignedInHasNoUserAndAnEmptyTicket)
{
    EXPECT_EQ(ticket(), L"");
    try {
        user();
        FAIL() << "no failure";
    } catch (const sdk::ApiException& error) {
        EXPECT_EQ(error.error_code().value(), 401);
    }
}

TEST_F(PlatformModeTest, ServerCertificateIsVerifiedAgainstTheTrustedCas)
{
    auto untrusting = std::make_shared<sdk::ApiConfiguration>();
    untrusting->setRetryPolicy(sdk::RetryPolicy::none());
    EXPECT_THROW(sdk::UserNameService::getUser(api::userServiceUrl({}, own()), untrusting).get(),
                 web::http::http_exception);
    EXPECT_TRUE(platform.server().requests().empty());
}

TEST_F(PlatformModeTest, UploadStartNamesHttpsCheckInUrls)
{
    auto exchange = std::make_shared<sdk::ApiConfiguration>(*configuration);
    exchange->setBaseUrl(sdk::fromUtf8(own()));
    const auto response = sdk::ApiClient(exchange)
                              .callApi(L"/upload/v1/start", L"POST", {}, std::make_shared<sdk::JsonBody>(
                                           web::json::value::parse(R"({"numberOfFiles":1})")),
                                       {}, {}, {}, L"application/json")
                              .get();
    ASSERT_EQ(response.status_code(), 200);
    const auto slot = response.extract_json(true).get().at("fcsFiles").at(0);
    EXPECT_EQ(slot.at("fcsFileUrl").as_string().rfind(platform.baseUrl() + "/lithmar-fcs/", 0), 0u)
        << slot.serialize();
}

} // namespace
