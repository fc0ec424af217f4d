#include <lithmar/runtime/RetryPolicy.h>

#include <gtest/gtest.h>

#include <cerrno>

namespace lithmar = com::vantorel::lithmar;
using lithmar::AttemptOutcome;

namespace {

struct TransportCase {
    int code;
    const char* message;
    AttemptOutcome outcome;
    bool repeatGet;
    bool repeatPost;
};

class TransportFailures : public testing::TestWithParam<TransportCase> {};

// The codes and texts are those that cpprestsdk's Linux client reports.
TEST_P(TransportFailures, AreRepeatedOnlyWhenHarmless)
{
    const auto& c = GetParam();
    const auto outcome = lithmar::classifyTransportError(c.code, c.message);
    EXPECT_EQ(outcome, c.outcome);
    EXPECT_EQ(lithmar::mayRepeat(outcome, "GET"), c.repeatGet);
    EXPECT_EQ(lithmar::mayRepeat(outcome, "POST"), c.repeatPost);
}

INSTANTIATE_TEST_SUITE_P(
    Cpprest, TransportFailures,
    testing::Values(
        TransportCase{113, "Failed to connect to any resolved endpoint", AttemptOutcome::NotSent, true, true},
        TransportCase{111, "Failed to connect to any resolved endpoint", AttemptOutcome::NotSent, true, true},
        TransportCase{0, "Error resolving address", AttemptOutcome::NotSent, true, true},
        TransportCase{104, "Failed to read HTTP status line", AttemptOutcome::LostAfterSending, true, false},
        TransportCase{103, "Failed to read HTTP status line", AttemptOutcome::LostAfterSending, true, false},
        TransportCase{32, "Failed to write request body", AttemptOutcome::LostAfterSending, true, false},
        TransportCase{ETIMEDOUT, "Failed to read HTTP status line", AttemptOutcome::Fatal, false, false},
        TransportCase{0, "Invalid HTTP status line", AttemptOutcome::Fatal, false, false},
        TransportCase{336151574, "Error in SSL handshake", AttemptOutcome::Fatal, false, false}));

TEST(RetryStatus, OnlyOverloadAndGatewayStatusesAreRepeated)
{
    for (int status : {200, 204, 301, 400, 401, 404, 409, 500, 501}) {
        EXPECT_EQ(lithmar::classifyStatus(status), AttemptOutcome::Success) << status;
    }
    for (int status : {429, 503}) {
        EXPECT_TRUE(lithmar::mayRepeat(lithmar::classifyStatus(status), "POST")) << status;
    }
    for (int status : {502, 504}) {
        EXPECT_TRUE(lithmar::mayRepeat(lithmar::classifyStatus(status), "GET")) << status;
        EXPECT_FALSE(lithmar::mayRepeat(lithmar::classifyStatus(status), "POST")) << status;
    }
}

TEST(RetryBackoff, GrowsExponentiallyUpToTheCapWithJitter)
{
    lithmar::RetryPolicy policy;
    policy.initialBackoff = std::chrono::milliseconds(100);
    policy.maxBackoff = std::chrono::milliseconds(1000);
    EXPECT_EQ(lithmar::backoffDelay(policy, 2, 0.999).count(), 99);
    EXPECT_EQ(lithmar::backoffDelay(policy, 3, 0.999).count(), 199);
    EXPECT_EQ(lithmar::backoffDelay(policy, 4, 0.999).count(), 399);
    EXPECT_EQ(lithmar::backoffDelay(policy, 9, 0.999).count(), 999);
    EXPECT_EQ(lithmar::backoffDelay(policy, 40, 0.5).count(), 500);
    EXPECT_EQ(lithmar::backoffDelay(policy, 3, 0.0).count(), 0);
}

TEST(RetryAfter, ReadsSecondsAndDates)
{
    const auto now = std::chrono::system_clock::from_time_t(784111777); // Sun, 06 Nov 1994 08:49:37 GMT
    EXPECT_EQ(lithmar::parseRetryAfter("3", now), std::chrono::milliseconds(3000));
    EXPECT_EQ(lithmar::parseRetryAfter("0", now), std::chrono::milliseconds(0));
    EXPECT_EQ(lithmar::parseRetryAfter("Sun, 06 Nov 1994 08:49:47 GMT", now), std::chrono::milliseconds(10000));
    EXPECT_EQ(lithmar::parseRetryAfter("Sun, 06 Nov 1994 08:49:00 GMT", now), std::chrono::milliseconds(0));
    EXPECT_EQ(lithmar::parseRetryAfter("", now), std::nullopt);
    EXPECT_EQ(lithmar::parseRetryAfter("-5", now), std::nullopt);
    EXPECT_EQ(lithmar::parseRetryAfter("soon", now), std::nullopt);
}

TEST(RetryPolicy, NoneSendsOnce)
{
    EXPECT_EQ(lithmar::RetryPolicy::none().maxAttempts, 1);
}

} // namespace
