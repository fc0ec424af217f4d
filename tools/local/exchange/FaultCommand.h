#pragma once

#include <tools/local/common/JsonAnswer.h>
#include <tools/local/server/Fault.h>

#include <string>

namespace lithmar::local {

// A fault to script on the running server, as POST /_control/faults
// describes it:
//   {"method": "GET", "path": "/lithmar-xchng/common/sites/v1",
//    "status": 503, "body": "...", "headers": {"Retry-After": "1"},
//    "delayMs": 0, "close": false, "times": 1}
// "path" is a PathPattern; "method" defaults to "*" (any); "times" to 1 (-1:
// every matching request). The fault answers "status" (with "body" and
// "headers"; Content-Type defaults to application/json when there is a
// body), or with "close" drops the connection without an answer, or with
// only "delayMs" stalls before the normal answer. "delayMs" also delays the
// other two.
struct FaultCommand {
    std::string method;
    std::string path;
    Fault fault;
    int times = 1;
};

// Throws RequestError (400) saying what is wrong with `command`.
FaultCommand faultCommand(const Json& command);

} // namespace lithmar::local
