#include <tools/local/server/HttpServer.h>

#include "AsyncClient.h"
#include "RawClient.h"
#include "TestTls.h"

#include <boost/asio/ip/tcp.hpp>
#include <boost/beast/core/buffers_to_string.hpp>
#include <boost/beast/core/flat_buffer.hpp>
#include <boost/beast/core/tcp_stream.hpp>
#include <boost/beast/ssl/ssl_stream.hpp>
#include <boost/beast/websocket/ssl.hpp>
#include <boost/beast/websocket/stream.hpp>

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <future>
#include <optional>
#include <thread>

namespace lithmar::local {
namespace {

namespace asio = boost::asio;
namespace beast = boost::beast;
namespace websocket = beast::websocket;
using testing::awaitOperation;
using namespace std::chrono_literals;

constexpr auto kGenerous = 20s;

// A WebSocket client over a plain or a TLS connection.
class WebSocketClient {
    // First, so that the members below can use it.
    template <class Operation> auto withStream(Operation operation)
    {
        return m_plain ? operation(*m_plain) : operation(*m_secure);
    }

public:
    WebSocketClient(std::uint16_t port, bool tls) : m_port(port)
    {
        if (tls) {
            m_secure.emplace(m_io, m_tls);
        } else {
            m_plain.emplace(m_io);
        }
    }

    // The error of connecting and upgrading; `response` is the server's
    // answer to the upgrade request.
    beast::error_code open(const std::string& target, websocket::response_type& response)
    {
        return withStream([&](auto& ws) {
            const asio::ip::tcp::endpoint endpoint(asio::ip::make_address("127.0.0.1"), m_port);
            auto& tcp = beast::get_lowest_layer(ws);
            if (auto error = awaitOperation(m_io, [&](auto done) { tcp.async_connect(endpoint, done); })) {
                return error;
            }
            if constexpr (!std::is_same_v<std::decay_t<decltype(ws.next_layer())>, beast::tcp_stream>) {
                if (auto error = awaitOperation(m_io, [&](auto done) {
                        ws.next_layer().async_handshake(asio::ssl::stream_base::client, done);
                    })) {
                    return error;
                }
            }
            return awaitOperation(m_io, [&](auto done) { ws.async_handshake(response, "127.0.0.1", target, done); });
        });
    }

    void write(const std::string& text)
    {
        withStream([&](auto& ws) {
            EXPECT_FALSE(awaitOperation(m_io, [&](auto done) { ws.async_write(asio::buffer(text), done); }));
            return 0;
        });
    }

    // The next message, or the error that ended the connection.
    std::pair<std::string, beast::error_code> read()
    {
        return withStream([&](auto& ws) {
            m_buffer.consume(m_buffer.size());
            const auto error = awaitOperation(m_io, [&](auto done) { ws.async_read(m_buffer, done); });
            return std::make_pair(beast::buffers_to_string(m_buffer.data()), error);
        });
    }

    websocket::close_reason closeReason()
    {
        return withStream([](auto& ws) { return ws.reason(); });
    }

private:
    asio::io_context m_io;
    asio::ssl::context m_tls = testing::trustingClientTls();
    const std::uint16_t m_port;
    std::optional<websocket::stream<beast::tcp_stream>> m_plain;
    std::optional<websocket::stream<beast::ssl_stream<beast::tcp_stream>>> m_secure;
    beast::flat_buffer m_buffer;
};

// Runs every test over plain TCP and over TLS.
class HttpServerWebSocketTest : public ::testing::TestWithParam<bool> {
protected:
    void SetUp() override
    {
        server.webSocket(
            "/echo/{room}",
            WebSocketHandler{
                nullptr,
                [this](std::shared_ptr<WebSocketSession> session) { opened.set_value(std::move(session)); },
                [](WebSocketSession& session, std::string text) {
                    const auto& request = session.request();
                    session.send(request.params.at("room") + ":" + request.query + ":" + text);
                },
                [this](WebSocketSession&) { closed.set_value(); },
            });
        server.webSocket("/members-only", WebSocketHandler{[](const RecordedRequest&) -> std::optional<Response> {
                                                               return Response::error(401, "who are you?");
                                                           },
                                                           [](std::shared_ptr<WebSocketSession>) {
                                                               ADD_FAILURE() << "a refused session was opened";
                                                           },
                                                           nullptr, nullptr});
        server.start();
    }

