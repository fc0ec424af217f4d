// The polling client against the local platform's poll endpoint on port
// 8080. The loop is process-wide: CTest runs each test in a process of its
// own, and takes port 8080 for one test at a time.

#include <lithmar/exchange/notification/NotificationDispatcher.h>
#include <lithmar/exchange/notification/PendingResults.h>
#include <lithmar/exchange/notification/PollService.h>

#include <tools/local/exchange/LocalPlatform.h>

#include "StdoutFile.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <condition_variable>
#include <mutex>
#include <optional>
#include <thread>
#include <vector>

namespace sdk = com::vantorel::lithmar;
namespace local = ::lithmar::local;
using namespace std::chrono_literals;

namespace {

// Limits that only a broken client reaches: a cycle takes five seconds.
constexpr auto kCycles = 25s;

// What the callback received; a null message is recorded as nullopt.
struct Received {
    std::mutex mutex;
    std::condition_variable changed;
    std::vector<std::optional<std::string>> messages;
};

Received& received()
{
    static Received instance;
    return instance;
}

void record(const char* message)
{
    std::lock_guard<std::mutex> lock(received().mutex);
    received().messages.push_back(message ? std::optional<std::string>(message) : std::nullopt);
    received().changed.notify_all();
}

std::vector<std::optional<std::string>> waitForMessages(std::size_t count)
{
    std::unique_lock<std::mutex> lock(received().mutex);
    received().changed.wait_for(lock, kCycles, [count] { return received().messages.size() >= count; });
    return received().messages;
}

std::vector<std::string> polledPaths(local::HttpServer& server)
{
    std::vector<std::string> paths;
    for (const auto& request : server.requests()) {
        paths.push_back(request.path.substr(request.path.rfind('/') + 1));
    }
    return paths;
}

bool connect(int timeout)
{
    return sdk::PollService::Connect("LOCAL_USER", "LOCAL_TICKET", "http://unused", timeout, record);
}

class PollServicePort8080 : public testing::Test {
protected:
    void SetUp() override
    {
        local::LocalPlatformOptions options;
        options.pollPort = 8080;
        platform.emplace(options);
        try {
            platform->start();
        } catch (const std::exception& e) {
            GTEST_FAIL() << e.what();
        }
        poll = platform->pollServer();
    }

