#pragma once

#include <tools/local/exchange/notification/NotificationQueues.h>
#include <tools/local/server/HttpServer.h>

#include <cstdint>
#include <string>

namespace lithmar::local {

// The endpoint that the client library's polling client asks, on the local
// machine's port 8080 (lithmar-local's --poll-port):
//
//   GET /notification/api/notification/{index}
//
// always answers 200 with a JSON string: the payload of the notification at
// `index` when the queue holds it, otherwise the index to ask for next as
// decimal text: the start index for a negative one, the oldest kept for one
// that fell out of the queue, the next to come for one not yet published.
// An index that is not a whole number gets 400. It serves one user's queue:
// the local user's.
inline constexpr const char* kPollPath = "/notification/api/notification/";

// The JSON text answering a poll for `index`.
std::string pollAnswer(const NotificationQueues& queues, const std::string& user, std::int64_t index);

// Adds the route to `server`; `queues` must outlive it.
void installPollEndpoint(HttpServer& server, const NotificationQueues& queues, std::string user);

} // namespace lithmar::local
