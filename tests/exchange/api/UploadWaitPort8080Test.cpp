// Uploads that wait for their job's result, end to end against the local
// platform in local mode: the library polls the platform's notification
// endpoint on 127.0.0.1:8080, so these tests take port 8080 in turn.
//
// Results are published by hand (as the platform's job runner would), so
// that each test decides when, and for which job, a result arrives.

#include "ApiTestServer.h"

#include <lithmar/exchange/fcs/FcsService.h>
#include <lithmar/exchange/notification/NotificationDispatcher.h>
#include <lithmar/exchange/notification/NotificationTopic.h>
#include <lithmar/exchange/notification/PendingResults.h>

#include <tools/local/exchange/LocalPlatform.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <thread>

using namespace apitest;
using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;

namespace {

constexpr const char* kLocalUser = "LOCAL_USER";
// How long a published result may take to reach a waiting upload: a poll
// cycle (five seconds), a look (one second), and room for a loaded machine.
constexpr auto kDelivery = 30s;

template <typename Condition> bool eventually(Condition condition, std::chrono::seconds limit = kDelivery)
{
    const auto deadline = Clock::now() + limit;
    while (!condition()) {
        if (Clock::now() > deadline) {
            return false;
        }
        std::this_thread::sleep_for(50ms);
    }
    return true;
}

sdk::ApiException failureOf(pplx::task<std::shared_ptr<model::UploadTerrainResult>> task)
{
    try {
        task.get();
    } catch (const sdk::ApiException& error) {
        return error;
    }
    throw std::runtime_error("the upload did not fail with ApiException");
}

class UploadWaitPort8080 : public testing::Test {
protected:
    static local::LocalPlatformOptions options(std::size_t queueCapacity, std::size_t jobWorkers)
    {
        local::LocalPlatformOptions settings;
        settings.pollPort = 8080;
        settings.jobQueueCapacity = queueCapacity;
        settings.jobWorkers = jobWorkers;
        return settings;
    }

    // Without job workers the platform queues every job and leaves the
    // results to the test.
    explicit UploadWaitPort8080(std::size_t queueCapacity = 100, std::size_t jobWorkers = 0)
        : platform(options(queueCapacity, jobWorkers))
    {
    }

    void SetUp() override
    {
        try {
            platform.start();
        } catch (const std::exception& error) {
            FAIL() << "cannot start the local platform with its poll endpoint: " << error.what();
        }
        auto oneFile = std::make_shared<model::StartUploadCommand>();
        oneFile->setNumberOfFiles(1);
        session = exchangeFor().startUpload(oneFile).get();
    }

    api::DataExchangeApi exchangeFor()
    {
        auto configuration = std::make_shared<sdk::ApiConfiguration>();
        configuration->setBaseUrl(sdk::fromUtf8(platform.exchangeUrl()));
        return api::DataExchangeApi(std::make_shared<sdk::ApiClient>(configuration));
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

    // The jobs the platform has queued, waiting until there are `count`.
    std::vector<local::JobRecord> jobs(std::size_t count)
    {
        std::vector<local::JobRecord> queued;
        const bool enough = eventually([&] {
            queued = platform.store().jobs().jobs();
            return queued.size() >= count;
        });
        EXPECT_TRUE(enough) << "the platform queued " << queued.size() << " of " << count << " jobs";
        return queued;
    }

    void publishResult(const local::JobRecord& job, const std::string& result)
    {
        platform.publish(kLocalUser,
                         R"({"result":")" + result + R"(","id":"t-)" + job.name + R"(","jobId":")" + job.id + "\"}");
    }

