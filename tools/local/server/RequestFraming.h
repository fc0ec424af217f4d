#pragma once

#include <tools/local/server/RecordedRequest.h>

#include <string>
#include <vector>

namespace lithmar::local {

// Why a request head breaks HTTP/1.1's rules for a message's framing and
// routing, "" when it does not: no Host in an HTTP/1.1 request (`version`
// 11; HTTP/1.0 had none), more than one Host, Content-Length beside
// Transfer-Encoding, Content-Length values that differ, a Transfer-Encoding
// that does not end in chunked (or applies it twice). Such a request must be
// answered 400 and its connection closed: another party on the way (a
// proxy) may read its bounds differently, and the bytes that follow it
// cannot be trusted to be the next request.
std::string framingProblem(const std::vector<Header>& headers, unsigned version);

} // namespace lithmar::local
