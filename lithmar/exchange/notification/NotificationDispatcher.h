#pragma once

#include <lithmar/exchange/lithmar_exchange_export.h>

namespace com::vantorel::lithmar {

// The callback that the notification clients (PollService, SocketService)
// are given. `message` is one notification as NUL-terminated UTF-8 JSON:
//
//     {"actions": [{"options": {"event": {"options":
//         {"topic": "lithmar.vantor", "data": {"jobId": "job-1", ...}}}}}]}
//
// A message of the data exchange topic files its "data" in PendingResults
// under data.jobId, replacing an earlier entry for the same job. Everything
// else is dropped without a word, the table untouched: another topic (the
// topic must match byte for byte, length included), a missing member or one
// of the wrong type along that path, an empty "actions", a "jobId" that is
// not a string, text that is not UTF-8 or not JSON. A null `message` means
// that the client has stopped listening and empties the table.
//
// Thread-safe; takes the notification lock. Throws only if the lock itself
// fails (std::system_error).
LITHMAR_EXCHANGE_EXPORT void dispatchNotification(const char* message);

} // namespace com::vantorel::lithmar