    local::LocalPlatform platform;
    std::shared_ptr<model::StartUploadResult> session;
};

TEST_F(UploadWaitPort8080, EachUploadEndsWithTheResultOfItsOwnJob)
{
    // Three API objects waiting at once; results are published in the
    // reverse order of the uploads. (The polling client delivers one
    // notification per five-second cycle.)
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

TEST_F(UploadWaitPort8080, TimesOutAfterTheLooksThatTheTimeOutAllowsAndTheLateResultStays)
{
    auto exchange = exchangeFor();
    exchange.setAsyncResponseTimeOut(2);
    const auto error = failureOf(exchange.uploadTerrain(terrain(L"late")));
    EXPECT_EQ(error.error_code().value(), 408);
    EXPECT_EQ(error.getMessage(), L"Timeout waiting for response.");
    EXPECT_EQ(error.getContent(), nullptr);

    const auto job = jobs(1).front();
    publishResult(job, "IMPORTED late");
    const std::wstring jobId = sdk::fromUtf8(job.id);
    ASSERT_TRUE(eventually([&] { return sdk::PendingResults().contains(jobId); }))
        << "the listener outlives the wait by two minutes";
    EXPECT_EQ(sdk::PendingResults().at(jobId).at("result").as_string(), "IMPORTED late");
}

TEST_F(UploadWaitPort8080, ZeroFailsAtOnceAndANegativeTimeOutKeepsTheFirstAnswer)
{
    auto exchange = exchangeFor();
    exchange.setAsyncResponseTimeOut(0);
    EXPECT_EQ(failureOf(exchange.uploadTerrain(terrain(L"zero"))).error_code().value(), 408);

    exchange.setAsyncResponseTimeOut(-1);
    const auto first = exchange.uploadTerrain(terrain(L"negative")).get();
    EXPECT_EQ(first->getResult(), L"ACCEPTED");
    EXPECT_EQ(first->getJobId(), sdk::fromUtf8(jobs(2).back().id));
}

TEST_F(UploadWaitPort8080, ATimeOutLoweredDuringTheWaitEndsItWithTheFirstAnswer)
{
    auto exchange = exchangeFor();
    exchange.setAsyncResponseTimeOut(3600);
    auto upload = exchange.uploadTerrain(terrain(L"lowered"));
    jobs(1);
    std::this_thread::sleep_for(1500ms);
    ASSERT_FALSE(upload.is_done());
    // Below the looks made so far: neither a result nor a time-out.
    exchange.setAsyncResponseTimeOut(0);
    EXPECT_EQ(upload.get()->getResult(), L"ACCEPTED");
}

TEST_F(UploadWaitPort8080, ANotificationFiledBeforeTheFirstAnswerIsFoundAtTheFirstLook)
{
    // The first answer is held back; the listener delivers the job's result
    // meanwhile.
    platform.server().script(
        "POST", "/lithmar-xchng/exploration/terrains/v1",
        local::Fault::respond(local::Response::json(200, R"({"result":"ACCEPTED","jobId":"job-early"})")).after(2s));
    auto exchange = exchangeFor();
    auto upload = exchange.uploadTerrain(terrain(L"early"));
    const std::string message = std::string(R"({"actions":[{"options":{"event":{"options":{"topic":")") +
                                sdk::kDataExchangeTopic +
                                R"(","data":{"result":"IMPORTED early","jobId":"job-early"}}}}}]})";
    sdk::dispatchNotification(message.c_str());
    EXPECT_EQ(upload.get()->getResult(), L"IMPORTED early");
    EXPECT_FALSE(sdk::PendingResults().contains(L"job-early"));
}

class ImportRoundTripPort8080 : public UploadWaitPort8080 {
protected:
    ImportRoundTripPort8080() : UploadWaitPort8080(100, 2) {}
};

TEST_F(ImportRoundTripPort8080, TheJobRunnersResultCompletesTheUpload)
{
    // The sample boreholes, checked in for real and imported by the
    // platform's job runner into a new site.
    auto exchange = exchangeFor();
    auto site = std::make_shared<model::SiteCreateCommand>();
    site->setSiteName(L"Round trip");
    const std::wstring siteId = exchange.createSite(site).get()->getId();

    auto start = std::make_shared<model::StartUploadCommand>();
    start->setNumberOfFiles(2);
    const auto upload = exchange.startUpload(start).get();
    const std::string samples = LITHMAR_EXAMPLE_DATA "/";
    sdk::FcsService::checkin(upload->getFcsFiles(),
                             {sdk::fromUtf8(samples + "collars.csv"), sdk::fromUtf8(samples + "surveys.csv")})
        .get();
    auto boreholes = std::make_shared<model::BoreholeUploadCommand>();
    boreholes->setSessionId(upload->getSessionId());
    for (const auto& slot : upload->getFcsFiles()) {
        boreholes->getFcsStreamIds().push_back(slot->getFcsStreamId());
    }
    boreholes->setSiteId(siteId);

    const auto result = exchange.uploadBoreholes(boreholes).get();
    EXPECT_EQ(result->getResult(), L"SUCCESS");
    EXPECT_EQ(result->getCount(), L"12");
    EXPECT_TRUE(result->timingIsSet());
    const auto job = platform.store().jobs().job(sdk::toUtf8(result->getJobId()));
    ASSERT_TRUE(job.has_value());
    EXPECT_EQ(job->status, "DONE");
}

class FullQueuePort8080 : public UploadWaitPort8080 {
protected:
    FullQueuePort8080() : UploadWaitPort8080(0) {}
};

TEST_F(FullQueuePort8080, AFullQueueEndsTheUploadAtOnce)
{
    auto exchange = exchangeFor();
    const auto result = exchange.uploadTerrain(terrain(L"refused")).get();
    EXPECT_EQ(result->getJobId(), L"QUEUE_FULL");
}

} // namespace
