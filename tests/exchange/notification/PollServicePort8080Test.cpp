// The polling client against the local platform on port 8080; the loop is process-wide: one process per test.

#include <lithmar/exchange/notification/NotificationDispatcher.h>
#include <lithmar/exchange/notification/PendingResults.h>
#include <lithmar/exchange/notification/PollService.h>

#include <tools/local/platform/LocalPlatform.h>

#include <tests/support/StdoutFile.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <condition_variable>
#include <optional>
#include <thread>

namespace sdk = com::vantorel::lithmar;
namespace local = ::lithmar::local;
namespace test = ::lithmar::test;
using namespace std::chrono_literals;

namespace {

constexpr auto kCycles = 25s; // only a broken client takes that long: a cycle takes five seconds
const std::string kPollPath = "/notification/api/notification/{index}";

// What the callback received; a null message is recorded as nullopt.
std::mutex receivedMutex;
std::condition_variable receivedChanged;
std::vector<std::optional<std::string>> received;

void record(const char* message)
{
    std::lock_guard<std::mutex> lock(receivedMutex);
    received.push_back(message ? std::optional<std::string>(message) : std::nullopt);
    receivedChanged.notify_all();
}

std::vector<std::optional<std::string>> waitForMessages(std::size_t count)
{
    std::unique_lock<std::mutex> lock(receivedMutex);
    receivedChanged.wait_for(lock, kCycles, [count] { return received.size() >= count; });
    return received;
}

bool connect(int timeout)
{
    return sdk::PollService::Connect("LOCAL_USER", "LOCAL_TICKET", "http://unused", timeout, record);
}

class PollServicePort8080 : public testing::Test {
protected:
    void SetUp() override { platform.start(); }

    std::vector<std::string> polled() const
    {
        std::vector<std::string> indexes;
        for (const auto& request : poll.requests()) {
            indexes.push_back(request.path.substr(request.path.rfind('/') + 1));
        }
        return indexes;
    }

    local::LocalPlatform platform{[] {
        local::LocalPlatformOptions options;
        options.pollPort = 8080;
        return options;
    }()};
    local::HttpServer& poll = *platform.pollServer();
};

TEST_F(PollServicePort8080, HandsEachPayloadToTheCallbackAsAMessageTheDispatcherFiles)
{
    platform.publish("LOCAL_USER", R"({"jobId":"job-1","result":"SUCCESS"})");
    EXPECT_TRUE(connect(60));
    sdk::dispatchNotification(waitForMessages(1).at(0).value().c_str());
    EXPECT_EQ(sdk::PendingResults().at(L"job-1").at("result").as_string(), "SUCCESS");
    // -1 is answered with the start index 0; after a payload comes the next index.
    ASSERT_TRUE(poll.waitForRequests(3, 2 * kCycles));
    const auto indexes = polled();
    EXPECT_EQ(std::vector<std::string>(indexes.begin(), indexes.begin() + 3),
              (std::vector<std::string>{"-1", "0", "1"}));
    EXPECT_EQ(poll.requests().at(0).header("Content-Type"), "application/json");
}

TEST_F(PollServicePort8080, RunsOneLoopHoweverManyThreadsConnectThatEndsAtTheDeadlineWithANullMessage)
{
    std::vector<std::thread> threads;
    for (int i = 0; i < 8; ++i) {
        threads.emplace_back([] { EXPECT_TRUE(connect(0)); });
    }
    for (auto& thread : threads) {
        thread.join();
    }
    EXPECT_EQ(waitForMessages(1), std::vector<std::optional<std::string>>{std::nullopt}) << "the null message";
    EXPECT_EQ(polled(), std::vector<std::string>{"-1"}) << "one loop of one cycle";
    EXPECT_TRUE(connect(0));
    ASSERT_TRUE(poll.waitForRequests(2, kCycles));
    EXPECT_EQ(polled(), (std::vector<std::string>{"-1", "-1"})) << "a new loop";
}

// A number is the next index and an empty string keeps it; a payload that is not JSON, a body that is
// not a string or no server ends the loop with a line and no null message.
TEST_F(PollServicePort8080, ScriptedAnswersSetTheIndexAndFailuresEndTheLoop)
{
    test::StdoutFile output;
    for (const auto& answer : {local::Response::json(200, "\"42\""), local::Response::json(200, "\"\""),
                               local::Response::json(200, "\"12abc\""), local::Response::error(500, "down")}) {
        poll.script("GET", kPollPath, local::Fault::respond(answer));
    }
    const std::string line = "Failure in Polling: internal error.\n";
    EXPECT_TRUE(connect(60));
    ASSERT_TRUE(output.waitFor(line, 2 * kCycles));
    EXPECT_EQ(polled(), (std::vector<std::string>{"-1", "42", "42"}));
    EXPECT_TRUE(connect(60)); // starts a new loop only if the failed one stopped
    ASSERT_TRUE(output.waitFor(line + line, kCycles));
    EXPECT_EQ(polled(), (std::vector<std::string>{"-1", "42", "42", "-1"}));
    platform.stop();
    EXPECT_TRUE(connect(60));
    ASSERT_TRUE(output.waitFor("]\n", kCycles)); // the HTTP error line
    EXPECT_THAT(output.text(), testing::MatchesRegex(line + line + "Failure in Polling: .+ \\[[0-9]+\\]\n"));
    EXPECT_TRUE(received.empty());
}

} // namespace
