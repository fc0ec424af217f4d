#include <tools/local/server/detail/WebSocketConnection.h>

#include <tools/local/server/detail/Streams.h>

#include <boost/asio/post.hpp>
#include <boost/beast/core/buffers_to_string.hpp>
#include <boost/beast/websocket/ssl.hpp>

#include <algorithm>
#include <exception>
#include <iostream>

namespace lithmar::local::detail {
namespace {

namespace asio = boost::asio;
namespace beast = boost::beast;
namespace websocket = beast::websocket;

} // namespace

template <class Stream>
WebSocketConnection<Stream>::WebSocketConnection(Stream stream, ConnectionSlot slot, ServerContext& context,
                                                 const WebSocketHandler& handler, RecordedRequest request,
                                                 Upgrade upgrade)
    : m_socket(std::move(stream)), m_context(context), m_slot(std::move(slot)), m_handler(handler),
      m_session(std::make_shared<WebSocketSession>(std::move(request))), m_upgrade(std::move(upgrade))
{
}

template <class Stream> WebSocketConnection<Stream>::~WebSocketConnection()
{
    if (m_opened && !m_ended) {
        end();
    }
}

template <class Stream> void WebSocketConnection<Stream>::start()
{
    // The HTTP time-outs end here: WebSocket keeps its own (a handshake
    // limit, no idle limit: a quiet subscriber is a normal one).
    beast::get_lowest_layer(m_socket).expires_never();
    m_socket.set_option(websocket::stream_base::timeout::suggested(beast::role_type::server));
    m_socket.read_message_max(m_context.options.bodyMemoryLimit);
    m_socket.async_accept(m_upgrade,
                          [self = this->shared_from_this()](beast::error_code error) { self->onAccepted(error); });
}

template <class Stream> void WebSocketConnection<Stream>::onAccepted(beast::error_code error)
{
    if (error) {
        return;
    }
    m_opened = true;
    attach(*m_session, this->weak_from_this());
    m_context.webSockets.add(m_session);
    runHandler("onOpen", [&] {
        if (m_handler.onOpen) {
            m_handler.onOpen(m_session);
        }
    });
    readNext();
}

template <class Stream> void WebSocketConnection<Stream>::readNext()
{
    m_socket.async_read(
        m_buffer, [self = this->shared_from_this()](beast::error_code error, std::size_t) { self->onRead(error); });
}

template <class Stream> void WebSocketConnection<Stream>::onRead(beast::error_code error)
{
    if (error) {
        // The client closed (websocket::error::closed), the connection was
        // lost, or a close of ours was answered.
        end();
        return;
    }
    std::string message = beast::buffers_to_string(m_buffer.data());
    m_buffer.consume(m_buffer.size());
    runHandler("onMessage", [&] {
        if (m_handler.onMessage) {
            m_handler.onMessage(*m_session, std::move(message));
        }
    });
    readNext();
}

template <class Stream> void WebSocketConnection<Stream>::send(std::string text)
{
    asio::post(m_socket.get_executor(), [self = this->shared_from_this(), text = std::move(text)]() mutable {
        self->enqueue({std::move(text), {}});
    });
}

template <class Stream> void WebSocketConnection<Stream>::close(std::uint16_t code, std::string reason)
{
    // A close frame has room for 123 bytes of reason.
    const websocket::close_reason closeReason(
        static_cast<websocket::close_code>(code),
        beast::string_view(reason.data(), std::min<std::size_t>(reason.size(), websocket::reason_string::max_size_n)));
    asio::post(m_socket.get_executor(), [self = this->shared_from_this(), closeReason] {
        self->enqueue({std::nullopt, closeReason});
    });
}

template <class Stream> void WebSocketConnection<Stream>::enqueue(Outgoing outgoing)
{
    if (m_closing || m_ended) {
        return;
    }
    m_closing = !outgoing.text;
    m_outbox.push_back(std::move(outgoing));
    if (!m_writing) {
        writeNext();
    }
}

template <class Stream> void WebSocketConnection<Stream>::writeNext()
{
    if (m_outbox.empty() || m_ended) {
        m_writing = false;
        return;
    }
    m_writing = true;
    Outgoing& next = m_outbox.front();
    auto onWritten = [self = this->shared_from_this()](beast::error_code error, std::size_t = 0) {
        self->m_outbox.pop_front();
        if (error) {
            // The read that is pending ends too, and reports the end.
            self->m_writing = false;
            return;
        }
        self->writeNext();
    };
    if (next.text) {
        m_socket.text(true);
        m_socket.async_write(asio::buffer(*next.text), onWritten);
    } else {
        m_socket.async_close(next.closeReason, onWritten);
    }
}

template <class Stream> void WebSocketConnection<Stream>::end()
{
    m_ended = true;
    detach(*m_session);
    runHandler("onClose", [&] {
        if (m_handler.onClose) {
            m_handler.onClose(*m_session);
        }
    });
}

template <class Stream>
template <class Callback>
void WebSocketConnection<Stream>::runHandler(const char* what, Callback callback)
{
    // A failing handler ends its own session only, as a failing HTTP
    // handler answers its own request with 500.
    try {
        callback();
    } catch (const std::exception& e) {
        std::cerr << "lithmar-local: WebSocket " << what << " handler for " << m_session->request().path
                  << " failed: " << e.what() << '\n';
        if (!m_ended) {
            enqueue({std::nullopt, websocket::close_reason(websocket::close_code::internal_error)});
        }
    }
}

template class WebSocketConnection<PlainStream>;
template class WebSocketConnection<TlsStream>;

} // namespace lithmar::local::detail
