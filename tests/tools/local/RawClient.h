#pragma once

#include <tools/local/server/RecordedRequest.h>

#include <boost/asio/io_context.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <boost/beast/core/flat_buffer.hpp>

#include <chrono>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace lithmar::local::testing {

// A client that writes bytes exactly as the test gives them, to see the
// server's wire behaviour (and misbehaviour) without any HTTP library between.
// Every operation gives up after a deadline, so that no test can hang.
class RawClient {
public:
    struct Reply {
        int status = 0;
        std::string reason;
        std::vector<Header> headers;
        std::string body;
        std::string header(std::string_view name) const; // "" when absent
    };

    explicit RawClient(std::uint16_t port, const std::string& address = "127.0.0.1");

    // False when the server closed or reset the connection.
    bool send(std::string_view bytes);
    // One response; throws std::runtime_error when none arrives in time or
    // the bytes are not HTTP. `toHead`: the answer to a HEAD, without body.
    Reply readResponse(bool toHead = false);
    // Every byte until the server closes the connection.
    std::string readUntilClosed();
    // True when the server closes (or resets) the connection without sending
    // anything more.
    bool closedByServer();
    void close();

    std::string localAddress() const;

private:
    template <class StartOperation>
    boost::system::error_code runWithDeadline(StartOperation start);

    boost::asio::io_context m_io;
    boost::asio::ip::tcp::socket m_socket;
    boost::beast::flat_buffer m_buffer;
};

// "METHOD target HTTP/1.1" with the headers, Content-Length when there is a
// body, and the body.
std::string requestText(std::string_view method, std::string_view target, const std::vector<Header>& headers = {},
                        std::string_view body = {});

// The same bytes for the same seed: test data that is cheap to make twice.
std::string pseudoRandomBytes(std::size_t size, std::uint64_t seed);

} // namespace lithmar::local::testing
