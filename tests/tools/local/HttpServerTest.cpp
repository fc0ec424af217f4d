#include <tools/local/server/HttpServer.h>

#include <tests/support/RawClient.h>
#include <tests/support/TemporaryDirectory.h>

#include <gmock/gmock.h>

#include <algorithm>
#include <atomic>
#include <fstream>
#include <future>
#include <memory>
#include <sstream>
#include <stdexcept>
#include <system_error>
#include <thread>

namespace lithmar::local {
namespace {

using namespace std::chrono_literals;
using test::RawClient;
using test::requestText;
using ::testing::HasSubstr;
using ::testing::ThrowsMessage;

using Req = const RecordedRequest&;

Response text(std::string body)
{
    return Response{200, "", {}, std::move(body)};
}

ServerOptions loggingTo(const std::string& path)
{
    ServerOptions options;
    options.requestLogFile = path;
    return options;
}

class HttpServerTest : public ::testing::Test {
protected:
    void SetUp() override
    {
        server.route("GET", "/sites/{id}", [](Req r) { return text("site " + r.params.at("id") + " ? " + r.query); });
        server.route("POST", "/sites", [](Req r) { return Response{201, "", {}, "made " + r.body}; });
        server.route("*", "/files/{rest...}", [](Req r) { return text(r.method + " file " + r.params.at("rest")); });
        server.route("GET", "/files/special", [](Req) { return text("never: added last"); });
        server.route("GET", "/fails", [](Req) -> Response { throw std::runtime_error("locked"); });
        server.start();
    }

    std::string log() const
    {
        std::stringstream text;
        text << std::ifstream(logPath).rdbuf();
        return text.str();
    }

