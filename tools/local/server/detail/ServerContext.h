#pragma once

#include <tools/local/server/AccessLog.h>
#include <tools/local/server/FaultScript.h>
#include <tools/local/server/RequestLog.h>
#include <tools/local/server/Router.h>
#include <tools/local/server/ServerOptions.h>
#include <tools/local/server/detail/WebSocketChannel.h>

#include <atomic>
#include <cstdint>
#include <memory>

namespace lithmar::local::detail {

// What every connection of a server shares. It outlives the connections:
// the server destroys them all when it stops.
struct ServerContext {
    explicit ServerContext(ServerOptions serverOptions)
        : options(std::move(serverOptions)),
          accessLog(options.requestLogFile.empty() ? nullptr : std::make_unique<AccessLog>(options.requestLogFile))
    {
    }

    const ServerOptions options;
    Router router;
    FaultScript faults;
    RequestLog requests;
    const std::unique_ptr<AccessLog> accessLog;
    WebSocketSessions webSockets;
    std::atomic<std::uint64_t> acceptedConnections{0};
};

} // namespace lithmar::local::detail
