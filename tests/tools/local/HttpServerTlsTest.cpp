#include <tools/local/server/HttpServer.h>

#include "AsyncClient.h"
#include "RawClient.h"
#include "TestTls.h"

#include <boost/asio/ip/tcp.hpp>
#include <boost/beast/core/flat_buffer.hpp>
#include <boost/beast/core/tcp_stream.hpp>
#include <boost/beast/http/empty_body.hpp>
#include <boost/beast/http/read.hpp>
#include <boost/beast/http/string_body.hpp>
#include <boost/beast/http/write.hpp>
#include <boost/beast/ssl/ssl_stream.hpp>

#include <gtest/gtest.h>

namespace lithmar::local {
namespace {

namespace asio = boost::asio;
namespace beast = boost::beast;
namespace http = beast::http;
using testing::awaitOperation;
using testing::RawClient;
using testing::requestText;

// An HTTPS client speaking through Beast, one request at a time.
class TlsClient {
public:
    // The error of connecting and the TLS handshake.
    beast::error_code connect(std::uint16_t port)
    {
        const asio::ip::tcp::endpoint endpoint(asio::ip::make_address("127.0.0.1"), port);
        if (auto error = awaitOperation(
                m_io, [&](auto done) { beast::get_lowest_layer(m_stream).async_connect(endpoint, done); })) {
            return error;
        }
        return awaitOperation(m_io, [&](auto done) { m_stream.async_handshake(asio::ssl::stream_base::client, done); });
    }

    http::response<http::string_body> get(const std::string& target)
    {
        http::request<http::empty_body> request(http::verb::get, target, 11);
        request.set(http::field::host, "127.0.0.1");
        EXPECT_FALSE(awaitOperation(m_io, [&](auto done) { http::async_write(m_stream, request, done); }));
        http::response<http::string_body> response;
        EXPECT_FALSE(awaitOperation(m_io, [&](auto done) { http::async_read(m_stream, m_buffer, response, done); }));
        return response;
    }

private:
    asio::io_context m_io;
    asio::ssl::context m_tls = testing::trustingClientTls();
    beast::ssl_stream<beast::tcp_stream> m_stream{m_io, m_tls};
    beast::flat_buffer m_buffer;
};

class HttpServerTlsTest : public ::testing::Test {
protected:
    void SetUp() override
    {
        server.route("GET", "/{rest...}", [](const RecordedRequest& r) {
            return Response{200, "", {}, "tls " + r.path};
        });
        server.start();
    }

    static ServerOptions tlsOptions()
    {
        ServerOptions options;
        options.tls = testing::selfSignedServerTls();
        return options;
    }

    HttpServer server{tlsOptions()};
};

TEST_F(HttpServerTlsTest, AnswersOverTlsOnAKeptAliveConnection)
{
    EXPECT_EQ(server.baseUrl(), "https://127.0.0.1:" + std::to_string(server.port()));
    TlsClient client;
    ASSERT_FALSE(client.connect(server.port()));
    EXPECT_EQ(client.get("/a").body(), "tls /a");
    EXPECT_EQ(client.get("/b").body(), "tls /b");
    EXPECT_EQ(server.acceptedConnections(), 1u);
}

TEST_F(HttpServerTlsTest, ClosesAConnectionWithoutTlsAndServesTheNext)
{
    RawClient plain(server.port());
    plain.send(requestText("GET", "/a"));
    // At most a TLS alert comes back, never an HTTP answer.
    EXPECT_EQ(plain.readUntilClosed().find("HTTP/"), std::string::npos);
    EXPECT_TRUE(server.requests().empty());

    TlsClient client;
    ASSERT_FALSE(client.connect(server.port()));
    EXPECT_EQ(client.get("/a").result_int(), 200u);
}

TEST_F(HttpServerTlsTest, RawConnectionFailsTheClientsHandshake)
{
    server.scriptRawConnections("HTTP/1.1 200 OK\r\nContent-Length: 0\r\n\r\n");
    TlsClient broken;
    EXPECT_TRUE(broken.connect(server.port()));

    TlsClient client;
    ASSERT_FALSE(client.connect(server.port()));
    EXPECT_EQ(client.get("/a").result_int(), 200u);
}

} // namespace
} // namespace lithmar::local
