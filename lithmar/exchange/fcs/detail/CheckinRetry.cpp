#include <lithmar/exchange/fcs/detail/CheckinRetry.h>

#include <lithmar/runtime/detail/TransportErrorTexts.h>

#include <chrono>

namespace com::vantorel::lithmar::detail {

RetryPolicy checkinRetryPolicy()
{
    constexpr std::chrono::milliseconds kPause{1000};
    RetryPolicy policy;
    policy.maxAttempts = 5;
    policy.initialBackoff = kPause;
    policy.maxBackoff = kPause;
    policy.jitter = false;
    // Each attempt may run up to its 20-minute time-out: the attempts, not
    // the clock, end a check-in.
    policy.totalBudget = std::chrono::hours(24);
    policy.repeatedFailureTexts = transportErrorTexts({TransportFailure::NotHttp, TransportFailure::FailedHandshake});
    policy.exhaustedMessage = "Retries exhausted";
    return policy;
}

} // namespace com::vantorel::lithmar::detail
