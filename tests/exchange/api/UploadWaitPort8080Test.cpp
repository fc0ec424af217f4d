// Uploads waiting for their job's result against the local platform in local mode, which the
// library polls on 127.0.0.1:8080. Without job workers, the tests publish each result by hand.

#include "ApiTestServer.h"

#include <lithmar/exchange/notification/PendingResults.h>

#include <tests/support/Client.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <thread>

using namespace apitest;
using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;

namespace {

// A poll cycle (five seconds), a look (one second), and room for a loaded machine.
template <typename Condition> bool eventually(Condition condition)
{
    const auto deadline = Clock::now() + 30s;
    while (!condition() && Clock::now() < deadline) {
        std::this_thread::sleep_for(50ms);
    }
    return condition();
}

class UploadWaitPort8080 : public testing::Test {
protected:
    void SetUp() override
    {
        platform.start();
        auto oneFile = std::make_shared<model::StartUploadCommand>();
        oneFile->setNumberOfFiles(1);
        session = exchangeFor().startUpload(oneFile).get();
    }

    api::DataExchangeApi exchangeFor()
    {
        return api::DataExchangeApi(std::make_shared<sdk::ApiClient>(lithmar::test::clientConfiguration(platform)));
    }

    std::shared_ptr<model::TerrainUploadCommand> terrain(const std::wstring& name)
    {
        auto command = std::make_shared<model::TerrainUploadCommand>();
        command->setSessionId(session->getSessionId());
        command->getFcsStreamIds() = {session->getFcsFiles().at(0)->getFcsStreamId()};
        command->setSiteId(L"site-demo");
        command->setName(name);
        return command;
    }

    // The jobs the platform has queued, once there are `count`.
    std::vector<local::JobRecord> jobs(std::size_t count)
    {
        std::vector<local::JobRecord> queued;
        EXPECT_TRUE(eventually([&] { return (queued = platform.store().jobs().jobs()).size() >= count; }));
        return queued;
    }

    void publishResult(const local::JobRecord& job, const std::string& result)
    {
        platform.publish("LOCAL_USER",
                         R"({"result":")" + result + R"(","id":"t-)" + job.name + R"(","jobId":")" + job.id + "\"}");
    }

    local::LocalPlatform platform{[] {
        auto options = lithmar::test::endpointsOnly();
        options.pollPort = 8080;
        return options;
    }()};
    std::shared_ptr<model::StartUploadResult> session;
};

TEST_F(UploadWaitPort8080, EachUploadEndsWithTheResultOfItsOwnJob)
{
    // Three API objects waiting at once; results published in reverse order.
    std::vector<api::DataExchangeApi> objects{exchangeFor(), exchangeFor(), exchangeFor()};
    std::vector<pplx::task<std::shared_ptr<model::UploadTerrainResult>>> uploads;
    for (std::size_t i = 0; i < objects.size(); ++i) {
        uploads.push_back(objects[i].uploadTerrain(terrain(L"terrain-" + std::to_wstring(i))));
    }
    auto queued = jobs(objects.size());
    std::reverse(queued.begin(), queued.end());
    for (const auto& job : queued) {
        publishResult(job, "IMPORTED " + job.name);
    }
    for (std::size_t i = 0; i < uploads.size(); ++i) {
        const auto result = uploads[i].get();
        const std::wstring name = L"terrain-" + std::to_wstring(i);
        EXPECT_EQ(result->getResult(), L"IMPORTED " + name);
        EXPECT_EQ(result->getId(), L"t-" + name);
        EXPECT_FALSE(result->getTrackingNumber().empty()) << "fields the notification lacks keep the first answer's";
    }
    EXPECT_EQ(sdk::PendingResults().size(), 0u) << "every result was taken";
}

TEST_F(UploadWaitPort8080, TheWaitReadsTheTimeOutAtEachLookAndTheLateResultStays)
{
    auto exchange = exchangeFor();
    exchange.setAsyncResponseTimeOut(3600);
    auto waiting = exchange.uploadTerrain(terrain(L"lowered"));
    jobs(1);
    std::this_thread::sleep_for(1500ms); // a look or so into the wait
    exchange.setAsyncResponseTimeOut(-1);
    ASSERT_TRUE(eventually([&] { return waiting.is_done(); }));
    EXPECT_EQ(waiting.get()->getResult(), L"ACCEPTED") << "the first answer stands";

    exchange.setAsyncResponseTimeOut(2);
    const auto started = Clock::now();
    try {
        exchange.uploadTerrain(terrain(L"late")).get();
        ADD_FAILURE() << "no time-out";
    } catch (const sdk::ApiException& error) {
        EXPECT_EQ(error.error_code().value(), 408);
        EXPECT_EQ(error.getMessage(), L"Timeout waiting for response.");
    }
    EXPECT_GE(Clock::now() - started, 2s) << "two looks, a second apart";
    const auto job = jobs(2).back();
    publishResult(job, "IMPORTED late");
    ASSERT_TRUE(eventually([&] { return sdk::PendingResults().contains(sdk::fromUtf8(job.id)); }))
        << "the listener outlives the wait by two minutes";
}

} // namespace
