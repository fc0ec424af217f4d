#include <tools/local/server/HttpServer.h>

#include "RawClient.h"

#include <gtest/gtest.h>

#include <atomic>
#include <cstdio>
#include <fstream>
#include <future>
#include <stdexcept>
#include <thread>

namespace lithmar::local {
namespace {

using testing::RawClient;
using testing::requestText;

Response text(std::string body)
{
    return Response{200, "", {{"Content-Type", "text/plain"}}, std::move(body)};
}

class HttpServerRoutingTest : public ::testing::Test {
protected:
    void SetUp() override
    {
        server.route("GET", "/common/sites/v1/{id}", [](const RecordedRequest& r) {
            return text("site " + r.params.at("id") + " query " + r.query);
        });
        server.route("POST", "/common/sites/v1", [](const RecordedRequest& r) {
            Response created = text("created " + r.body);
            created.status = 201;
            return created;
        });
        server.route("*", "/files/{rest...}", [](const RecordedRequest& r) {
            return text(r.method + " file " + r.params.at("rest"));
        });
        server.route("GET", "/files/special", [](const RecordedRequest&) { return text("never: added last"); });
        server.route("GET", "/fails", [](const RecordedRequest&) -> Response {
            throw std::runtime_error("database is locked");
        });
        server.start();
    }