    static ServerOptions options()
    {
        ServerOptions options;
        if (GetParam()) {
            options.tls = testing::selfSignedServerTls();
        }
        return options;
    }

    std::shared_ptr<WebSocketSession> openedSession()
    {
        auto future = opened.get_future();
        if (future.wait_for(kGenerous) != std::future_status::ready) {
            throw std::runtime_error("the server opened no session");
        }
        return future.get();
    }

    bool sessionClosed() { return closed.get_future().wait_for(kGenerous) == std::future_status::ready; }

    // Before the server, which reports to them until it is destroyed.
    std::promise<std::shared_ptr<WebSocketSession>> opened;
    std::promise<void> closed;
    HttpServer server{options()};
};

INSTANTIATE_TEST_SUITE_P(PlainAndTls, HttpServerWebSocketTest, ::testing::Bool(),
                         [](const auto& test) { return test.param ? "Tls" : "Plain"; });

TEST_P(HttpServerWebSocketTest, EchoesMessagesWithTheUpgradeRequestAtHand)
{
    WebSocketClient client(server.port(), GetParam());
    websocket::response_type response;
    ASSERT_FALSE(client.open("/echo/r1?user=u", response));
    EXPECT_EQ(response.result_int(), 101u);
    client.write("hi");
    EXPECT_EQ(client.read().first, "r1:user=u:hi");
    client.write("again");
    EXPECT_EQ(client.read().first, "r1:user=u:again");
    EXPECT_EQ(server.requests().at(0).path, "/echo/r1");
}

TEST_P(HttpServerWebSocketTest, RefusesTheUpgradeWithTheAnswerOfAccept)
{
    WebSocketClient client(server.port(), GetParam());
    websocket::response_type response;
    EXPECT_EQ(client.open("/members-only", response), websocket::error::upgrade_declined);
    EXPECT_EQ(response.result_int(), 401u);
    EXPECT_NE(response.body().find("who are you?"), std::string::npos);
}

TEST_P(HttpServerWebSocketTest, SendsMessagesFromAnotherThreadInOrderThenCloses)
{
    WebSocketClient client(server.port(), GetParam());
    websocket::response_type response;
    ASSERT_FALSE(client.open("/echo/r1", response));
    const auto session = openedSession();
    constexpr int kMessages = 200;
    std::thread sender([&] {
        for (int i = 0; i < kMessages; ++i) {
            session->send(std::to_string(i));
        }
        session->close(4001, "done");
    });
    for (int i = 0; i < kMessages; ++i) {
        ASSERT_EQ(client.read().first, std::to_string(i));
    }
    EXPECT_EQ(client.read().second, websocket::error::closed);
    EXPECT_EQ(client.closeReason().code, 4001);
    EXPECT_EQ(client.closeReason().reason, "done");
    sender.join();
    EXPECT_TRUE(sessionClosed());
    EXPECT_FALSE(session->isOpen());
}

TEST_P(HttpServerWebSocketTest, StopEndsEverySessionAndLaterSendsDoNothing)
{
    WebSocketClient client(server.port(), GetParam());
    websocket::response_type response;
    ASSERT_FALSE(client.open("/echo/r1", response));
    const auto session = openedSession();
    server.stop();
    EXPECT_TRUE(sessionClosed());
    EXPECT_TRUE(client.read().second);
    EXPECT_FALSE(session->isOpen());
    session->send("into the void");
    session->close();
}

TEST(HttpServerWebSocketRouteTest, AnswersAGetWithoutUpgradeWith426AndLeavesOtherMethodsToHttpRoutes)
{
    HttpServer server;
    server.webSocket("/events", WebSocketHandler{});
    server.start();
    testing::RawClient client(server.port());
    client.send(testing::requestText("GET", "/events"));
    const auto reply = client.readResponse();
    EXPECT_EQ(reply.status, 426);
    EXPECT_EQ(reply.header("Upgrade"), "websocket");
    client.send(testing::requestText("POST", "/events", {}, "{}"));
    EXPECT_EQ(client.readResponse().status, 404);
}

} // namespace
} // namespace lithmar::local
