#pragma once

#include <cstdint>
#include <optional>
#include <string>

namespace com::vantorel::lithmar::detail {

// The JSON text frames of the notification socket (docs/notifications.md).

// The client's first frame: who listens, with which ticket, and the index of
// the last notification it has (-1 when none: the service then starts with
// what it published in the last minute).
std::string helloFrame(const std::string& user, const std::string& ticket, std::int64_t after);

// A frame of the service, as the client understands it.
struct ServiceFrame {
    enum class Kind { Welcome, Notification };
    Kind kind = Kind::Welcome;
    std::int64_t index = -1; // Notification: its place in the user's queue
    std::string message;     // Notification: the message, as JSON text
};

// nullopt for a frame that is not JSON, not an object, of an unknown
// "type", or a notification without a whole "index" or an object "message".
std::optional<ServiceFrame> parseServiceFrame(const std::string& text);

} // namespace com::vantorel::lithmar::detail
