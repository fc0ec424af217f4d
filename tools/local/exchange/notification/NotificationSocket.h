#pragma once

#include <tools/local/exchange/notification/NotificationQueues.h>
#include <tools/local/server/HttpServer.h>

#include <functional>
#include <string>

namespace lithmar::local {

// The notification service's WebSocket endpoint, at "<base path>/socket"
// (docs/notifications.md gives the protocol). A client's first message names
// its user and ticket and the last notification it has:
//
//   {"type":"hello","user":"alice","ticket":"...","after":-1}
//
// The service answers {"type":"welcome"}, then sends every notification of
// the user after that index, then each new one as it is published, to
// every connection of the user:
//
//   {"type":"notification","index":3,"message":{"actions":[{"options":{
//     "event":{"options":{"topic":"lithmar.vantor","data":<payload>}}}}]}}
//
// A malformed hello is closed with 4400, a user and ticket that `checkTicket`
// refuses with 4401, both with a reason saying what to do.
using TicketCheck = std::function<bool(const std::string& user, const std::string& ticket)>;

// Adds the route to `server`; `queues` must outlive it.
void installNotificationSocket(HttpServer& server, const std::string& basePath, NotificationQueues& queues,
                               TicketCheck checkTicket);

// The frame that carries `notification` to a client.
std::string notificationFrame(const Notification& notification);

} // namespace lithmar::local
