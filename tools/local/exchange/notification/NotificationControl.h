#pragma once

#include <tools/local/exchange/notification/NotificationQueues.h>
#include <tools/local/server/HttpServer.h>

namespace lithmar::local {

// Publishes a notification by hand, so that a developer can try a client
// without running an upload:
//
//   POST /_control/notifications
//   {"user": "LOCAL_USER", "payload": {"jobId": "job-1", "result": "SUCCESS"}}
//
// "user" defaults to the local user. Answers 200 {"result":"OK","index":N}
// with the notification's place in the user's queue, 400 saying what is
// wrong otherwise.
void installNotificationControl(HttpServer& server, NotificationQueues& queues);

} // namespace lithmar::local
