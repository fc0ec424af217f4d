// Handlers run on several threads at once: nothing may be lost, doubled or
// overfilled. (Also run under ThreadSanitizer.)

#include "PlatformTest.h"

#include <tools/local/exchange/DemoSite.h>

#include <algorithm>
#include <atomic>
#include <set>
#include <thread>

namespace lithmar::local::testing {
namespace {

constexpr int kThreads = 8;

// Runs `work(i)` on kThreads threads at once, started together.
template <class Work> void onThreads(Work work)
{
    std::atomic<int> ready{0};
    std::vector<std::thread> threads;
    for (int i = 0; i < kThreads; ++i) {
        threads.emplace_back([&, i] {
            ++ready;
            while (ready.load() < kThreads) {
                std::this_thread::yield();
            }
            work(i);
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
}

using Concurrency = PlatformTest;

TEST_F(Concurrency, SitesCreatedAtOnceAllArriveWithDistinctIds)
{
    constexpr int kSitesPerThread = 5;
    std::vector<std::vector<HttpReply>> replies(kThreads);
    onThreads([&](int thread) {
        for (int k = 0; k < kSitesPerThread; ++k) {
            replies[thread].push_back(post("/common/sites/v1", "{\"siteName\":\"Site " + std::to_string(thread) + "-" +
                                                                   std::to_string(k) + "\"}"));
        }
    });
    std::set<std::string> ids;
    for (const auto& ofThread : replies) {
        for (const HttpReply& reply : ofThread) {
            ASSERT_EQ(reply.status, 200) << reply.body;
            ids.insert(reply.json()["id"].get<std::string>());
        }
    }
    EXPECT_EQ(ids.size(), static_cast<std::size_t>(kThreads * kSitesPerThread));
    const Json sites = get("/common/sites/v1").json()["sites"];
    EXPECT_EQ(sites.size(), ids.size() + 1);
    for (const Json& site : sites) {
        EXPECT_TRUE(site["id"] == kDemoSiteId || ids.count(site["id"].get<std::string>())) << site;
    }
}

TEST_F(Concurrency, OfSitesWithTheSameNameExactlyOneIsCreated)
{
    std::vector<int> statuses(kThreads);
    onThreads([&](int thread) { statuses[thread] = post("/common/sites/v1", R"({"siteName":"Contested"})").status; });
    EXPECT_EQ(std::count(statuses.begin(), statuses.end(), 200), 1);
    EXPECT_EQ(std::count(statuses.begin(), statuses.end(), 409), kThreads - 1);
    EXPECT_EQ(get("/common/sites/v1").json()["sites"].size(), 2u);
}

class ConcurrentQueue : public PlatformTest {
protected:
    ConcurrentQueue() : PlatformTest(options()) {}
    static LocalPlatformOptions options()
    {
        LocalPlatformOptions o = endpointsOnly();
        o.jobQueueCapacity = 5;
        return o;
    }
};

TEST_F(ConcurrentQueue, ImportsAtOnceNeverOverfillTheQueue)
{
    const Json session = startUpload(1);
    const std::string body = "{\"sessionId\":\"" + session["sessionId"].get<std::string>() + "\",\"fcsStreamIds\":[\"" +
                             session["fcsFiles"][0]["fcsStreamId"].get<std::string>() + "\"],\"siteId\":\"site-demo\"}";
    std::vector<std::string> jobIds(kThreads);
    onThreads([&](int thread) {
        jobIds[thread] = post("/exploration/boreholes/v1", body).json()["jobId"].get<std::string>();
    });
    EXPECT_EQ(std::count(jobIds.begin(), jobIds.end(), "QUEUE_FULL"), kThreads - 5);
    EXPECT_EQ(platform.store().jobs().jobs().size(), 5u);
}

TEST_F(Concurrency, FinishingOneSessionFromManyThreadsSucceedsOnce)
{
    const Json session = startUpload(1);
    const std::string body = "{\"sessionId\":\"" + session["sessionId"].get<std::string>() + "\",\"fcsReceipts\":[" +
                             receiptFor(session["fcsFiles"][0]) + "]}";
    std::vector<int> statuses(kThreads);
    onThreads([&](int thread) { statuses[thread] = post("/upload/v1/finish", body).status; });
    EXPECT_EQ(std::count(statuses.begin(), statuses.end(), 204), 1);
    EXPECT_EQ(std::count(statuses.begin(), statuses.end(), 409), kThreads - 1);
}

} // namespace
} // namespace lithmar::local::testing
