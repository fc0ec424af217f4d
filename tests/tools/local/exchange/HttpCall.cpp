#include "HttpCall.h"

#include <tools/local/exchange/ServicePaths.h>
#include <tools/local/server/AsciiText.h>

#include <boost/asio/connect.hpp>
#include <boost/asio/io_context.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <boost/beast/core/flat_buffer.hpp>
#include <boost/beast/http/read.hpp>
#include <boost/beast/http/string_body.hpp>
#include <boost/beast/http/write.hpp>

#include <sys/socket.h>
#include <sys/time.h>

namespace lithmar::local::testing {
namespace {

namespace asio = boost::asio;
namespace http = boost::beast::http;

void limitBlocking(asio::ip::tcp::socket& socket)
{
    const timeval limit{30, 0};
    setsockopt(socket.native_handle(), SOL_SOCKET, SO_RCVTIMEO, &limit, sizeof limit);
    setsockopt(socket.native_handle(), SOL_SOCKET, SO_SNDTIMEO, &limit, sizeof limit);
}

} // namespace

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
        if (equalsIgnoringCase(h.name, name)) {
            lines.push_back(h.value);
        }
    }
    return lines;
}

Json HttpReply::json() const
{
    return Json::parse(body);
}

HttpReply httpCall(std::uint16_t port, std::string_view method, std::string_view target,
                   const std::vector<Header>& headers, std::string_view body)
{
    asio::io_context io;
    asio::ip::tcp::socket socket(io);
    socket.connect({asio::ip::make_address("127.0.0.1"), port});
    limitBlocking(socket);

    http::request<http::string_body> request;
    request.method_string(std::string(method));
    request.target(std::string(target));
    request.version(11);
    for (const Header& h : headers) {
        request.insert(h.name, h.value);
    }
    if (request.find(http::field::host) == request.end()) {
        request.set(http::field::host, "127.0.0.1:" + std::to_string(port));
    }
    request.set(http::field::connection, "close");
    request.body() = std::string(body);
    if (!body.empty() || method == "POST") {
        request.prepare_payload();
    }
    http::write(socket, request);

    boost::beast::flat_buffer buffer;
    http::response<http::string_body> response;
    http::read(socket, buffer, response);

    HttpReply reply;
    reply.status = static_cast<int>(response.result_int());
    for (const auto& field : response) {
        reply.headers.push_back({std::string(field.name_string()), std::string(field.value())});
    }
    reply.body = std::move(response.body());
    return reply;
}

HttpReply exchangeGet(std::uint16_t port, std::string_view target, const std::vector<Header>& headers)
{
    return httpCall(port, "GET", std::string(kDefaultExchangeBasePath) + std::string(target), headers);
}

HttpReply exchangePost(std::uint16_t port, std::string_view target, std::string_view jsonBody,
                       const std::vector<Header>& headers)
{
    std::vector<Header> withType{{"Content-Type", "application/json"}};
    withType.insert(withType.end(), headers.begin(), headers.end());
    return httpCall(port, "POST", std::string(kDefaultExchangeBasePath) + std::string(target), withType, jsonBody);
}

std::vector<std::string> keysOf(const Json& object)
{
    std::vector<std::string> keys;
    for (const auto& item : object.items()) {
        keys.push_back(item.key());
    }
    return keys;
}

} // namespace lithmar::local::testing
