// The wait for a background job's result: how many looks, when it gives up,
// what a time-out changed mid-wait does, and that waits hold no threads.

#include <lithmar/exchange/api/detail/JobWait.h>
#include <lithmar/runtime/ApiException.h>

#include <gtest/gtest.h>

#include <cstdlib>
#include <fstream>
#include <stdexcept>
#include <string>
#include <vector>

namespace sdk = com::vantorel::lithmar;
using sdk::exploration::api::detail::awaitJobResult;

namespace {

constexpr std::chrono::milliseconds kInterval(20);

enum class Outcome { Result, FirstAnswer, TimedOut };

Outcome outcomeOf(pplx::task<void> wait)
{
    try {
        wait.get();
        return Outcome::Result;
    } catch (const sdk::ApiException& error) {
        EXPECT_EQ(error.error_code().value(), 408);
        EXPECT_EQ(error.getMessage(), L"Timeout waiting for response.");
        EXPECT_EQ(error.getContent(), nullptr);
        return Outcome::TimedOut;
    }
}

struct Case {
    int32_t timeOut;
    int foundAtLook; // 0: never
    Outcome outcome;
    int looks;
};

class JobWaitOutcomes : public testing::TestWithParam<Case> {};

TEST_P(JobWaitOutcomes, LooksAsOftenAsTheTimeOutAllows)
{
    const Case& c = GetParam();
    std::atomic<int32_t> timeOut(c.timeOut);
    int looks = 0;
    bool found = false;
    auto wait = awaitJobResult(
        timeOut,
        [&] {
            found = ++looks == c.foundAtLook;
            return found;
        },
        kInterval);
    Outcome outcome = outcomeOf(wait);
    if (outcome == Outcome::Result && !found) {
        outcome = Outcome::FirstAnswer;
    }
    EXPECT_EQ(outcome, c.outcome);
    EXPECT_EQ(looks, c.looks);
}

INSTANTIATE_TEST_SUITE_P(JobWait, JobWaitOutcomes,
                         testing::Values(Case{5, 3, Outcome::Result, 3}, Case{3, 3, Outcome::Result, 3},
                                         Case{3, 0, Outcome::TimedOut, 3}, Case{1, 0, Outcome::TimedOut, 1},
                                         Case{0, 0, Outcome::TimedOut, 0}, Case{-1, 0, Outcome::FirstAnswer, 0},
                                         Case{-3600, 1, Outcome::FirstAnswer, 0}),
                         [](const testing::TestParamInfo<Case>& param) {
                             const Case& c = param.param;
                             return "TimeOut" + std::string(c.timeOut < 0 ? "Minus" : "") +
                                    std::to_string(std::abs(c.timeOut)) + "FoundAtLook" + std::to_string(c.foundAtLook);
                         });

TEST(JobWait, ALoweredTimeOutEndsTheWaitWithTheFirstAnswer)
{
    std::atomic<int32_t> timeOut(100);
    int looks = 0;
    auto wait = awaitJobResult(
        timeOut,
        [&] {
            if (++looks == 2) {
                timeOut = 1; // below the looks made: neither a result nor a time-out
            }
            return false;
        },
        kInterval);
    EXPECT_NO_THROW(wait.get());
    EXPECT_EQ(looks, 2);
}

TEST(JobWait, ARaisedTimeOutKeepsTheWaitGoing)
{
    std::atomic<int32_t> timeOut(1);
    int looks = 0;
    auto wait = awaitJobResult(
        timeOut,
        [&] {
            if (++looks == 1) {
                timeOut = 4;
            }
            return false;
        },
        kInterval);
    EXPECT_EQ(outcomeOf(wait), Outcome::TimedOut);
    EXPECT_EQ(looks, 4);
}

TEST(JobWait, ALookThatThrowsFailsTheWaitAndEndsIt)
{
    std::atomic<int32_t> timeOut(10);
    int looks = 0;
    auto wait = awaitJobResult(
        timeOut,
        [&]() -> bool {
            ++looks;
            throw std::runtime_error("the filed result is not an object");
        },
        kInterval);
    EXPECT_THROW(wait.get(), std::runtime_error);
    EXPECT_EQ(looks, 1);
}

int threadsOfThisProcess()
{
    std::ifstream status("/proc/self/status");
    for (std::string line; std::getline(status, line);) {
        if (line.rfind("Threads:", 0) == 0) {
            return std::stoi(line.substr(8));
        }
    }
    throw std::runtime_error("no thread count in /proc/self/status");
}

TEST(JobWait, AThousandWaitsHoldNoThreads)
{
    std::atomic<int32_t> timeOut(2);
    awaitJobResult(
        timeOut, [] { return true; }, kInterval)
        .get(); // the task pool is up
    const int threadsBefore = threadsOfThisProcess();

    std::atomic<int> looks(0);
    std::vector<pplx::task<void>> waits;
    for (int i = 0; i < 1000; ++i) {
        waits.push_back(awaitJobResult(
            timeOut, [&] { return ++looks % 2 == 0; }, std::chrono::milliseconds(300)));
    }
    // With every wait asleep, the pool still runs other work at once.
    EXPECT_EQ(pplx::create_task([] { return 42; }).get(), 42);
    EXPECT_LE(threadsOfThisProcess(), threadsBefore);

    int settled = 0;
    for (auto& wait : waits) {
        try {
            wait.get();
        } catch (const sdk::ApiException&) {
        }
        ++settled;
    }
    EXPECT_EQ(settled, 1000);
    EXPECT_GE(looks.load(), 1000);
}

} // namespace
