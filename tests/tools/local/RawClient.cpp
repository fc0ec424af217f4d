#include "RawClient.h"

#include <tools/local/server/AsciiText.h>

#include <boost/asio/connect.hpp>
#include <boost/asio/read.hpp>
#include <boost/asio/write.hpp>
#include <boost/beast/http/read.hpp>
#include <boost/beast/http/string_body.hpp>

#include <cstring>
#include <limits>
#include <random>
#include <stdexcept>

namespace lithmar::local::testing {
namespace {

namespace asio = boost::asio;
namespace beast = boost::beast;
namespace http = beast::http;

// Generous: only reached when something is broken.
constexpr std::chrono::seconds kDeadline{20};

} // namespace

std::string RawClient::Reply::header(std::string_view name) const
{
    for (const Header& h : headers) {
        if (equalsIgnoringCase(h.name, name)) {
            return h.value;
        }
    }
    return {};
}

RawClient::RawClient(std::uint16_t port, const std::string& address) : m_socket(m_io)
{
    const asio::ip::tcp::endpoint endpoint(asio::ip::make_address(address), port);
    const auto error = runWithDeadline([&](auto done) { m_socket.async_connect(endpoint, done); });
    if (error) {
        throw std::runtime_error("cannot connect to " + address + ":" + std::to_string(port) + ": " +
                                 error.message());
    }
}

template <class StartOperation>
boost::system::error_code RawClient::runWithDeadline(StartOperation start)
{
    bool finished = false;
    boost::system::error_code result;
    start([&](boost::system::error_code error, auto&&...) {
        finished = true;
        result = error;
    });
    m_io.restart();
    m_io.run_for(kDeadline);
    if (!finished) {
        boost::system::error_code ignored;
        m_socket.cancel(ignored);
        m_io.restart();
        m_io.run();
        throw std::runtime_error("the server did not respond within the deadline");
    }
    return result;
}

bool RawClient::send(std::string_view bytes)
{
    return !runWithDeadline([&](auto done) { asio::async_write(m_socket, asio::buffer(bytes.data(), bytes.size()), done); });
}

RawClient::Reply RawClient::readResponse(bool toHead)
{
    http::response_parser<http::string_body> parser;
    parser.body_limit(std::numeric_limits<std::uint64_t>::max());
    parser.skip(toHead);
    const auto error = runWithDeadline([&](auto done) { http::async_read(m_socket, m_buffer, parser, done); });
    if (error) {
        throw std::runtime_error("no HTTP response: " + error.message());
    }
    Reply reply;
    const auto& message = parser.get();
    reply.status = static_cast<int>(message.result_int());
    reply.reason = std::string(message.reason());
    for (const auto& field : message) {
        reply.headers.push_back({std::string(field.name_string()), std::string(field.value())});
    }
    reply.body = message.body();
    return reply;
}

std::string RawClient::readUntilClosed()
{
    std::string bytes(static_cast<const char*>(m_buffer.data().data()), m_buffer.size());
    m_buffer.consume(m_buffer.size());
    std::string rest;
    // Ends with end-of-file or a reset, either of which is a close.
    runWithDeadline([&](auto done) { asio::async_read(m_socket, asio::dynamic_buffer(rest), done); });
    return bytes + rest;
}

bool RawClient::closedByServer()
{
    return readUntilClosed().empty();
}

void RawClient::close()
{
    boost::system::error_code ignored;
    m_socket.close(ignored);
}

std::string RawClient::localAddress() const
{
    const auto endpoint = m_socket.local_endpoint();
    return endpoint.address().to_string() + ":" + std::to_string(endpoint.port());
}

std::string requestText(std::string_view method, std::string_view target, const std::vector<Header>& headers,
                        std::string_view body)
{
    std::string text = std::string(method) + " " + std::string(target) + " HTTP/1.1\r\n";
    bool hasHost = false;
    for (const Header& header : headers) {
        text += header.name + ": " + header.value + "\r\n";
        hasHost = hasHost || equalsIgnoringCase(header.name, "Host");
    }
    if (!hasHost) {
        text += "Host: localhost\r\n";
    }
    if (!body.empty()) {
        text += "Content-Length: " + std::to_string(body.size()) + "\r\n";
    }
    return text + "\r\n" + std::string(body);
}

std::string pseudoRandomBytes(std::size_t size, std::uint64_t seed)
{
    std::mt19937_64 generator(seed);
    std::string bytes(size, '\0');
    std::size_t i = 0;
    for (; i + 8 <= size; i += 8) {
        const std::uint64_t word = generator();
        std::memcpy(bytes.data() + i, &word, 8);
    }
    for (; i < size; ++i) {
        bytes[i] = static_cast<char>(generator());
    }
    return bytes;
}

} // namespace lithmar::local::testing
