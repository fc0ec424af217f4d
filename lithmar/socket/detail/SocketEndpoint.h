#pragma once

#include <optional>
#include <string>

namespace com::vantorel::lithmar::detail {

// Where the notification socket of a service lives: the service's URL with
// http turned into ws and https into wss (ws and wss are taken as they are),
// and "/socket" after its path.
struct SocketEndpoint {
    bool tls = false;
    std::string host;
    std::string port;   // "80"/"443" when the URL names none
    std::string target; // "/lithmar-gate/socket"
};

// nullopt for anything but an absolute http, https, ws or wss URL with a host.
std::optional<SocketEndpoint> socketEndpoint(const std::string& notificationUrl);

} // namespace com::vantorel::lithmar::detail
