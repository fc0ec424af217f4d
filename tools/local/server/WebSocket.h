#pragma once

#include <tools/local/server/RecordedRequest.h>
#include <tools/local/server/Response.h>

#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>

namespace lithmar::local {

namespace detail {
class WebSocketChannel;
class WebSocketSessions;
} // namespace detail

// One open WebSocket connection, as its route's handler sees it. Thread-safe:
// send() and close() may be called from any thread, at any time, also after
// the connection ended or the server stopped (they do nothing then).
class WebSocketSession {
public:
    explicit WebSocketSession(RecordedRequest request);

    WebSocketSession(const WebSocketSession&) = delete;
    WebSocketSession& operator=(const WebSocketSession&) = delete;

    // Queues a text message; messages go out in the order they were queued.
    void send(std::string text);
    // Sends the queued messages, then a close frame with `code` and `reason`.
    void close(std::uint16_t code = 1000, std::string reason = {});
    // False once the connection ended (either side closed it, or the server
    // stopped).
    bool isOpen() const;

    // The upgrade request (path parameters, query and headers included).
    const RecordedRequest& request() const { return m_request; }

private:
    friend class detail::WebSocketChannel;
    friend class detail::WebSocketSessions;

    void attach(std::weak_ptr<detail::WebSocketChannel> channel);
    void detach();

    const RecordedRequest m_request;
    mutable std::mutex m_mutex;
    // Empty once the connection ended: a session may outlive its connection
    // and even its server, in the hands of whoever pushes messages.
    std::weak_ptr<detail::WebSocketChannel> m_channel;
};

// What a WebSocket route does. Every member is optional. The callbacks of one
// session run one at a time, on a server thread; those of different sessions
// may run concurrently.
struct WebSocketHandler {
    // Decides on the upgrade: a response (401, 403...) refuses it and is sent
    // as it is; std::nullopt accepts. Absent: every upgrade is accepted.
    std::function<std::optional<Response>(const RecordedRequest&)> accept;
    // The connection is open; the session may be kept to send from anywhere.
    std::function<void(std::shared_ptr<WebSocketSession>)> onOpen;
    // A message from the client (text or binary, as received).
    std::function<void(WebSocketSession&, std::string)> onMessage;
    // The connection ended: closed by either side, lost, or cut by stop().
    // Called once for every session that was opened.
    std::function<void(WebSocketSession&)> onClose;
};

} // namespace lithmar::local
