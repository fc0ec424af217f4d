#pragma once

#include <tools/local/server/HttpServer.h>
#include <tools/local/session/WebSessions.h>

namespace lithmar::local {

// Where programs that drive a running lithmar-local (scripts, tests of host
// applications in other languages) script faults and read what it received:
//   POST   /_control/faults    script a fault (see FaultCommand)
//   DELETE /_control/faults    forget every scripted fault
//   GET    /_control/requests  the request log as JSON, without /_control requests
//   DELETE /_control/requests  empty the request log
//   GET    /_control/sessions  which requests carried which session
inline constexpr const char* kControlPath = "/_control";

// Adds the routes to `server`; `server` and `sessions` must outlive them.
void installControlEndpoints(HttpServer& server, WebSessions& sessions);

} // namespace lithmar::local
