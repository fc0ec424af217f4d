#pragma once

#include <lithmar/socket/detail/SocketEndpoint.h>

#include <chrono>
#include <functional>
#include <memory>
#include <string>

namespace com::vantorel::lithmar::detail {

using NotificationCallback = void (*)(const char*);

// One user's connection to one notification service, with a thread of its
// own that runs the connection, hands notifications to the callback and,
// when the listener stops, calls it once with a null pointer.
//
// It stops at its deadline, which extend() moves, or when the service
// refuses the user and ticket (close code 4401) or the protocol (4400).
// Every other end of a connection is followed by another attempt after a
// backoff pause, resuming after the last notification received.
class SocketListener {
public:
    using Clock = std::chrono::steady_clock;

    // Starts the listener's thread. `stopped` runs on it after the null
    // message.
    static std::shared_ptr<SocketListener> start(SocketEndpoint endpoint, std::string user, std::string ticket,
                                                 NotificationCallback callback, Clock::time_point deadline,
                                                 std::function<void(const SocketListener*)> stopped);
    virtual ~SocketListener() = default;

    // Moves the deadline to `deadline` unless it is later already, and keeps
    // `ticket` for the next connection. False when the listener is stopping:
    // the caller then starts another one.
    virtual bool extend(Clock::time_point deadline, const std::string& ticket) = 0;
};

} // namespace com::vantorel::lithmar::detail
