#pragma once

#include <tools/local/server/WebSocket.h>

#include <cstdint>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

namespace lithmar::local::detail {

// The server side of a WebSocketSession: takes messages and close requests
// from any thread onto the connection's own.
class WebSocketChannel {
public:
    virtual ~WebSocketChannel() = default;
    virtual void send(std::string text) = 0;
    virtual void close(std::uint16_t code, std::string reason) = 0;

protected:
    static void attach(WebSocketSession& session, std::weak_ptr<WebSocketChannel> channel)
    {
        session.attach(std::move(channel));
    }
    static void detach(WebSocketSession& session) { session.detach(); }
};

// The sessions of a server, so that stopping it can cut every session off
// from the connection threads before their io_contexts go away: a message
// sent after that point must not be posted to a destroyed io_context.
class WebSocketSessions {
public:
    void add(const std::shared_ptr<WebSocketSession>& session);
    // Every session's send() and close() do nothing from now on.
    void detachAll();

private:
    std::mutex m_mutex;
    std::vector<std::weak_ptr<WebSocketSession>> m_sessions;
};

} // namespace lithmar::local::detail
