// The notification service's WebSocket endpoint, with a bare WebSocket
// client: the hello, the refusals and the pushes to every connection.

#include "PlatformTest.h"

#include <tools/local/exchange/notification/NotificationSocket.h>

#include <boost/asio/connect.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <boost/beast/core.hpp>
#include <boost/beast/websocket.hpp>

#include <gmock/gmock.h>

namespace lithmar::local::testing {
namespace {

namespace asio = boost::asio;
namespace beast = boost::beast;
namespace websocket = beast::websocket;

constexpr auto kGenerous = std::chrono::seconds(20);

class SocketClient {
public:
    explicit SocketClient(std::uint16_t port) : m_socket(m_io)
    {
        beast::get_lowest_layer(m_socket).connect(asio::ip::tcp::endpoint(asio::ip::make_address("127.0.0.1"), port));
        m_socket.handshake("127.0.0.1", "/lithmar-gate/socket");
    }

    void send(const std::string& text) { m_socket.write(asio::buffer(text)); }

    // The next message; "" and the close code in closeCode() once the
    // service has closed the connection.
    std::string read()
    {
        beast::flat_buffer buffer;
        std::optional<beast::error_code> result;
        m_socket.async_read(buffer, [&](beast::error_code error, std::size_t) { result = error; });
        m_io.restart();
        m_io.run_for(kGenerous);
        if (!result) {
            ADD_FAILURE() << "no message within the time limit";
            return "";
        }
        if (*result) {
            m_closeCode = m_socket.reason().code;
            m_closeReason = std::string(m_socket.reason().reason.c_str());
            return "";
        }
        return beast::buffers_to_string(buffer.data());
    }

    int closeCode() const { return m_closeCode; }
    const std::string& closeReason() const { return m_closeReason; }

private:
    asio::io_context m_io;
    websocket::stream<beast::tcp_stream> m_socket;
    int m_closeCode = 0;
    std::string m_closeReason;
};

std::string hello(const std::string& user, const std::string& ticket, int after)
{
    return Json{{"type", "hello"}, {"user", user}, {"ticket", ticket}, {"after", after}}.dump();
}

class NotificationSocket : public PlatformTest {
protected:
    void publish(const std::string& user, const std::string& job)
    {
        platform.publish(user, R"({"jobId":")" + job + R"("})");
    }
    // The job id of a notification frame, after checking its shape.
    static std::string jobOf(const std::string& frame)
    {
        const Json parsed = Json::parse(frame);
        EXPECT_EQ(parsed.at("type"), "notification");
        const Json& options = parsed.at("message").at("actions").at(0).at("options").at("event").at("options");
        EXPECT_EQ(options.at("topic"), "lithmar.vantor");
        return options.at("data").at("jobId");
    }
};

TEST_F(NotificationSocket, PushesEachNotificationToEveryConnectionOfItsUser)
{
    publish("LOCAL_USER", "earlier");
    SocketClient first(platform.port());
    SocketClient second(platform.port());
    first.send(hello("LOCAL_USER", "LOCAL_TICKET", -1));
    second.send(hello("LOCAL_USER", "LOCAL_TICKET", 0));
    EXPECT_EQ(first.read(), R"({"type":"welcome"})");
    EXPECT_EQ(jobOf(first.read()), "earlier") << "the last minute's, for a fresh client";
    EXPECT_EQ(second.read(), R"({"type":"welcome"})");

    publish("someone-else", "not-yours");
    publish("LOCAL_USER", "new");
    EXPECT_EQ(jobOf(first.read()), "new");
    EXPECT_EQ(jobOf(second.read()), "new") << "after index 0: only what came later";
}

TEST_F(NotificationSocket, ResumesAfterTheLastIndexTheClientHas)
{
    for (const char* job : {"a", "b", "c"}) {
        publish("LOCAL_USER", job);
    }
    SocketClient client(platform.port());
    client.send(hello("LOCAL_USER", "LOCAL_TICKET", 0));
    client.read();
    const Json frame = Json::parse(client.read());
    EXPECT_EQ(frame.at("index"), 1);
    EXPECT_EQ(jobOf(frame.dump()), "b");
    EXPECT_EQ(jobOf(client.read()), "c");
}

TEST_F(NotificationSocket, ClosesWith4401ForATicketThatIsNotTheUsers)
{
    for (const auto& [user, ticket] : std::vector<std::pair<std::string, std::string>>{
             {"LOCAL_USER", "WRONG"}, {"alice", "LOCAL_TICKET"}, {"LOCAL_USER", ""}}) {
        publish(user, "secret");
        SocketClient client(platform.port());
        client.send(hello(user, ticket, -1));
        EXPECT_EQ(client.read(), "") << "no welcome, no notification";
        EXPECT_EQ(client.closeCode(), 4401);
        EXPECT_THAT(client.closeReason(), ::testing::HasSubstr("ticket"));
    }
}

TEST_F(NotificationSocket, ClosesWith4400ForAFirstMessageThatIsNotAHello)
{
    for (const char* first : {"hello", "{}", R"({"type":"hello","ticket":"LOCAL_TICKET"})",
                              R"({"type":"hello","user":"LOCAL_USER","ticket":"LOCAL_TICKET","after":"x"})",
                              R"({"type":"subscribe","user":"LOCAL_USER","ticket":"LOCAL_TICKET"})"}) {
        SocketClient client(platform.port());
        client.send(first);
        EXPECT_EQ(client.read(), "") << first;
        EXPECT_EQ(client.closeCode(), 4400) << first;
        EXPECT_THAT(client.closeReason(), ::testing::HasSubstr("hello"));
    }
}

} // namespace
} // namespace lithmar::local::testing