    const test::TemporaryDirectory directory;
    const std::string logPath = directory.path() / "requests.log";
    HttpServer server{loggingTo(logPath)};
};

TEST_F(HttpServerTest, RoutesByMethodAndPathOnOneConnection)
{
    // Routes added to a running server.
    server.route("GET", "/custom", [](Req) {
        return Response{299, "Fine Anyway", {{"X-One", "1"}, {"Content-Length", "999"}, {"X-One", "2"}}, "abc"};
    });
    server.route("DELETE", "/custom", [](Req) { return Response{204, "", {}, "ignored"}; });
    const std::tuple<std::string, std::string, std::string, int, std::string> cases[] = {
        {"GET", "/sites/s-42?expand=wells&x=%20", "", 200, "site s-42 ? expand=wells&x=%20"},
        {"POST", "/sites", "{\"name\":\"North\"}", 201, "made {\"name\":\"North\"}"},
        {"PUT", "/files/a/b/c.las", "data", 200, "PUT file a/b/c.las"},
        {"GET", "/files/special", "", 200, "GET file special"},
        {"GET", "/custom", "", 299, "abc"},
        // No body after a 204 or for a HEAD: the next answer must parse cleanly.
        {"DELETE", "/custom", "", 204, ""},
        {"HEAD", "/custom", "", 299, ""},
        {"GET", "/fails", "", 500, "{\"error\": \"handler for GET /fails failed: locked\"}"},
        {"GET", "/nothing/here", "", 404, "{\"error\": \"no route for GET /nothing/here\"}"},
        {"DELETE", "/sites/s-1", "", 405, "{\"error\": \"method DELETE is not served for /sites/s-1\"}"},
    };
    RawClient client(server.port());
    for (const auto& [method, target, body, status, answer] : cases) {
        ASSERT_TRUE(client.send(requestText(method, target, {}, body)));
        const auto reply = client.readResponse(method == "HEAD");
        EXPECT_EQ(reply.status, status) << method << " " << target;
        EXPECT_EQ(reply.body, answer) << method << " " << target;
        if (status == 299) { // the handler's headers and reason, but the server's framing
            EXPECT_EQ(reply.reason + reply.header("Content-Length") + reply.header("X-One"), "Fine Anyway31, 2");
        }
        if (status >= 400) {
            EXPECT_EQ(reply.header("Content-Type") + "|" + reply.header("Allow"),
                      status == 405 ? "application/json|GET" : "application/json|");
        }
    }
    EXPECT_EQ(server.acceptedConnections(), 1u);
    EXPECT_THAT(log(), HasSubstr(" HEAD /custom -> 299 (0 body bytes)\n"));
    EXPECT_THAT(log(), HasSubstr(" DELETE /sites/s-1 -> 405 (0 body bytes)\n"));
}

TEST_F(HttpServerTest, AnswersPipelinedRequestsInOrderAndRecordsThemAsSent)
{
    RawClient client(server.port());
    client.send("POST /files/up%20load?a=1&b=%2F HTTP/1.1\r\nHost: example\r\nX-Trace: one\r\nx-trace: two\r\n"
                "Content-Length: 5\r\n\r\nhello" +
                requestText("GET", "/files/2") + requestText("GET", "/files/3", {{"Connection", "close"}}));
    EXPECT_EQ(client.readResponse().body, "POST file up%20load");
    EXPECT_EQ(client.readResponse().body, "GET file 2");
    EXPECT_EQ(client.readResponse().header("Connection"), "close");
    EXPECT_TRUE(client.closedByServer());

    const auto requests = server.requests();
    ASSERT_EQ(requests.size(), 3u);
    const RecordedRequest& request = requests[0];
    EXPECT_EQ(request.target + " " + request.path + " " + request.header("X-TRACE") + " " + request.headers.at(2).name +
                  " " + request.body + " " + request.localAddress + " " + request.remoteAddress,
              "/files/up%20load?a=1&b=%2F /files/up%20load one, two x-trace hello 127.0.0.1:" +
                  std::to_string(server.port()) + " " + client.localAddress());
    EXPECT_EQ(requests[2].connection, request.connection);
    server.clearRequests();
    RawClient old(server.port());
    old.send("GET /files/a HTTP/1.0\r\nConnection: keep-alive\r\n\r\n");
    EXPECT_EQ(old.readResponse().header("Connection"), "keep-alive");
    old.send("GET /files/b HTTP/1.0\r\n\r\n");
    EXPECT_EQ(old.readResponse().body, "GET file b");
    EXPECT_TRUE(old.closedByServer());
    EXPECT_NE(server.requests().at(0).connection, request.connection);
}

TEST_F(HttpServerTest, ServesManyClientsAtOnceWhileRoutesChange)
{
    server.route("POST", "/count", [](Req r) { return text(r.body); });
    std::atomic<int> wrongAnswers{0};
    std::vector<std::thread> clients;
    for (int c = 0; c < 4; ++c) {
        clients.emplace_back([&, c] {
            RawClient client(server.port());
            for (int i = 0; i < 25; ++i) {
                const std::string body = std::to_string(c) + "/" + std::to_string(i);
                client.send(requestText("POST", "/count", {}, body));
                wrongAnswers += client.readResponse().body != body;
            }
        });
    }
    for (int i = 0; i < 20; ++i) {
        server.route("GET", "/extra/" + std::to_string(i), [](Req) { return text("extra"); });
    }
    std::for_each(clients.begin(), clients.end(), [](std::thread& client) { client.join(); });
    EXPECT_EQ(wrongAnswers, 0);
    EXPECT_EQ(server.requests().size(), 100u);
    EXPECT_EQ(server.acceptedConnections(), 4u);
}

// Two threads: the first connection on one, the second on the other.
TEST_F(HttpServerTest, ABlockedHandlerHoldsUpOnlyTheConnectionsOfItsThread)
{
    std::promise<void> release;
    const std::shared_future<void> released = release.get_future().share();
    server.route("GET", "/blocked", [released](Req) { released.wait_for(20s); return text("released"); });
    RawClient blocked(server.port());
    blocked.send(requestText("GET", "/blocked"));
    ASSERT_TRUE(server.waitForRequests(1));
    RawClient other(server.port());
    other.send(requestText("GET", "/files/free"));
    EXPECT_EQ(other.readResponse().body, "GET file free");
    release.set_value();
    EXPECT_EQ(blocked.readResponse().body, "released");
}

TEST_F(HttpServerTest, AnswersScriptedFaultsInOrderForMatchingRequestsOnly)
{
    server.script("GET", "/files/down", Fault::respond(Response{500, "", {}, ""}), FaultScript::kForever);
    server.script("GET", "/files/a/{id}", Fault::respond(Response{502, "", {}, ""}), 2);
    server.script("*", "*", Fault::respond(Response{503, "", {}, "busy"}));
    server.script("GET", "/files/a/{id}", Fault::respond(Response{504, "", {}, ""}));
    server.script("GET", "/files/slow", Fault::delay(50ms)); // then answers (the lifecycle test sees it stall)
    const std::pair<std::string, std::string> expected[] = {
        {"/files/a/1", "502 "}, {"/files/down", "500 "}, {"/files/b", "503 busy"}, {"/files/a/2", "502 "},
        {"/files/a/3", "504 "}, {"/files/a/4", "200 GET file a/4"}, {"/files/b", "200 GET file b"},
        {"/files/down", "500 "}, {"/files/slow", "200 GET file slow"},
    };
    RawClient client(server.port());
    for (const auto& [path, answer] : expected) {
        client.send(requestText("GET", path));
        const auto reply = client.readResponse();
        EXPECT_EQ(std::to_string(reply.status) + " " + reply.body, answer) << path;
    }
    server.clearScript();
    client.send(requestText("GET", "/files/down"));
    EXPECT_EQ(client.readResponse().status, 200);
    server.scriptRawConnections("SSH-2.0-nonsense\r\n", 2);
    for (int i = 0; i < 3; ++i) {
        RawClient other(server.port());
        other.send(requestText("GET", "/files/a"));
        EXPECT_EQ(i < 2 ? other.readUntilClosed() : other.readResponse().body, i < 2 ? "SSH-2.0-nonsense\r\n" : "GET file a");
    }
    EXPECT_THROW(server.script("GET", "/x", Fault::close(), 0), std::invalid_argument);
    EXPECT_THROW(server.script("GET", "no-slash", Fault::close()), std::invalid_argument);
    EXPECT_THROW(server.scriptRawConnections("x", 0), std::invalid_argument);
}

TEST_F(HttpServerTest, ScriptedFaultsCloseTheConnectionAndRecordWhatWasRead)
{
    const std::string body = test::pseudoRandomBytes(10000, 1);
    const std::string chunked = "POST /files/up HTTP/1.1\r\nHost: x\r\nTransfer-Encoding: chunked\r\n\r\n1000\r\n" +
                                body.substr(0, 0x1000) + "\r\n1710\r\n" + body.substr(0x1000) + "\r\n0\r\n\r\n";
    const std::string garbage("\x00\xff not http\r\n\r\n", 16);
    // fault, request, answer, request complete, body recorded
    const std::tuple<Fault, std::string, std::string, bool, std::string> cases[] = {
        {Fault::close(), requestText("POST", "/files/up", {}, "the whole body"), "", true, "the whole body"},
        {Fault::closeBeforeBody(), // without a 100 Continue
         "POST /files/up HTTP/1.1\r\nHost: x\r\nExpect: 100-continue\r\nContent-Length: 100000\r\n\r\n", "", false, ""},
        {Fault::garbage(garbage), requestText("POST", "/files/up"), garbage, true, ""},
        {Fault::closeAfterBodyBytes(5000), requestText("POST", "/files/up", {}, body), "", false, body.substr(0, 5000)},
        {Fault::closeAfterBodyBytes(5000), chunked, "", false, body.substr(0, 5000)},
        {Fault::closeAfterBodyBytes(5000), requestText("POST", "/files/up", {}, "short"), "", true, "short"},
    };
    for (const auto& [fault, request, answer, complete, recordedBody] : cases) {
        SCOPED_TRACE(request.substr(0, 40));
        server.clearRequests();
        server.script("POST", "/files/up", fault);
        RawClient client(server.port());
        client.send(request);
        EXPECT_EQ(client.readUntilClosed(), answer);
        ASSERT_TRUE(server.waitForRequests(1));
        const auto recorded = server.requests().at(0);
        EXPECT_EQ(std::tuple(recorded.complete, recorded.body, recorded.bodySize),
                  std::tuple(complete, recordedBody, recordedBody.size()));
    }
    EXPECT_THAT(log(), HasSubstr(" POST /files/up -> closed without an answer (scripted) (14 body bytes)\n"));
}

TEST(HttpServerLifecycleTest, StopsPromptlyStartsAgainOnItsPortAndListensWhereTold)
{
    HttpServer server;
    server.route("*", "/{rest...}", [](Req) { return Response{}; });
    // Stalled requests are recorded at once; stop() cuts the stall short.
    server.script("GET", "/stalled", Fault::delay(1h));
    server.script("GET", "/stalled-error", Fault::respond(Response{429, "", {}, ""}).after(1h));
    server.start();
    EXPECT_THROW(server.start(), std::logic_error);
    const auto port = server.port();
    // Idle after an answer, mid-body, stalled, stalled before an error.
    const std::string openings[] = {requestText("GET", "/served"),
                                    "PUT /upload HTTP/1.1\r\nHost: x\r\nContent-Length: 100000000\r\n\r\npartial",
                                    requestText("GET", "/stalled"), requestText("GET", "/stalled-error")};
    std::vector<std::unique_ptr<RawClient>> clients;
    for (const auto& bytes : openings) {
        clients.push_back(std::make_unique<RawClient>(port));
        clients.back()->send(bytes);
    }
    clients[0]->readResponse();
    ASSERT_TRUE(server.waitForRequests(3));
    server.stop();
    for (const auto& client : clients) {
        EXPECT_TRUE(client->closedByServer());
    }
    EXPECT_THROW(RawClient{port}, std::runtime_error);
    server.start();
    EXPECT_EQ(server.port(), port);
    EXPECT_EQ(test::httpCall(port, "GET", "/").status, 200);
    server.clearRequests();

    ServerOptions options;
    options.address = "127.0.0.2";
    options.port = port;
    HttpServer second(options);
    second.route("GET", "/", [](Req) { return Response{}; });
    second.start();
    EXPECT_EQ(second.baseUrl(), "http://127.0.0.2:" + std::to_string(port));
    RawClient client(port, "127.0.0.2");
    client.send(requestText("GET", "/"));
    client.readResponse();
    EXPECT_TRUE(server.requests().empty() && second.requests().size() == 1);
    options.address = "127.0.0.1";
    HttpServer taken(options);
    EXPECT_THAT([&] { taken.start(); },
                ThrowsMessage<std::system_error>(HasSubstr("cannot bind to 127.0.0.1:" + std::to_string(port))));
    options.address = "not-an-address";
    EXPECT_THROW(HttpServer(options).start(), std::invalid_argument);
    EXPECT_THROW(HttpServer{loggingTo("/nonexistent-dir/requests.log")}, std::runtime_error);
}

} // namespace
} // namespace lithmar::local
