#include <tools/local/server/HttpServer.h>

#include <tests/support/Certificates.h>
#include <tests/support/RawClient.h>
#include <tests/support/WebSocketClient.h>

#include <boost/beast/websocket/error.hpp>

#include <gtest/gtest.h>

#include <future>
#include <thread>

namespace lithmar::local {
namespace {

namespace websocket = boost::beast::websocket;
using test::RawClient;
using test::requestText;

ServerOptions withTls(bool tls)
{
    ServerOptions options;
    options.tls = tls ? test::serverTls() : nullptr;
    return options;
}

// Every WebSocket test runs over plain TCP and over TLS.
class HttpServerWebSocketTest : public ::testing::TestWithParam<bool> {
protected:
    void SetUp() override
    {
        WebSocketHandler echo;
        echo.onOpen = [this](std::shared_ptr<WebSocketSession> session) { opened.set_value(std::move(session)); };
        echo.onMessage = [](WebSocketSession& session, std::string text) {
            session.send(session.request().params.at("room") + ":" + session.request().query + ":" + text);
        };
        echo.onClose = [this](WebSocketSession&) { closed.set_value(); };
        server.webSocket("/echo/{room}", echo);
        WebSocketHandler refusing;
        refusing.accept = [](const RecordedRequest&) { return std::optional(Response::error(401, "who are you?")); };
        server.webSocket("/members-only", refusing);
        server.route("POST", "/members-only", [](const RecordedRequest&) { return Response{}; });
        server.start();
    }

    std::shared_ptr<WebSocketSession> openedSession()
    {
        return openedFuture.wait_for(std::chrono::seconds(20)) == std::future_status::ready ? openedFuture.get() : nullptr;
    }
    bool sessionClosed() { return closed.get_future().wait_for(std::chrono::seconds(20)) == std::future_status::ready; }

    // Before the server, which reports to them until it is destroyed.
    std::promise<std::shared_ptr<WebSocketSession>> opened;
    std::future<std::shared_ptr<WebSocketSession>> openedFuture = opened.get_future();
    std::promise<void> closed;
    HttpServer server{withTls(GetParam())};
};

INSTANTIATE_TEST_SUITE_P(PlainAndTls, HttpServerWebSocketTest, ::testing::Bool(),
                         [](const auto& test) { return test.param ? "Tls" : "Plain"; });

TEST_P(HttpServerWebSocketTest, EchoesThenSendsFromAnotherThreadInOrderAndCloses)
{
    test::WebSocketClient client(server.port(), GetParam());
    ASSERT_FALSE(client.open("/echo/r1?user=u"));
    EXPECT_EQ(server.requests().at(0).path, "/echo/r1");
    client.write("hi");
    EXPECT_EQ(client.read().text, "r1:user=u:hi");
    const auto session = openedSession();
    ASSERT_TRUE(session);
    constexpr int kMessages = 200;
    std::thread sender([&] {
        for (int i = 0; i < kMessages; ++i) {
            session->send(std::to_string(i));
        }
        session->close(4001, "done");
    });
    for (int i = 0; i < kMessages; ++i) {
        ASSERT_EQ(client.read().text, std::to_string(i));
    }
    EXPECT_EQ(client.read().error, websocket::error::closed);
    EXPECT_EQ(std::to_string(client.closeReason().code) + " " + client.closeReason().reason.c_str(), "4001 done");
    sender.join();
    EXPECT_TRUE(sessionClosed());
    EXPECT_FALSE(session->isOpen());
}

TEST_P(HttpServerWebSocketTest, KeepsHttpAliveRefusesUpgradesAsAcceptSaysAndPlainRequestsWith426AndStopEndsSessions)
{
    if (GetParam()) { // a plain client, or a server that skips the handshake, gets no HTTP answer
        EXPECT_EQ(server.baseUrl(), "https://127.0.0.1:" + std::to_string(server.port()));
        RawClient plain(server.port());
        plain.send(requestText("GET", "/a"));
        EXPECT_EQ(plain.readUntilClosed().find("HTTP/"), std::string::npos);
        server.scriptRawConnections("HTTP/1.1 200 OK\r\nContent-Length: 0\r\n\r\n");
        EXPECT_THROW(RawClient(server.port(), "127.0.0.1", true), std::runtime_error); // its handshake fails
    }
    RawClient http(server.port(), "127.0.0.1", GetParam()); // other methods go to the HTTP routes
    http.send(requestText("POST", "/members-only") + requestText("POST", "/members-only"));
    EXPECT_EQ(http.readResponse().status + http.readResponse().status, 400);
    EXPECT_EQ(server.requests().at(1).connection, server.requests().at(0).connection);
    test::WebSocketClient refused(server.port(), GetParam());
    websocket::response_type response;
    EXPECT_EQ(refused.open("/members-only", &response), websocket::error::upgrade_declined);
    EXPECT_EQ(response.result_int(), 401u);
    EXPECT_NE(response.body().find("who are you?"), std::string::npos);
    const auto reply = test::httpCall(server.port(), "GET", "/echo/r1", {}, {}, GetParam());
    EXPECT_EQ(std::to_string(reply.status) + " " + reply.header("Upgrade"), "426 websocket");

    test::WebSocketClient client(server.port(), GetParam());
    ASSERT_FALSE(client.open("/echo/r1"));
    const auto session = openedSession();
    ASSERT_TRUE(session);
    server.stop();
    EXPECT_TRUE(sessionClosed());
    EXPECT_TRUE(client.read().error);
    EXPECT_FALSE(session->isOpen());
    session->send("into the void"); // does nothing once the server stopped
    session->close();
}

} // namespace
} // namespace lithmar::local
