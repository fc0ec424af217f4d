#pragma once
// The rules behind RetryPolicy: which attempts are repeated and how long the
// pauses are. Internal, but in the runtime's namespace and exported: the
// runtime's tests pin them.

#include <lithmar/runtime/RetryPolicy.h>
#include <lithmar/runtime/lithmar_runtime_export.h>

#include <cpprest/http_msg.h>

#include <chrono>
#include <optional>
#include <string>

namespace com::vantorel::lithmar {

// What went wrong with one attempt, as far as repeating it is concerned.
enum class AttemptOutcome {
    Success,          // an answer that is not worth repeating
    RetryableStatus,  // 429 or 503: the server did not act
    GatewayStatus,    // 502 or 504: safe to repeat for GET only
    NotSent,          // no connection was made
    LostAfterSending, // connection lost before the status line arrived
    Fatal,            // time-out, TLS failure, bad answer, local error
};

LITHMAR_RUNTIME_EXPORT AttemptOutcome classifyStatus(int status);
// Classifies a transport failure by what cpprestsdk reports for it.
LITHMAR_RUNTIME_EXPORT AttemptOutcome classifyTransportError(int errorCode, const std::string& message);
LITHMAR_RUNTIME_EXPORT bool mayRepeat(AttemptOutcome outcome, const std::string& method);

// Whether `policy` repeats a request of `method` after this answer, or
// after this transport failure.
bool repeatsAnswer(const RetryPolicy& policy, const web::http::http_response& answer, const std::string& method);
LITHMAR_RUNTIME_EXPORT bool repeatsFailure(const RetryPolicy& policy, const web::http::http_exception& failure,
                                           const std::string& method);

// The pause before attempt `attempt` (2 for the first repetition) when the
// server gave no Retry-After; `unitRandom` is uniform in [0, 1) for full
// jitter, and 1 for none.
LITHMAR_RUNTIME_EXPORT std::chrono::milliseconds backoffDelay(const RetryPolicy& policy, int attempt,
                                                              double unitRandom);
// Reads a Retry-After value: delta seconds or an HTTP date relative to `now`.
LITHMAR_RUNTIME_EXPORT std::optional<std::chrono::milliseconds>
parseRetryAfter(const std::string& value, std::chrono::system_clock::time_point now);

} // namespace com::vantorel::lithmar
