#pragma once

#include <boost/beast/core/error.hpp>
#include <boost/beast/websocket/rfc6455.hpp>

#include <cstdint>
#include <memory>
#include <string>

namespace lithmar::test {

// A WebSocket client over plain TCP or TLS (trusting any certificate). Every
// operation gives up after a deadline, so that no test can hang.
class WebSocketClient {
public:
    explicit WebSocketClient(std::uint16_t port, bool tls = false);
    ~WebSocketClient();

    WebSocketClient(const WebSocketClient&) = delete;
    WebSocketClient& operator=(const WebSocketClient&) = delete;

    // The error of connecting and upgrading; `response`, when given, receives
    // the server's answer to the upgrade request.
    boost::beast::error_code open(const std::string& target,
                                  boost::beast::websocket::response_type* response = nullptr);
    void write(const std::string& text);

    struct Message {
        std::string text;
        boost::beast::error_code error; // what ended the connection instead
    };
    // The next message; fails the test when nothing comes in time.
    Message read();
    // Why the server closed the connection.
    boost::beast::websocket::close_reason closeReason();

private:
    struct Connection;
    std::unique_ptr<Connection> m_connection;
};

} // namespace lithmar::test
