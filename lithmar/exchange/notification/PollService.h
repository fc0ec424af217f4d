#pragma once

#include <lithmar/exchange/lithmar_exchange_export.h>

#include <pplx/pplxtasks.h>

namespace com::vantorel::lithmar {

// The notification client for the local user: polls the notification
// endpoint of the local machine, "http://127.0.0.1:8080/notification/api/
// notification/<index>", and hands every notification to a callback in the
// message format that dispatchNotification reads.
//
// One polling loop runs per process. A cycle sends one request; the answer
// is a JSON string holding either a decimal number (nothing new: the index to
// ask for next) or a notification's payload, which is wrapped into a message
// of the data exchange topic and passed to the callback. Five seconds after
// each answer the next request goes out, until more than `timeout` seconds
// have passed since the latest Connect: then the callback gets a null
// pointer and the loop ends. A failed cycle (no connection, an answer that is
// not a JSON string, a payload that is not JSON) prints
// "Failure in Polling: ..." to standard output and ends the loop without the
// null message. The pause between cycles is a timer, not a sleeping thread.
class LITHMAR_EXCHANGE_EXPORT PollService {
public:
    // Starts the loop (at index -1) unless it runs; either way moves its
    // deadline to `timeout` seconds from now. A loop that runs keeps the
    // callback it was started with. `user`, `ticket` and `notificationUrl`
    // are not used: the endpoint is fixed. Never waits for a cycle; always
    // returns true.
    static bool Connect(const char* user, const char* ticket, const char* notificationUrl, int timeout,
                        void (*callback)(const char*));
};

// One poll request for `index`; the task completes when its answer has been
// handled (the callback called for a notification) and the next cycle, if
// any, has been scheduled, and fails with what went wrong.
LITHMAR_EXCHANGE_EXPORT pplx::task<void> Poll(void (*callback)(const char*), int index);

} // namespace com::vantorel::lithmar
