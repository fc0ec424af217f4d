#include <tools/local/server/HttpServer.h>

#include "RawClient.h"

#include <gtest/gtest.h>

#include <chrono>
#include <system_error>

namespace lithmar::local {
namespace {

using namespace std::chrono_literals;
using testing::RawClient;
using testing::requestText;

HttpServer::Options smallHeadLimit()
{
    HttpServer::Options options;
    options.maxHeaderBytes = 4096;
    return options;
}

class HttpServerBadInputTest : public ::testing::Test {
protected:
    void SetUp() override
    {
        server.route("*", "/{rest...}", [](const RecordedRequest&) { return Response{200, "", {}, "ok"}; });
        server.start();
    }

    HttpServer server{smallHeadLimit()};
};

TEST_F(HttpServerBadInputTest, Answers400AndClosesOnMalformedRequests)
{
    struct Case {
        std::string description;
        std::string bytes;
        bool headerWasValid; // then the request is recorded as cut off
    };
    const Case cases[] = {
        {"not HTTP", "HELLO THERE\r\n\r\n", false},
        {"HTTP/1.1 without Host", "GET / HTTP/1.1\r\n\r\n", false},
        {"binary garbage", std::string("\x16\x03\x01\x02\x00\x01\x00\x01\xfc\x03\x03\r\n\r\n", 16), false},
        {"header line without colon", "GET / HTTP/1.1\r\nHost: x\r\nNo colon here\r\n\r\n", false},
        {"space in the target", "GET /a b HTTP/1.1\r\nHost: x\r\n\r\n", false},
        {"bad Content-Length", "POST / HTTP/1.1\r\nHost: x\r\nContent-Length: 12abc\r\n\r\n", false},
        {"two Content-Lengths", "POST / HTTP/1.1\r\nContent-Length: 1\r\nContent-Length: 2\r\n\r\nab", false},
        {"bad chunk size", "POST /c HTTP/1.1\r\nHost: x\r\nTransfer-Encoding: chunked\r\n\r\nzz\r\n", true},
        {"chunk without its CRLF",
         "POST /c HTTP/1.1\r\nHost: x\r\nTransfer-Encoding: chunked\r\n\r\n3\r\nabcX\r\n0\r\n\r\n", true},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.description);
        server.clearRequests();
        RawClient client(server.port());
        client.send(c.bytes);
        const auto reply = client.readResponse();
        EXPECT_EQ(reply.status, 400) << c.description;
        EXPECT_EQ(reply.header("Connection"), "close") << c.description;
        EXPECT_NE(reply.body.find("malformed request"), std::string::npos) << c.description << ": " << reply.body;
        EXPECT_TRUE(client.closedByServer()) << c.description;
        const auto requests = server.requests();
        ASSERT_EQ(requests.size(), c.headerWasValid ? 1u : 0u) << c.description;
        if (c.headerWasValid) {
            EXPECT_FALSE(requests[0].complete) << c.description;
        }
    }
}

TEST_F(HttpServerBadInputTest, Answers431ToAnOversizedHead)
{
    RawClient client(server.port());
    client.send("GET / HTTP/1.1\r\nHost: x\r\nX-Big: " + std::string(8000, 'b') + "\r\n\r\n");
    const auto reply = client.readResponse();
    EXPECT_EQ(reply.status, 431);
    EXPECT_NE(reply.body.find("exceeds 4096 bytes"), std::string::npos) << reply.body;
    EXPECT_TRUE(client.closedByServer());
}

TEST_F(HttpServerBadInputTest, Answers431ToAHeadThatNeverEnds)
{
    RawClient client(server.port());
    client.send("GET / HTTP/1.1\r\n");
    std::string endless;
    for (int i = 0; i < 1000; ++i) {
        endless += "X-Header-" + std::to_string(i) + ": value\r\n";
    }
    client.send(endless);
    EXPECT_EQ(client.readResponse().status, 431);
}

TEST_F(HttpServerBadInputTest, RecordsARequestCutOffMidBodyAndKeepsServing)
{
    struct Case {
        std::string description;
        std::string head;
        std::string bodyPart;
    };
    const Case cases[] = {
        {"Content-Length", "PUT /files/a HTTP/1.1\r\nHost: x\r\nContent-Length: 1000000\r\n\r\n",
         std::string(100, 'a')},
        {"chunked", "PUT /files/b HTTP/1.1\r\nHost: x\r\nTransfer-Encoding: chunked\r\n\r\n",
         "64\r\n" + std::string(50, 'b')},
        {"multipart",
         "POST /files/c HTTP/1.1\r\nHost: x\r\nContent-Type: multipart/form-data; boundary=B\r\nContent-Length: "
         "500\r\n\r\n",
         "--B\r\nContent-Disposition: form-data; name=\"f\"\r\n\r\nsome data"},
    };
    for (const Case& c : cases) {
        server.clearRequests();
        {
            RawClient client(server.port());
            client.send(c.head + c.bodyPart);
        }
        ASSERT_TRUE(server.waitForRequests(1)) << c.description;
        const auto request = server.requests().at(0);
        EXPECT_FALSE(request.complete) << c.description;
        EXPECT_GT(request.bodySize, 0u) << c.description;
        if (!request.parts.empty()) {
            EXPECT_NE(request.multipartError.find("ends inside part 1"), std::string::npos) << request.multipartError;
        }
    }
    RawClient next(server.port());
    next.send(requestText("GET", "/still/serving"));
    EXPECT_EQ(next.readResponse().body, "ok");
}

TEST_F(HttpServerBadInputTest, IgnoresAClientThatLeavesBetweenRequests)
{
    {
        RawClient client(server.port());
        client.send(requestText("GET", "/one"));
        client.readResponse();
        client.send("GET /half-a-request HTTP/1.1\r\nHo");
    }
    RawClient next(server.port());
    next.send(requestText("GET", "/two"));
    EXPECT_EQ(next.readResponse().status, 200);
    EXPECT_EQ(server.requests().size(), 2u);
}

TEST(HttpServerLifecycleTest, StopsPromptlyWithLiveConnections)
{
    HttpServer server;
    server.route("*", "/{rest...}", [](const RecordedRequest&) { return Response{}; });
    server.script("GET", "/stalled", Fault::delay(1h));
    server.start();

    RawClient idle(server.port());
    idle.send(requestText("GET", "/served"));
    idle.readResponse();
    RawClient midBody(server.port());
    midBody.send("PUT /upload HTTP/1.1\r\nHost: x\r\nContent-Length: 100000000\r\n\r\npartial");
    RawClient stalled(server.port());
    stalled.send(requestText("GET", "/stalled"));
    ASSERT_TRUE(server.waitForRequests(2));

    server.stop();
    EXPECT_FALSE(server.isRunning());
    EXPECT_TRUE(idle.closedByServer());
    EXPECT_TRUE(midBody.closedByServer());
    EXPECT_TRUE(stalled.closedByServer());
    EXPECT_THROW(RawClient{server.port()}, std::runtime_error);
}

TEST(HttpServerLifecycleTest, StartsAgainOnTheSamePort)
{
    HttpServer server;
    server.route("GET", "/", [](const RecordedRequest&) { return Response{}; });
    server.start();
    const auto port = server.port();
    EXPECT_THROW(server.start(), std::logic_error);
    server.stop();
    EXPECT_THROW(RawClient{port}, std::runtime_error); // connection refused

    server.start();
    EXPECT_EQ(server.port(), port);
    RawClient client(port);
    client.send(requestText("GET", "/"));
    EXPECT_EQ(client.readResponse().status, 200);
}

TEST(HttpServerLifecycleTest, ListensOnAGivenPortAndAnotherLoopbackAddress)
{
    std::uint16_t freePort = 0;
    {
        HttpServer probe;
        probe.start();
        freePort = probe.port();
    }
    HttpServer::Options options;
    options.address = "127.0.0.2";
    options.port = freePort;
    HttpServer server(options);
    server.route("GET", "/", [](const RecordedRequest&) { return Response{}; });
    server.start();
    EXPECT_EQ(server.port(), freePort);
    EXPECT_EQ(server.baseUrl(), "http://127.0.0.2:" + std::to_string(freePort));

    RawClient client(freePort, "127.0.0.2");
    client.send(requestText("GET", "/"));
    EXPECT_EQ(client.readResponse().status, 200);
    EXPECT_EQ(server.requests().at(0).localAddress, "127.0.0.2:" + std::to_string(freePort));
    EXPECT_THROW(RawClient(freePort, "127.0.0.1"), std::runtime_error);
}

TEST(HttpServerLifecycleTest, SaysWhyItCannotListen)
{
    HttpServer first;
    first.start();
    HttpServer::Options taken;
    taken.port = first.port();
    HttpServer second(taken);
    try {
        second.start();
        ADD_FAILURE() << "a second server listened on port " << first.port();
    } catch (const std::system_error& e) {
        EXPECT_NE(std::string(e.what()).find("cannot bind to 127.0.0.1:" + std::to_string(first.port())),
                  std::string::npos)
            << e.what();
    }
    EXPECT_FALSE(second.isRunning());

    HttpServer::Options invalid;
    invalid.address = "not-an-address";
    EXPECT_THROW(HttpServer(invalid).start(), std::invalid_argument);
}

} // namespace
} // namespace lithmar::local
