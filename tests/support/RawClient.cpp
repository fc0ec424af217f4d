#include "RawClient.h"
#include "Deadline.h"

#include <tools/local/server/AsciiText.h>

#include <boost/asio/io_context.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/read.hpp>
#include <boost/asio/ssl/context.hpp>
#include <boost/asio/ssl/stream.hpp>
#include <boost/asio/write.hpp>
#include <boost/beast/core/flat_buffer.hpp>
#include <boost/beast/http/read.hpp>
#include <boost/beast/http/string_body.hpp>

#include <chrono>
#include <cstring>
#include <limits>
#include <random>
#include <stdexcept>

namespace lithmar::test {
namespace {

namespace asio = boost::asio;
namespace beast = boost::beast;
namespace http = beast::http;

} // namespace

struct RawClient::Connection {
    asio::io_context io;
    asio::ssl::context tlsContext{asio::ssl::context::tls_client};
    asio::ssl::stream<asio::ip::tcp::socket> stream{io, tlsContext};
    bool tls = false;
    beast::flat_buffer buffer;

    template <class Operation> auto withStream(Operation operation)
    {
        return tls ? operation(stream) : operation(stream.next_layer());
    }

    // Throws when the operation that `start` begins is still pending at the deadline.
    template <class StartOperation> boost::system::error_code run(StartOperation start)
    {
        boost::system::error_code ignored;
        const auto result = runWithDeadline(io, start, [&] { stream.next_layer().cancel(ignored); });
        if (!result) {
            throw std::runtime_error("the server did not respond within the deadline");
        }
        return *result;
    }
};

std::string HttpReply::header(std::string_view name) const
{
    std::string joined;
    for (const std::string& line : headerLines(name)) {
        joined += (joined.empty() ? "" : ", ") + line;
    }
    return joined;
}

std::vector<std::string> HttpReply::headerLines(std::string_view name) const
{
    std::vector<std::string> lines;
    for (const Header& h : headers) {
        if (local::equalsIgnoringCase(h.name, name)) {
            lines.push_back(h.value);
        }
    }
    return lines;
}

Json HttpReply::json() const
{
    return Json::parse(body);
}

RawClient::RawClient(std::uint16_t port, const std::string& address, bool tls)
    : m_connection(std::make_unique<Connection>())
{
    Connection& c = *m_connection;
    c.tls = tls;
    c.tlsContext.set_verify_mode(asio::ssl::verify_none);
    const asio::ip::tcp::endpoint endpoint(asio::ip::make_address(address), port);
    const std::string where = address + ":" + std::to_string(port);
    if (const auto error = c.run([&](auto done) { c.stream.next_layer().async_connect(endpoint, done); })) {
        throw std::runtime_error("cannot connect to " + where + ": " + error.message());
    }
    if (tls) {
        if (const auto error = c.run([&](auto done) { c.stream.async_handshake(asio::ssl::stream_base::client, done); })) {
            throw std::runtime_error("TLS handshake with " + where + " failed: " + error.message());
        }
    }
}

RawClient::~RawClient() = default;

bool RawClient::send(std::string_view bytes)
{
    Connection& c = *m_connection;
    return !c.withStream([&](auto& stream) {
        return c.run([&](auto done) { asio::async_write(stream, asio::buffer(bytes.data(), bytes.size()), done); });
    });
}

HttpReply RawClient::readResponse(bool toHead)
{
    Connection& c = *m_connection;
    http::response_parser<http::string_body> parser;
    parser.body_limit(std::numeric_limits<std::uint64_t>::max());
    parser.skip(toHead);
    const auto error = c.withStream(
        [&](auto& stream) { return c.run([&](auto done) { http::async_read(stream, c.buffer, parser, done); }); });
    if (error) {
        throw std::runtime_error("no HTTP response: " + error.message());
    }
    HttpReply reply;
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
    Connection& c = *m_connection;
    std::string bytes(static_cast<const char*>(c.buffer.data().data()), c.buffer.size());
    c.buffer.consume(c.buffer.size());
    std::string rest;
    // Ends with end-of-file, a truncated TLS stream or a reset: each a close.
    c.withStream([&](auto& stream) { return c.run([&](auto done) { asio::async_read(stream, asio::dynamic_buffer(rest), done); }); });
    return bytes + rest;
}

bool RawClient::closedByServer()
{
    return readUntilClosed().empty();
}

void RawClient::close()
{
    boost::system::error_code ignored;
    m_connection->stream.next_layer().close(ignored);
}

std::string RawClient::localAddress() const
{
    const auto endpoint = m_connection->stream.next_layer().local_endpoint();
    return endpoint.address().to_string() + ":" + std::to_string(endpoint.port());
}

std::string requestText(std::string_view method, std::string_view target, const std::vector<Header>& headers,
                        std::string_view body)
{
    std::string text = std::string(method) + " " + std::string(target) + " HTTP/1.1\r\n";
    bool hasHost = false;
    for (const Header& header : headers) {
        text += header.name + ": " + header.value + "\r\n";
        hasHost = hasHost || local::equalsIgnoringCase(header.name, "Host");
    }
    if (!hasHost) {
        text += "Host: localhost\r\n";
    }
    if (!body.empty()) {
        text += "Content-Length: " + std::to_string(body.size()) + "\r\n";
    }
    return text + "\r\n" + std::string(body);
}

HttpReply httpCall(std::uint16_t port, std::string_view method, std::string_view target,
                   const std::vector<Header>& headers, std::string_view body, bool tls)
{
    std::vector<Header> all{{"Connection", "close"}};
    bool hasHost = false;
    for (const Header& header : headers) {
        hasHost = hasHost || local::equalsIgnoringCase(header.name, "Host");
    }
    if (!hasHost) {
        all.push_back({"Host", "127.0.0.1:" + std::to_string(port)});
    }
    if (body.empty() && method == "POST") {
        all.push_back({"Content-Length", "0"});
    }
    all.insert(all.end(), headers.begin(), headers.end());
    RawClient client(port, "127.0.0.1", tls);
    if (!client.send(requestText(method, target, all, body))) {
        throw std::runtime_error("the server closed the connection before the request was sent");
    }
    return client.readResponse(method == "HEAD");
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

std::vector<std::string> keysOf(const Json& object)
{
    std::vector<std::string> keys;
    for (const auto& item : object.items()) {
        keys.push_back(item.key());
    }
    return keys;
}

} // namespace lithmar::test
