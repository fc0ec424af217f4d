// Uploads waiting for their job's result in local mode, polled on 127.0.0.1:8080; the test publishes each result.

#include "ApiTestServer.h"

#include <lithmar/exchange/notification/PendingResults.h>

#include <tests/support/Client.h>

#include <gtest/gtest.h>

using namespace apitest;
namespace test = ::lithmar::test;
using Clock = std::chrono::steady_clock;

namespace {

TEST(UploadWaitPort8080, EachUploadTakesItsOwnJobsResultAndTheWaitReadsTheTimeOutAtEachLook)
{
    auto options = test::endpointsOnly();
    options.pollPort = 8080;
    local::LocalPlatform platform(options);
    platform.start();
    const auto exchangeFor = [&] {
        return api::DataExchangeApi(std::make_shared<sdk::ApiClient>(test::clientConfiguration(platform)));
    };
    const auto publishResult = [&](const local::JobRecord& job, const std::string& result) {
        platform.publish("LOCAL_USER",
                         R"({"result":")" + result + R"(","id":"t-)" + job.name + R"(","jobId":")" + job.id + "\"}");
    };
    // Three API objects waiting at once; results published in reverse order.
    std::vector<api::DataExchangeApi> objects{exchangeFor(), exchangeFor(), exchangeFor()};
    std::vector<pplx::task<std::shared_ptr<model::UploadTerrainResult>>> uploads;
    for (std::size_t i = 0; i < objects.size(); ++i) {
        uploads.push_back(objects[i].uploadTerrain(terrain(objects[i], L"terrain-" + std::to_wstring(i))));
    }
    const auto queued = queuedJobs(platform, 3);
    for (auto job = queued.rbegin(); job != queued.rend(); ++job) {
        publishResult(*job, "IMPORTED " + job->name);
    }
    for (std::size_t i = 0; i < uploads.size(); ++i) {
        const auto result = uploads[i].get();
        const std::wstring name = L"terrain-" + std::to_wstring(i);
        EXPECT_EQ(result->getResult() + L" " + result->getId(), L"IMPORTED " + name + L" t-" + name);
        EXPECT_FALSE(result->getTrackingNumber().empty()) << "fields the notification lacks keep the first answer's";
    }
    EXPECT_EQ(sdk::PendingResults().size(), 0u) << "every result was taken";

    auto exchange = exchangeFor();
    exchange.setAsyncResponseTimeOut(3600);
    auto waiting = exchange.uploadTerrain(terrain(exchange, L"lowered"));
    queuedJobs(platform, 4);
    std::this_thread::sleep_for(1500ms); // a look or so into the wait
    exchange.setAsyncResponseTimeOut(-1);
    ASSERT_TRUE(eventually([&] { return waiting.is_done(); }));
    EXPECT_EQ(waiting.get()->getResult(), L"ACCEPTED") << "the first answer stands";

    exchange.setAsyncResponseTimeOut(2);
    const auto started = Clock::now();
    EXPECT_EQ(outcomeOf([&] { exchange.uploadTerrain(terrain(exchange, L"late")).get(); }),
              "408 Timeout waiting for response. | <none>");
    EXPECT_GE(Clock::now() - started, 2s) << "two looks, a second apart";
    const auto job = queuedJobs(platform, 5).back();
    publishResult(job, "IMPORTED late");
    ASSERT_TRUE(eventually([&] { return sdk::PendingResults().contains(sdk::fromUtf8(job.id)); }))
        << "the listener outlives the wait by two minutes";
}

} // namespace