    HttpServer server;
};

TEST_F(HttpServerRoutingTest, RoutesByMethodAndPathWithParameters)
{
    struct Case {
        std::string method;
        std::string target;
        std::string body;
        int status;
        std::string answer;
    };
    const Case cases[] = {
        {"GET", "/common/sites/v1/s-42?expand=wells&x=%20", "", 200, "site s-42 query expand=wells&x=%20"},
        {"POST", "/common/sites/v1", "{\"name\":\"North\"}", 201, "created {\"name\":\"North\"}"},
        {"PUT", "/files/a/b/c.las", "data", 200, "PUT file a/b/c.las"},
        {"GET", "/files/special", "", 200, "GET file special"},
        {"GET", "/fails", "", 500, "{\"error\": \"handler for GET /fails failed: database is locked\"}"},
        {"GET", "/nothing/here", "", 404, "{\"error\": \"no route for GET /nothing/here\"}"},
        {"DELETE", "/common/sites/v1/s-1", "", 405, "{\"error\": \"method DELETE is not served for /common/sites/v1/s-1\"}"},
    };
    RawClient client(server.port());
    for (const Case& c : cases) {
        ASSERT_TRUE(client.send(requestText(c.method, c.target, {}, c.body)));
        const auto reply = client.readResponse();
        EXPECT_EQ(reply.status, c.status) << c.method << " " << c.target;
        EXPECT_EQ(reply.body, c.answer) << c.method << " " << c.target;
    }
    EXPECT_EQ(server.acceptedConnections(), 1u);
}

TEST_F(HttpServerRoutingTest, NamesTheAllowedMethodsAndAnswersErrorsAsJson)
{
    RawClient client(server.port());
    client.send(requestText("PATCH", "/common/sites/v1/7"));
    const auto reply = client.readResponse();
    EXPECT_EQ(reply.status, 405);
    EXPECT_EQ(reply.header("Allow"), "GET");
    EXPECT_EQ(reply.header("Content-Type"), "application/json");
}

TEST_F(HttpServerRoutingTest, AcceptsRoutesWhileRunning)
{
    server.route("GET", "/late", [](const RecordedRequest&) { return text("late route"); });
    RawClient client(server.port());
    client.send(requestText("GET", "/late"));
    EXPECT_EQ(client.readResponse().body, "late route");
}

TEST_F(HttpServerRoutingTest, KeepsConnectionsAliveUntilTheClientClosesThem)
{
    RawClient client(server.port());
    for (int i = 0; i < 3; ++i) {
        ASSERT_TRUE(client.send(requestText("GET", "/files/" + std::to_string(i))));
        EXPECT_EQ(client.readResponse().status, 200);
    }
    client.send(requestText("GET", "/files/last", {{"Connection", "close"}}));
    const auto last = client.readResponse();
    EXPECT_EQ(last.header("Connection"), "close");
    EXPECT_TRUE(client.closedByServer());

    const auto requests = server.requests();
    ASSERT_EQ(requests.size(), 4u);
    for (const auto& request : requests) {
        EXPECT_EQ(request.connection, requests.front().connection);
    }
    EXPECT_EQ(server.acceptedConnections(), 1u);
}

TEST_F(HttpServerRoutingTest, ClosesHttp10ConnectionsUnlessAskedToKeepThem)
{
    RawClient keeping(server.port());
    keeping.send("GET /files/a HTTP/1.0\r\nConnection: keep-alive\r\n\r\n");
    EXPECT_EQ(keeping.readResponse().header("Connection"), "keep-alive");
    keeping.send("GET /files/b HTTP/1.0\r\n\r\n");
    EXPECT_EQ(keeping.readResponse().body, "GET file b");
    EXPECT_TRUE(keeping.closedByServer());
}

TEST_F(HttpServerRoutingTest, AnswersPipelinedRequestsInOrder)
{
    RawClient client(server.port());
    client.send(requestText("GET", "/files/1") + requestText("POST", "/common/sites/v1", {}, "x") +
                requestText("GET", "/files/3"));
    EXPECT_EQ(client.readResponse().body, "GET file 1");
    EXPECT_EQ(client.readResponse().body, "created x");
    EXPECT_EQ(client.readResponse().body, "GET file 3");
}

TEST_F(HttpServerRoutingTest, RecordsRequestsAsTheyArrived)
{
    RawClient client(server.port());
    client.send("POST /files/up%20load?a=1&b=%2F HTTP/1.1\r\n"
                "Host: example\r\n"
                "X-Trace: one\r\n"
                "x-trace: two\r\n"
                "Content-Length: 5\r\n"
                "\r\n"
                "hello");
    client.readResponse();
    const auto requests = server.requests();
    ASSERT_EQ(requests.size(), 1u);
    const RecordedRequest& request = requests[0];
    EXPECT_EQ(request.method, "POST");
    EXPECT_EQ(request.target, "/files/up%20load?a=1&b=%2F");
    EXPECT_EQ(request.path, "/files/up%20load");
    EXPECT_EQ(request.query, "a=1&b=%2F");
    EXPECT_EQ(request.params.at("rest"), "up%20load");
    ASSERT_EQ(request.headers.size(), 4u);
    EXPECT_EQ(request.headers[1].name, "X-Trace");
    EXPECT_EQ(request.headers[2].name, "x-trace");
    EXPECT_EQ(request.header("X-TRACE"), "one, two");
    EXPECT_EQ(request.header("Missing"), "");
    EXPECT_EQ(request.body, "hello");
    EXPECT_EQ(request.bodySize, 5u);
    EXPECT_FALSE(request.bodyTruncated);
    EXPECT_TRUE(request.complete);
    EXPECT_EQ(request.localAddress, "127.0.0.1:" + std::to_string(server.port()));
    EXPECT_EQ(request.remoteAddress, client.localAddress());

    server.clearRequests();
    EXPECT_TRUE(server.requests().empty());
}

TEST_F(HttpServerRoutingTest, SendsTheHandlersHeadersAndReasonAndFramesTheBodyItself)
{
    server.route("GET", "/custom", [](const RecordedRequest&) {
        return Response{299, "Fine Anyway", {{"X-One", "1"}, {"Content-Length", "999"}, {"X-One", "2"}}, "abc"};
    });
    server.route("DELETE", "/custom", [](const RecordedRequest&) { return Response{204, "", {}, "ignored"}; });
    RawClient client(server.port());
    client.send(requestText("GET", "/custom"));
    const auto reply = client.readResponse();
    EXPECT_EQ(reply.status, 299);
    EXPECT_EQ(reply.reason, "Fine Anyway");
    EXPECT_EQ(reply.header("Content-Length"), "3");
    EXPECT_EQ(reply.body, "abc");
    int xOnes = 0;
    for (const auto& header : reply.headers) {
        xOnes += header.name == "X-One";
    }
    EXPECT_EQ(xOnes, 2);

    // No body after a 204 or for a HEAD: the next answer must parse cleanly.
    client.send(requestText("DELETE", "/custom") + requestText("HEAD", "/custom") + requestText("GET", "/custom"));
    EXPECT_EQ(client.readResponse().status, 204);
    const auto head = client.readResponse(true);
    EXPECT_EQ(head.header("Content-Length"), "3");
    EXPECT_EQ(client.readResponse().body, "abc");
}

TEST_F(HttpServerRoutingTest, WaitsForRequestsWithATimeout)
{
    EXPECT_FALSE(server.waitForRequests(1, std::chrono::milliseconds(20)));
    std::thread sender([port = server.port()] {
        RawClient client(port);
        client.send(requestText("GET", "/files/x"));
        client.readResponse();
    });
    EXPECT_TRUE(server.waitForRequests(1));
    sender.join();
}

TEST_F(HttpServerRoutingTest, ServesManyClientsAtOnce)
{
    std::atomic<int> handled{0};
    server.route("POST", "/count", [&](const RecordedRequest& r) {
        ++handled;
        return text(r.body);
    });
    constexpr int kClients = 4;
    constexpr int kRequestsEach = 25;
    std::vector<std::thread> clients;
    std::atomic<int> wrongAnswers{0};
    for (int c = 0; c < kClients; ++c) {
        clients.emplace_back([&, c] {
            RawClient client(server.port());
            for (int i = 0; i < kRequestsEach; ++i) {
                const std::string body = std::to_string(c) + "/" + std::to_string(i);
                client.send(requestText("POST", "/count", {}, body));
                wrongAnswers += client.readResponse().body != body;
            }
        });
    }
    // Routes change while requests are served.
    for (int i = 0; i < 20; ++i) {
        server.route("GET", "/extra/" + std::to_string(i), [](const RecordedRequest&) { return text("extra"); });
    }
    for (auto& client : clients) {
        client.join();
    }
    EXPECT_EQ(wrongAnswers, 0);
    EXPECT_EQ(handled, kClients * kRequestsEach);
    EXPECT_EQ(server.requests().size(), static_cast<std::size_t>(kClients * kRequestsEach));
    EXPECT_EQ(server.acceptedConnections(), static_cast<std::size_t>(kClients));
}

TEST(HttpServerThreadsTest, ABlockedHandlerHoldsUpOnlyTheConnectionsOfItsThread)
{
    HttpServer server; // two threads: the first connection on one, the second on the other
    std::promise<void> release;
    const std::shared_future<void> released = release.get_future().share();
    server.route("GET", "/blocked", [released](const RecordedRequest&) {
        released.wait_for(std::chrono::seconds(20));
        return text("released");
    });
    server.route("GET", "/free", [](const RecordedRequest&) { return text("free"); });
    server.start();

    RawClient blocked(server.port());
    blocked.send(requestText("GET", "/blocked"));
    ASSERT_TRUE(server.waitForRequests(1));
    RawClient other(server.port());
    other.send(requestText("GET", "/free"));
    EXPECT_EQ(other.readResponse().body, "free");
    release.set_value();
    EXPECT_EQ(blocked.readResponse().body, "released");
}

TEST(HttpServerRequestLogFileTest, WritesOneLinePerRequest)
{
    const std::string path = ::testing::TempDir() + "lithmar-local-requests.log";
    std::remove(path.c_str());
    {
        HttpServer::Options options;
        options.requestLogFile = path;
        HttpServer server(options);
        server.route("GET", "/ok", [](const RecordedRequest&) { return Response{}; });
        server.script("GET", "/closed", Fault::close());
        server.start();
        RawClient client(server.port());
        client.send(requestText("GET", "/ok?x=1") + requestText("GET", "/missing") + requestText("GET", "/closed"));
        client.readResponse();
        client.readResponse();
        EXPECT_TRUE(client.closedByServer());
    }
    std::ifstream file(path);
    std::vector<std::string> lines;
    for (std::string line; std::getline(file, line);) {
        lines.push_back(line);
    }
    ASSERT_EQ(lines.size(), 3u);
    EXPECT_NE(lines[0].find(" GET /ok?x=1 -> 200 (0 body bytes)"), std::string::npos) << lines[0];
    EXPECT_NE(lines[1].find(" GET /missing -> 404"), std::string::npos) << lines[1];
    EXPECT_NE(lines[2].find(" GET /closed -> closed without an answer"), std::string::npos) << lines[2];
    std::remove(path.c_str());
}

TEST(HttpServerRequestLogFileTest, SaysWhenTheFileCannotBeOpened)
{
    HttpServer::Options options;
    options.requestLogFile = "/nonexistent-dir/requests.log";
    EXPECT_THROW(HttpServer{options}, std::runtime_error);
}

} // namespace
} // namespace lithmar::local