    std::optional<local::LocalPlatform> platform;
    local::HttpServer* poll = nullptr;
};

TEST_F(PollServicePort8080, HandsEachPayloadToTheCallbackAsAMessageTheDispatcherFiles)
{
    platform->publish("LOCAL_USER", R"({"jobId":"job-1","result":"SUCCESS"})");
    EXPECT_TRUE(connect(60));
    auto messages = waitForMessages(1);
    ASSERT_EQ(messages.size(), 1u);
    ASSERT_TRUE(messages[0]);
    sdk::dispatchNotification(messages[0]->c_str());
    EXPECT_EQ(sdk::PendingResults().at(L"job-1").at("result").as_string(), "SUCCESS");

    platform->publish("LOCAL_USER", R"({"jobId":"job-2","result":"FAILED"})");
    messages = waitForMessages(2);
    ASSERT_EQ(messages.size(), 2u);
    sdk::dispatchNotification(messages[1]->c_str());
    EXPECT_EQ(sdk::PendingResults().at(L"job-2").at("result").as_string(), "FAILED");
    // -1 answered with the start index 0, then one payload per request.
    EXPECT_THAT(polledPaths(*poll), testing::IsSupersetOf({"-1", "0", "1"}));
    EXPECT_EQ(poll->requests().at(0).header("Content-Type"), "application/json");
}

TEST_F(PollServicePort8080, RunsOneLoopHoweverManyThreadsConnect)
{
    std::vector<std::thread> threads;
    for (int i = 0; i < 8; ++i) {
        threads.emplace_back([] { EXPECT_TRUE(connect(60)); });
    }
    for (auto& thread : threads) {
        thread.join();
    }
    ASSERT_TRUE(poll->waitForRequests(2, kCycles));
    const auto paths = polledPaths(*poll);
    EXPECT_EQ(std::count(paths.begin(), paths.end(), "-1"), 1) << testing::PrintToString(paths);
}

TEST_F(PollServicePort8080, EndsAfterTheDeadlineWithANullMessageAndStartsAgainOnConnect)
{
    EXPECT_TRUE(connect(0));
    const auto messages = waitForMessages(1);
    ASSERT_EQ(messages.size(), 1u);
    EXPECT_FALSE(messages[0]) << "the null message";
    EXPECT_EQ(polledPaths(*poll), std::vector<std::string>{"-1"});

    EXPECT_TRUE(connect(0));
    ASSERT_TRUE(poll->waitForRequests(2, kCycles));
    EXPECT_EQ(polledPaths(*poll), (std::vector<std::string>{"-1", "-1"})) << "a new loop";
}

TEST_F(PollServicePort8080, ANumberIsTheNextIndexAndAnEmptyStringKeepsIt)
{
    const std::string path = "/notification/api/notification/{index}";
    poll->script("GET", path, local::Fault::respond(local::Response::json(200, "\"42\"")));
    poll->script("GET", path, local::Fault::respond(local::Response::json(200, "\"\"")));
    EXPECT_TRUE(connect(60));
    ASSERT_TRUE(poll->waitForRequests(3, 2 * kCycles));
    EXPECT_EQ(polledPaths(*poll), (std::vector<std::string>{"-1", "42", "42"}));
    EXPECT_TRUE(received().messages.empty());
}

// Connects until a loop starts afresh, which shows that the last one stopped.
void connectUntilANewLoop(local::HttpServer* poll, std::size_t firstRequestsSoFar)
{
    const auto giveUp = std::chrono::steady_clock::now() + kCycles;
    while (std::chrono::steady_clock::now() < giveUp) {
        connect(60);
        const auto paths = polledPaths(*poll);
        if (static_cast<std::size_t>(std::count(paths.begin(), paths.end(), "-1")) > firstRequestsSoFar) {
            return;
        }
        std::this_thread::sleep_for(100ms);
    }
    ADD_FAILURE() << "the loop did not stop";
}

TEST_F(PollServicePort8080, APayloadThatIsNotJsonEndsTheLoopWithTheInternalErrorLine)
{
    sdk::testing::StdoutFile output;
    poll->script("GET", "/notification/api/notification/{index}",
                 local::Fault::respond(local::Response::json(200, "\"12abc\"")));
    EXPECT_TRUE(connect(60));
    ASSERT_TRUE(poll->waitForRequests(1, kCycles));
    connectUntilANewLoop(poll, 1);
    EXPECT_EQ(output.text(), "Failure in Polling: internal error.\n");
    EXPECT_TRUE(received().messages.empty()) << "no null message after a failure";
}

TEST_F(PollServicePort8080, ABodyThatIsNotAJsonStringEndsTheLoopToo)
{
    sdk::testing::StdoutFile output;
    poll->script("GET", "/notification/api/notification/{index}",
                 local::Fault::respond(local::Response::error(500, "down")));
    EXPECT_TRUE(connect(60));
    ASSERT_TRUE(poll->waitForRequests(1, kCycles));
    connectUntilANewLoop(poll, 1);
    EXPECT_EQ(output.text(), "Failure in Polling: internal error.\n");
}

TEST(PollServiceNoServerPort8080, AConnectionFailureEndsTheLoopWithTheHttpErrorLine)
{
    sdk::testing::StdoutFile output;
    EXPECT_TRUE(connect(60));
    EXPECT_TRUE(output.waitFor("\n", kCycles));
    EXPECT_THAT(output.text(), testing::MatchesRegex("Failure in Polling: .+ \\[[0-9]+\\]\n"));
    EXPECT_TRUE(received().messages.empty());
}

} // namespace
