#pragma once

#include <tools/local/server/RecordedRequest.h>

#include <nlohmann/json.hpp>

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace lithmar::test {

// The platform's own JSON type: objects keep their keys in order.
using Json = nlohmann::ordered_json;
using Header = local::Header;

struct HttpReply {
    int status = 0;
    std::string reason;
    std::vector<Header> headers;
    std::string body;

    // "" when absent; repeated headers joined with ", ".
    std::string header(std::string_view name) const;
    // Every line of a repeated header, such as Set-Cookie.
    std::vector<std::string> headerLines(std::string_view name) const;
    // Throws when the body is not JSON.
    Json json() const;
};

// A client that writes bytes exactly as the test gives them, over plain TCP or
// TLS (trusting any certificate), to see the server's wire behaviour without
// an HTTP library between. Every operation gives up after a deadline, so that
// no test can hang.
class RawClient {
public:
    // Throws std::runtime_error when connecting or the TLS handshake fails.
    explicit RawClient(std::uint16_t port, const std::string& address = "127.0.0.1", bool tls = false);
    ~RawClient();

    RawClient(const RawClient&) = delete;
    RawClient& operator=(const RawClient&) = delete;

    // False when the server closed or reset the connection.
    bool send(std::string_view bytes);
    // One response; throws std::runtime_error when none arrives in time or
    // the bytes are not HTTP. `toHead`: the answer to a HEAD, without body.
    HttpReply readResponse(bool toHead = false);
    // Every byte until the server closes the connection.
    std::string readUntilClosed();
    // True when the server closes (or resets) the connection without sending
    // anything more.
    bool closedByServer();
    void close();

    std::string localAddress() const;

private:
    struct Connection;
    std::unique_ptr<Connection> m_connection;
};

// "METHOD target HTTP/1.1" with the headers, Host when they name none,
// Content-Length when there is a body, and the body.
std::string requestText(std::string_view method, std::string_view target, const std::vector<Header>& headers = {},
                        std::string_view body = {});

// One request on its own connection ("Connection: close"); a POST always
// carries its Content-Length.
HttpReply httpCall(std::uint16_t port, std::string_view method, std::string_view target,
                   const std::vector<Header>& headers = {}, std::string_view body = {}, bool tls = false);

// The same bytes for the same seed: test data that is cheap to make twice.
std::string pseudoRandomBytes(std::size_t size, std::uint64_t seed);

// The keys of a JSON object, in order.
std::vector<std::string> keysOf(const Json& object);

} // namespace lithmar::test
