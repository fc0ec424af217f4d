#pragma once

#include <string>

namespace com::vantorel::lithmar::detail {

// Whether a transport failure of a check-in, as the HTTP layer words it, is
// one that the list check-in repeats: the server's answer was not HTTP, or
// the TLS handshake failed. Each platform's HTTP layer has its own words for
// the two; see docs/decisions/0006-checkin-retry-texts.md.
bool isTransientCheckinFailure(const std::string& message);

} // namespace com::vantorel::lithmar::detail
