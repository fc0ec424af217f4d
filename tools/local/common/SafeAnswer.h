#pragma once

#include <tools/local/server/RecordedRequest.h>
#include <tools/local/server/Response.h>

#include <functional>

namespace lithmar::local {

// The answer of `handler`, whatever it throws: a RequestError becomes its
// status with {"error": message}; anything else is a fault of the local
// platform and becomes 500 with a message saying so. A client under test
// sees an HTTP answer, never a dropped connection.
Response answerSafely(const std::function<Response(const RecordedRequest&)>& handler, const RecordedRequest& request);

} // namespace lithmar::local
