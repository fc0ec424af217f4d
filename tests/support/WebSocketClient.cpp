#include "WebSocketClient.h"
#include "Deadline.h"

#include <boost/asio/io_context.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/ssl/context.hpp>
#include <boost/beast/core/buffers_to_string.hpp>
#include <boost/beast/core/flat_buffer.hpp>
#include <boost/beast/core/tcp_stream.hpp>
#include <boost/beast/ssl/ssl_stream.hpp>
#include <boost/beast/websocket/ssl.hpp>
#include <boost/beast/websocket/stream.hpp>

#include <gtest/gtest.h>

#include <chrono>
#include <optional>
#include <type_traits>

namespace lithmar::test {
namespace {

namespace asio = boost::asio;
namespace beast = boost::beast;
namespace websocket = beast::websocket;

} // namespace

struct WebSocketClient::Connection {
    asio::io_context io;
    asio::ssl::context tlsContext{asio::ssl::context::tls_client};
    std::optional<websocket::stream<beast::tcp_stream>> plain;
    std::optional<websocket::stream<beast::ssl_stream<beast::tcp_stream>>> secure;
    beast::flat_buffer buffer;
    std::uint16_t port = 0;

    template <class Operation> auto withStream(Operation operation)
    {
        return plain ? operation(*plain) : operation(*secure);
    }

    // The operation's error, or a time-out when it is still pending at the
    // deadline (the connection is closed then).
    template <class StartOperation> beast::error_code run(StartOperation start)
    {
        const auto result = runWithDeadline(io, start, [&] {
            withStream([](auto& ws) {
                beast::get_lowest_layer(ws).close();
                return 0;
            });
        });
        return result ? *result : beast::error::timeout;
    }
};

WebSocketClient::WebSocketClient(std::uint16_t port, bool tls) : m_connection(std::make_unique<Connection>())
{
    Connection& c = *m_connection;
    c.port = port;
    c.tlsContext.set_verify_mode(asio::ssl::verify_none);
    if (tls) {
        c.secure.emplace(c.io, c.tlsContext);
    } else {
        c.plain.emplace(c.io);
    }
}

WebSocketClient::~WebSocketClient() = default;

beast::error_code WebSocketClient::open(const std::string& target, websocket::response_type* response)
{
    Connection& c = *m_connection;
    websocket::response_type ignored;
    websocket::response_type& answer = response ? *response : ignored;
    return c.withStream([&](auto& ws) {
        const asio::ip::tcp::endpoint endpoint(asio::ip::make_address("127.0.0.1"), c.port);
        if (auto error = c.run([&](auto done) { beast::get_lowest_layer(ws).async_connect(endpoint, done); })) {
            return error;
        }
        if constexpr (!std::is_same_v<std::decay_t<decltype(ws.next_layer())>, beast::tcp_stream>) {
            if (auto error =
                    c.run([&](auto done) { ws.next_layer().async_handshake(asio::ssl::stream_base::client, done); })) {
                return error;
            }
        }
        return c.run([&](auto done) { ws.async_handshake(answer, "127.0.0.1", target, done); });
    });
}

void WebSocketClient::write(const std::string& text)
{
    Connection& c = *m_connection;
    c.withStream([&](auto& ws) {
        EXPECT_FALSE(c.run([&](auto done) { ws.async_write(asio::buffer(text), done); })) << "writing " << text;
        return 0;
    });
}

WebSocketClient::Message WebSocketClient::read()
{
    Connection& c = *m_connection;
    return c.withStream([&](auto& ws) {
        c.buffer.consume(c.buffer.size());
        const auto error = c.run([&](auto done) { ws.async_read(c.buffer, done); });
        EXPECT_NE(error, beast::error::timeout) << "no message within " << kWireDeadline.count() << " s";
        return Message{beast::buffers_to_string(c.buffer.data()), error};
    });
}

websocket::close_reason WebSocketClient::closeReason()
{
    return m_connection->withStream([](auto& ws) { return ws.reason(); });
}

} // namespace lithmar::test
