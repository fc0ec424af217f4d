#pragma once

#include <lithmar/runtime/lithmar_runtime_export.h>

#include <chrono>
#include <string>
#include <vector>

namespace com::vantorel::lithmar {

// How ApiClient::callApiAndRetryOnError repeats a request. A call carries it
// in its client's ApiConfiguration: what to repeat, how often, how long to
// pause.
//
// By default a request is repeated only when repeating cannot do harm:
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

    // Empty: the rule above decides what is repeated. Otherwise it alone
    // does: a transport failure whose message contains one of these texts is
    // repeated, whatever the method, and nothing else is; every answer comes
    // back as it is.
    std::vector<std::string> repeatedFailureTexts{};
    // Without jitter every pause is the bound itself.
    bool jitter = true;
    // Empty: when maxAttempts are used up, the final response or error
    // stands, as above. Otherwise the failing last attempt is followed by one
    // more pause, and then the call fails with std::runtime_error carrying
    // this text.
    std::string exhaustedMessage{};

    // No repetition at all: every call is sent exactly once.
    static RetryPolicy none();
};

} // namespace com::vantorel::lithmar
