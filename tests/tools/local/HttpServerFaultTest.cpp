#include <tools/local/server/HttpServer.h>

#include "RawClient.h"

#include <gtest/gtest.h>

#include <chrono>
#include <stdexcept>

namespace lithmar::local {
namespace {

using namespace std::chrono_literals;
using testing::RawClient;
using testing::requestText;

class HttpServerFaultTest : public ::testing::Test {
protected:
    void SetUp() override
    {
        server.route("*", "/{rest...}", [](const RecordedRequest& r) {
            return Response{200, "", {}, "handler " + r.path};
        });
        server.start();
    }

    HttpServer server;
};

TEST_F(HttpServerFaultTest, RespondsInsteadOfTheHandlerThenLetsItAnswerAgain)
{
    server.script("POST", "/common/sites/v1",
                  Fault::respond(Response{503, "", {{"Retry-After", "1"}}, "{\"error\":\"busy\"}"}));
    RawClient client(server.port());
    client.send(requestText("POST", "/common/sites/v1", {}, "{}"));
    const auto scripted = client.readResponse();
    EXPECT_EQ(scripted.status, 503);
    EXPECT_EQ(scripted.header("Retry-After"), "1");
    EXPECT_EQ(scripted.body, "{\"error\":\"busy\"}");
    client.send(requestText("POST", "/common/sites/v1", {}, "{}"));
    EXPECT_EQ(client.readResponse().body, "handler /common/sites/v1");
    EXPECT_EQ(server.requests().size(), 2u);
    EXPECT_EQ(server.acceptedConnections(), 1u);
}

TEST_F(HttpServerFaultTest, UsesScriptedFaultsInOrderForMatchingRequestsOnly)
{
    server.script("GET", "/a/{id}", Fault::respond(Response{502, "", {}, ""}), 2);
    server.script("*", "*", Fault::respond(Response{500, "", {}, ""}));
    server.script("GET", "/a/{id}", Fault::respond(Response{504, "", {}, ""}));
    const std::pair<std::string, int> expected[] = {
        {"/a/1", 502}, {"/b", 500}, {"/a/2", 502}, {"/a/3", 504}, {"/a/4", 200}, {"/b", 200},
    };
    RawClient client(server.port());
    for (const auto& [path, status] : expected) {
        client.send(requestText("GET", path));
        EXPECT_EQ(client.readResponse().status, status) << path;
    }
}

TEST_F(HttpServerFaultTest, KeepsAForeverFaultUntilTheScriptIsCleared)
{
    server.script("GET", "/down", Fault::respond(Response{503, "", {}, ""}), FaultScript::kForever);
    RawClient client(server.port());
    for (int i = 0; i < 5; ++i) {
        client.send(requestText("GET", "/down"));
        EXPECT_EQ(client.readResponse().status, 503);
    }
    server.clearScript();
    client.send(requestText("GET", "/down"));
    EXPECT_EQ(client.readResponse().status, 200);
}

TEST_F(HttpServerFaultTest, RefusesToScriptAFaultForNoRequest)
{
    EXPECT_THROW(server.script("GET", "/x", Fault::close(), 0), std::invalid_argument);
    EXPECT_THROW(server.script("GET", "no-slash", Fault::close()), std::invalid_argument);
}

TEST_F(HttpServerFaultTest, StallsButRecordsTheRequestAtOnce)
{
    constexpr auto kStall = 300ms;
    server.script("GET", "/slow", Fault::delay(kStall));
    server.script("GET", "/slow-error", Fault::respond(Response{429, "", {}, ""}).after(kStall));
    for (const auto& [path, status] : {std::pair<std::string, int>{"/slow", 200}, {"/slow-error", 429}}) {
        server.clearRequests();
        RawClient client(server.port());
        const auto sent = std::chrono::steady_clock::now();
        client.send(requestText("GET", path));
        EXPECT_TRUE(server.waitForRequests(1));
        EXPECT_EQ(client.readResponse().status, status);
        EXPECT_GE(std::chrono::steady_clock::now() - sent, kStall) << path;
    }
}

TEST_F(HttpServerFaultTest, ClosesWithoutAnswerAfterReadingTheRequest)
{
    server.script("POST", "/files", Fault::close());
    RawClient client(server.port());
    client.send(requestText("POST", "/files", {}, "the whole body"));
    EXPECT_TRUE(client.closedByServer());
    const auto request = server.requests().at(0);
    EXPECT_TRUE(request.complete);
    EXPECT_EQ(request.body, "the whole body");
}

TEST_F(HttpServerFaultTest, ClosesBeforeReadingTheBodyWithoutSending100Continue)
{
    server.script("PUT", "/files/{name}", Fault::closeBeforeBody());
    RawClient client(server.port());
    client.send("PUT /files/big HTTP/1.1\r\nHost: x\r\nExpect: 100-continue\r\nContent-Length: 1000000\r\n\r\n");
    EXPECT_TRUE(client.closedByServer());
    ASSERT_TRUE(server.waitForRequests(1));
    const auto request = server.requests().at(0);
    EXPECT_FALSE(request.complete);
    EXPECT_EQ(request.bodySize, 0u);
    EXPECT_EQ(request.header("Content-Length"), "1000000");
}

TEST_F(HttpServerFaultTest, SendsRawBytesThenCloses)
{
    const std::string cases[] = {
        std::string("\x00\xff not http at all\r\n\r\n", 23),
        "HTTP/1.1 200 OK\r\nContent-Length: 100\r\n\r\nonly part of the body",
    };
    for (const std::string& bytes : cases) {
        server.script("GET", "/raw", Fault::garbage(bytes));
        RawClient client(server.port());
        client.send(requestText("GET", "/raw"));
        EXPECT_EQ(client.readUntilClosed(), bytes);
    }
}

TEST_F(HttpServerFaultTest, DropsTheConnectionAfterSomeBodyBytesWhateverTheFraming)
{
    const std::string body = testing::pseudoRandomBytes(10000, 1);
    const std::string chunked = "POST /upload HTTP/1.1\r\nHost: x\r\nTransfer-Encoding: chunked\r\n\r\n"
                                "1000\r\n" +
                                body.substr(0, 0x1000) + "\r\n" + "1710\r\n" + body.substr(0x1000) + "\r\n0\r\n\r\n";
    const std::string requests[] = {requestText("POST", "/upload", {}, body), chunked};
    for (const std::string& request : requests) {
        server.clearRequests();
        server.script("POST", "/upload", Fault::closeAfterBodyBytes(5000));
        RawClient client(server.port());
        client.send(request);
        EXPECT_TRUE(client.closedByServer());
        ASSERT_TRUE(server.waitForRequests(1));
        const auto recorded = server.requests().at(0);
        EXPECT_FALSE(recorded.complete);
        EXPECT_EQ(recorded.bodySize, 5000u);
        EXPECT_EQ(recorded.body, body.substr(0, 5000));
    }
}

TEST_F(HttpServerFaultTest, ClosesWithoutAnswerWhenTheBodyEndsBeforeTheCut)
{
    server.script("POST", "/upload", Fault::closeAfterBodyBytes(5000));
    RawClient client(server.port());
    client.send(requestText("POST", "/upload", {}, "short"));
    EXPECT_TRUE(client.closedByServer());
    EXPECT_TRUE(server.requests().at(0).complete);
}

TEST_F(HttpServerFaultTest, WritesRawBytesToTheNextConnectionsThenServesAgain)
{
    server.scriptRawConnections("SSH-2.0-nonsense\r\n", 2);
    for (int i = 0; i < 2; ++i) {
        RawClient client(server.port());
        client.send(requestText("GET", "/a"));
        EXPECT_EQ(client.readUntilClosed(), "SSH-2.0-nonsense\r\n");
    }
    RawClient client(server.port());
    client.send(requestText("GET", "/a"));
    EXPECT_EQ(client.readResponse().body, "handler /a");
    EXPECT_TRUE(server.requests().size() == 1u);
    EXPECT_THROW(server.scriptRawConnections("x", 0), std::invalid_argument);
}

} // namespace
} // namespace lithmar::local
