// The wait for a job's result: how many looks, when it gives up, a time-out changed mid-wait, no threads held.

#include "ApiTestServer.h"

#include <lithmar/exchange/api/detail/JobWait.h>

#include <gtest/gtest.h>

#include <filesystem>
#include <stdexcept>

using namespace apitest;
using sdk::exploration::api::detail::awaitJobResult;

namespace {

constexpr std::chrono::milliseconds kInterval(20);
const char* const k408 = "408 Timeout waiting for response. | <none>";

TEST(JobWait, LooksAsOftenAsTheTimeOutAllowsAndSeesItChangeFromTheNextLook)
{
    const struct {
        int32_t timeOut;
        int foundAtLook, changeAtLook; // 0: never; found -1: the first look throws; at changeAtLook, timeOut = changeTo
        int32_t changeTo;
        const char* outcome; // "result", "first answer" (ended without one), the failure or "throws"
        int looks;
    } cases[] = {
        {5, 3, 0, 0, "result", 3},
        {3, 3, 0, 0, "result", 3},
        {3, 0, 0, 0, k408, 3},
        {0, 0, 0, 0, k408, 0},
        {-1, 0, 0, 0, "first answer", 0},
        {-3600, 1, 0, 0, "first answer", 0},
        {100, 0, 2, 1, "first answer", 2}, // lowered below the looks made: neither a result nor a time-out
        {1, 0, 1, 4, k408, 4},            // raised
        {10, -1, 0, 0, "throws", 1},       // and ends the wait
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(testing::Message() << c.timeOut << " " << c.foundAtLook << " " << c.changeAtLook);
        std::atomic<int32_t> timeOut(c.timeOut);
        int looks = 0;
        bool found = false;
        const auto look = [&] {
            if (++looks == c.changeAtLook) {
                timeOut = c.changeTo;
            }
            if (c.foundAtLook < 0) {
                throw std::runtime_error("the filed result is not an object");
            }
            return found = looks == c.foundAtLook;
        };
        const auto wait = awaitJobResult(timeOut, look, kInterval);
        std::string outcome;
        try {
            outcome = outcomeOf([&] { wait.get(); });
        } catch (const std::runtime_error&) {
            outcome = "throws";
        }
        EXPECT_EQ(outcome == "OK" ? (found ? "result" : "first answer") : outcome, c.outcome);
        EXPECT_EQ(looks, c.looks);
    }
}

TEST(JobWait, AThousandWaitsHoldNoThreads)
{
    const auto threads = [] { return std::distance(std::filesystem::directory_iterator("/proc/self/task"), {}); };
    std::atomic<int32_t> timeOut(2);
    awaitJobResult(timeOut, [] { return true; }, kInterval).wait(); // the task pool and its timers are up
    const auto threadsBefore = threads();

    std::atomic<int> looks(0);
    const auto look = [&] { return ++looks % 2 == 0; };
    std::vector<pplx::task<void>> waits;
    for (int i = 0; i < 1000; ++i) {
        waits.push_back(awaitJobResult(timeOut, look, std::chrono::milliseconds(300)));
    }
    // With every wait asleep, the pool still runs other work.
    EXPECT_EQ(pplx::create_task([] { return 42; }).get(), 42);
    EXPECT_LE(threads(), threadsBefore);
    for (auto& wait : waits) { // each ends
        (void)outcomeOf([&] { wait.get(); });
    }
    EXPECT_GE(looks.load(), 1000);
}

} // namespace
