// The wait for a background job's result: how many looks, when it gives up,
// what a time-out changed mid-wait does, and that waits hold no threads.

#include <lithmar/exchange/api/detail/JobWait.h>
#include <lithmar/runtime/ApiException.h>

#include <gtest/gtest.h>

#include <filesystem>
#include <iterator>
#include <stdexcept>
#include <string>
#include <vector>

namespace sdk = com::vantorel::lithmar;
using sdk::exploration::api::detail::awaitJobResult;

namespace {

constexpr std::chrono::milliseconds kInterval(20);

// "result" when a look found it, "first answer" when the wait ended without
// one, "408" for the time-out (whose exception is checked here), or "throws".
std::string outcomeOf(pplx::task<void> wait, const bool& found)
{
    try {
        wait.get();
        return found ? "result" : "first answer";
    } catch (const sdk::ApiException& error) {
        EXPECT_EQ(error.error_code().value(), 408);
        EXPECT_EQ(error.getMessage(), L"Timeout waiting for response.");
        EXPECT_EQ(error.getContent(), nullptr);
        return "408";
    } catch (const std::runtime_error&) {
        return "throws";
    }
}

TEST(JobWait, LooksAsOftenAsTheTimeOutAllowsAndSeesItChangeFromTheNextLook)
{
    const struct {
        int32_t timeOut;
        int foundAtLook;  // 0: never; -1: the first look throws
        int changeAtLook; // 0: never; else the time-out becomes changeTo there
        int32_t changeTo;
        const char* outcome;
        int looks;
    } cases[] = {
        {5, 3, 0, 0, "result", 3},
        {3, 3, 0, 0, "result", 3},
        {3, 0, 0, 0, "408", 3},
        {1, 0, 0, 0, "408", 1},
        {0, 0, 0, 0, "408", 0},
        {-1, 0, 0, 0, "first answer", 0},
        {-3600, 1, 0, 0, "first answer", 0},
        {100, 0, 2, 1, "first answer", 2}, // lowered below the looks made: neither a result nor a time-out
        {1, 0, 1, 4, "408", 4},            // raised
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
        EXPECT_EQ(outcomeOf(wait, found), c.outcome);
        EXPECT_EQ(looks, c.looks);
    }
}

TEST(JobWait, AThousandWaitsHoldNoThreads)
{
    const auto threads = [] { return std::distance(std::filesystem::directory_iterator("/proc/self/task"), {}); };
    std::atomic<int32_t> timeOut(2);
    const auto warmUp = awaitJobResult(
        timeOut, [] { return true; }, kInterval);
    warmUp.wait(); // the task pool and its timers are up
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
        try {
            wait.get();
        } catch (const sdk::ApiException&) {
        }
    }
    EXPECT_GE(looks.load(), 1000);
}

} // namespace
