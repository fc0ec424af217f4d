#pragma once
// Transport failures can only be told apart by the message of cpprestsdk's
// web::http::http_exception: both HTTP layers give generic error codes. This
// is the one table of the texts the client looks for; the retry rules read
// it (docs/decisions/0003 and 0012).

#include <lithmar/runtime/lithmar_runtime_export.h>

#include <initializer_list>
#include <string>
#include <vector>

namespace com::vantorel::lithmar::detail {

enum class TransportFailure {
    NotConnected,     // no connection was made: refused, name not resolved
    LostAfterSending, // the connection dropped before the answer arrived
    NotHttp,          // the first line of the answer was not an HTTP status line
    FailedHandshake,  // the TLS handshake failed
};

// The texts in which the HTTP layers report any of `failures`, in the
// table's order. Exported for the exchange library's check-in rule.
LITHMAR_RUNTIME_EXPORT std::vector<std::string> transportErrorTexts(std::initializer_list<TransportFailure> failures);

// Whether `message` contains one of `texts`.
LITHMAR_RUNTIME_EXPORT bool mentionsAny(const std::string& message, const std::vector<std::string>& texts);

} // namespace com::vantorel::lithmar::detail
