#pragma once

#include <lithmar/socket/lithmar_socket_export.h>

namespace com::vantorel::lithmar {

// The notification client for platform users: a WebSocket connection to the
// platform's notification service (docs/notifications.md gives the
// protocol). The socket library's public interface: Lithmar::socket, which
// the exchange library links and calls for every user but the local one.
class LITHMAR_SOCKET_EXPORT SocketService {
public:
    // Listens to `user`'s notifications at `notificationUrl` (the service's
    // http(s) or ws(s) URL), authenticated with `ticket`, for `timeout`
    // seconds from now, and returns at once. One connection serves each
    // service URL and user: a call while it is open moves its deadline
    // (never earlier) and hands it the newer ticket for reconnecting; the
    // callback it was opened with stays. Each notification reaches
    // `callback` as NUL-terminated UTF-8 JSON on the connection's own thread;
    // a dropped connection is opened again, with growing pauses, without
    // losing the notifications published meanwhile. At the deadline, or
    // when the service refuses the user and ticket, the connection closes
    // and `callback` gets a null pointer, once.
    //
    // False, and nothing started, when an argument is null or empty, the URL
    // is not an http, https, ws or wss URL, or `timeout` is not positive.
    static bool Connect(const char* user, const char* ticket, const char* notificationUrl, int timeout,
                        void (*callback)(const char*));
};

} // namespace com::vantorel::lithmar
