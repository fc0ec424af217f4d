#pragma once

#include <lithmar/runtime/lithmar_runtime_export.h>

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>

namespace com::vantorel::lithmar {

// How ApiClient::callApiAndRetryOnError repeats a request.
//
// A request is repeated only when repeating cannot do harm:
//  - any method, when the connection failed before the request was sent
//    (refused, unreachable, name not resolved), or on 429 and 503, which say
//    that the server did not act on the request;
//  - GET also on 502 and 504, and when the connection was lost before the
//    answer arrived.
// A POST whose connection drops after the request went out is never repeated:
// the server may have acted on it. Time-outs are not repeated either, so a
// stalled server costs one time-out, not several.
//
// Pauses grow exponentially from initialBackoff, capped at maxBackoff, with
// full jitter (a random pause between zero and that bound). A Retry-After
// header (seconds or HTTP date) replaces the computed pause. There are at most
// maxAttempts sends, and no new attempt starts when its pause would end past
// totalBudget counted from the first send. When the policy gives up, the final
// response is returned whatever its status, or the final transport error is
// rethrown.
struct LITHMAR_RUNTIME_EXPORT RetryPolicy {
    int maxAttempts = 4;
    std::chrono::milliseconds initialBackoff{200};
    std::chrono::milliseconds maxBackoff{5000};
    std::chrono::milliseconds totalBudget{60000};

    // No repetition at all: every call is sent exactly once.
    static RetryPolicy none();
};

// What went wrong with one attempt, as far as repeating it is concerned.
enum class AttemptOutcome {
    Success,           // an answer that is not worth repeating
    RetryableStatus,   // 429 or 503: the server did not act
    GatewayStatus,     // 502 or 504: safe to repeat for GET only
    NotSent,           // no connection was made
    LostAfterSending,  // connection lost before the status line arrived
    Fatal,             // time-out, TLS failure, bad answer, local error
};

LITHMAR_RUNTIME_EXPORT AttemptOutcome classifyStatus(int status);
// Classifies a transport failure by what cpprestsdk reports for it.
LITHMAR_RUNTIME_EXPORT AttemptOutcome classifyTransportError(int errorCode, const std::string& message);
LITHMAR_RUNTIME_EXPORT bool mayRepeat(AttemptOutcome outcome, const std::string& method);

// The pause before attempt `attempt` (2 for the first repetition) when the
// server gave no Retry-After; `unitRandom` is uniform in [0, 1).
LITHMAR_RUNTIME_EXPORT std::chrono::milliseconds backoffDelay(const RetryPolicy& policy, int attempt,
                                                              double unitRandom);
// Reads a Retry-After value: delta seconds or an HTTP date relative to `now`.
LITHMAR_RUNTIME_EXPORT std::optional<std::chrono::milliseconds>
parseRetryAfter(const std::string& value, std::chrono::system_clock::time_point now);

} // namespace com::vantorel::lithmar
