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
#include <utility>

namespace lithmar::local::detail {

// Counts a connection as open for as long as it lives. It moves along when
// a connection becomes a WebSocket session.
class ConnectionSlot {
public:
    explicit ConnectionSlot(std::atomic<std::size_t>& open) : m_open(&open) { ++open; }
    ConnectionSlot(ConnectionSlot&& other) noexcept : m_open(std::exchange(other.m_open, nullptr)) {}
    ConnectionSlot& operator=(ConnectionSlot&&) = delete;
    ~ConnectionSlot()
    {
        if (m_open) {
            --*m_open;
        }
    }

private:
    std::atomic<std::size_t>* m_open;
};

// What every connection of a server shares. It outlives the connections:
// the server destroys them all when it stops.
struct ServerContext {
    explicit ServerContext(ServerOptions serverOptions)
        : options(std::move(serverOptions)), requests(options.requestLogEntries, options.requestLogBodyBytes),
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
    // Connections not closed yet (see ConnectionSlot).
    std::atomic<std::size_t> openConnections{0};
};

} // namespace lithmar::local::detail
