#pragma once

#include <lithmar/runtime/RetryPolicy.h>

namespace com::vantorel::lithmar::detail {

// How a list check-in repeats a file's upload: only after a transport
// failure that a later attempt may cure, the server's answer not being HTTP
// or the TLS handshake failing, in the words of each platform's HTTP layer
// (docs/decisions/0012-checkin-retries.md); an answer of any status is the
// file's receipt. One second between attempts, five attempts in all, then
// "Retries exhausted".
RetryPolicy checkinRetryPolicy();

} // namespace com::vantorel::lithmar::detail
