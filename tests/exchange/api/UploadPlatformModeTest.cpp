// Uploads of a signed-in platform user against the local platform in
// platform mode: HTTPS with the platform's own CA, the user and a login
// ticket from the session services, and the job's result pushed through the
// socket notification client.

#include <lithmar/exchange/api/DataExchangeApi.h>
#include <lithmar/runtime/ApiException.h>
#include <lithmar/runtime/Utf8.h>

#include <tools/local/exchange/LocalPlatform.h>

#include <tests/exchange/PlatformSignIn.h>

#include <gtest/gtest.h>

#include <chrono>
#include <cstdlib>
#include <thread>

namespace sdk = com::vantorel::lithmar;
namespace api = sdk::exploration::api;
namespace model = sdk::exploration::model;
namespace local = ::lithmar::local;
namespace test = ::lithmar::test;
using namespace std::chrono_literals;

namespace {

local::LocalPlatformOptions platformMode()
{
    auto options = test::platformModeWithOneUser();
    // Results are published by the test.
    options.jobWorkers = 0;
    return options;
}

class UploadPlatformMode : public testing::Test {
protected:
    void SetUp() override
    {
        platform.start();
        // The socket client trusts what OpenSSL's default paths name.
        setenv("SSL_CERT_FILE", platform.caCertificate().c_str(), 1);
        configuration->setBaseUrl(sdk::fromUtf8(platform.exchangeUrl()));
        test::trustPlatformCa(*configuration, platform);
    }

    std::shared_ptr<model::TerrainUploadCommand> terrain(api::DataExchangeApi& exchange)
    {
        auto oneFile = std::make_shared<model::StartUploadCommand>();
        oneFile->setNumberOfFiles(1);
        const auto session = exchange.startUpload(oneFile).get();
        auto command = std::make_shared<model::TerrainUploadCommand>();
        command->setSessionId(session->getSessionId());
        command->getFcsStreamIds() = {session->getFcsFiles().at(0)->getFcsStreamId()};
        command->setSiteId(L"site-demo");
        command->setName(L"Lidar");
        return command;
    }

    local::LocalPlatform platform{platformMode()};
    std::shared_ptr<sdk::ApiConfiguration> configuration = std::make_shared<sdk::ApiConfiguration>();
};

TEST_F(UploadPlatformMode, TheSignedInUsersResultArrivesThroughTheSocket)
{
    test::signIn(configuration, platform);
    api::DataExchangeApi exchange(std::make_shared<sdk::ApiClient>(configuration));
    exchange.setAsyncResponseTimeOut(60);
    auto upload = exchange.uploadTerrain(terrain(exchange));

    std::vector<local::JobRecord> jobs;
    const auto deadline = std::chrono::steady_clock::now() + 30s;
    while ((jobs = platform.store().jobs().jobs()).empty() && std::chrono::steady_clock::now() < deadline) {
        std::this_thread::sleep_for(20ms);
    }
    ASSERT_EQ(jobs.size(), 1u);
    platform.publish("ada", R"({"result":"SUCCESS","id":"ter-1","jobId":")" + jobs[0].id + "\"}");
    const auto result = upload.get();
    EXPECT_EQ(result->getResult(), L"SUCCESS");
    EXPECT_EQ(result->getId(), L"ter-1");
    EXPECT_EQ(result->getJobId(), sdk::fromUtf8(jobs[0].id));
}

TEST_F(UploadPlatformMode, WithoutSignInTheUploadFailsBeforeItIsSent)
{
    api::DataExchangeApi exchange(std::make_shared<sdk::ApiClient>(configuration));
    auto command = std::make_shared<model::TerrainUploadCommand>();
    command->setName(L"Lidar");
    try {
        exchange.uploadTerrain(command).get();
        FAIL() << "no failure";
    } catch (const sdk::ApiException& error) {
        EXPECT_EQ(error.error_code().value(), 401);
    }
    for (const auto& request : platform.server().requests()) {
        EXPECT_EQ(request.target.find("/exploration/"), std::string::npos) << request.target;
    }
}

} // namespace
