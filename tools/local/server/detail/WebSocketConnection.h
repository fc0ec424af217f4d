#pragma once

#include <tools/local/server/WebSocket.h>
#include <tools/local/server/detail/ServerContext.h>
#include <tools/local/server/detail/WebSocketChannel.h>

#include <boost/beast/core/flat_buffer.hpp>
#include <boost/beast/http/empty_body.hpp>
#include <boost/beast/http/message.hpp>
#include <boost/beast/websocket/stream.hpp>

#include <deque>
#include <memory>
#include <optional>
#include <string>

namespace lithmar::local::detail {

// A connection upgraded to WebSocket: completes the upgrade, then reads
// messages for the handler while sending what the session queues, one
// message at a time and in order. Like Connection, it lives as long as one of
// its operations is pending, on the io_context of its thread; the session
// reaches it through a weak pointer only.
template <class Stream>
class WebSocketConnection : public WebSocketChannel, public std::enable_shared_from_this<WebSocketConnection<Stream>> {
public:
    using Upgrade = boost::beast::http::request<boost::beast::http::empty_body>;

    WebSocketConnection(Stream stream, ConnectionSlot slot, ServerContext& context, const WebSocketHandler& handler,
                        RecordedRequest request, Upgrade upgrade);
    // Reports the end to the handler when the server stopped mid-session.
    ~WebSocketConnection() override;

    void start();

    void send(std::string text) override;
    void close(std::uint16_t code, std::string reason) override;

private:
    // A message to send, or (without one) the close frame.
    struct Outgoing {
        std::optional<std::string> text;
        boost::beast::websocket::close_reason closeReason;
    };

    void onAccepted(boost::beast::error_code error);
    void readNext();
    void onRead(boost::beast::error_code error);
    void enqueue(Outgoing outgoing);
    void writeNext();
    void end();
    template <class Callback> void runHandler(const char* what, Callback callback);

    boost::beast::websocket::stream<Stream> m_socket;
    ServerContext& m_context;
    const ConnectionSlot m_slot;
    const WebSocketHandler m_handler;
    const std::shared_ptr<WebSocketSession> m_session;
    const Upgrade m_upgrade;
    boost::beast::flat_buffer m_buffer;
    std::deque<Outgoing> m_outbox;
    bool m_writing = false;
    bool m_closing = false; // a close frame is queued or sent
    bool m_opened = false;
    bool m_ended = false;
};

} // namespace lithmar::local::detail
