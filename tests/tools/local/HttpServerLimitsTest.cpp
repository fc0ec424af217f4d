#include <tools/local/server/HttpServer.h>

#include "RawClient.h"

#include <gtest/gtest.h>

#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <fstream>
#include <memory>
#include <sstream>
#include <thread>
#include <vector>

namespace lithmar::local {
namespace {

using namespace std::chrono_literals;
using testing::RawClient;
using testing::requestText;

constexpr std::size_t kHeadLimit = 1000;

ServerOptions strictOptions()
{
    ServerOptions options;
    options.headTimeout = 300ms;
    options.bodyTimeout = 300ms;
    options.idleTimeout = 300ms;
    options.maxHeaderBytes = kHeadLimit;
    return options;
}

class HttpServerLimitsTest : public ::testing::Test {
protected:
    void SetUp() override
    {
        server.route("*", "/{rest...}", [](const RecordedRequest&) { return Response{200, "", {}, "ok"}; });
        server.start();
    }

    HttpServer server{strictOptions()};
};

// A GET whose head (request line, headers, blank line) has exactly `size` bytes.
std::string headOfSize(std::size_t size)
{
    const std::string start = "GET /sized HTTP/1.1\r\nHost: x\r\nX-Pad: ";
    return start + std::string(size - start.size() - 4, 'p') + "\r\n\r\n";
}

TEST_F(HttpServerLimitsTest, AnswersSlowOrStalledRequestsWith408AndCloses)
{
    struct Case {
        std::string description;
        std::string bytes;
        bool cutOffRequestRecorded;
    };
    const Case cases[] = {
        {"head never completed", "GET /slow HTTP/1.1\r\nHost: x\r\nX-Part", false},
        {"nothing sent at all", "", false},
        {"body stalled", "PUT /files/a HTTP/1.1\r\nHost: x\r\nContent-Length: 100\r\n\r\nonly ten.", true},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.description);
        server.clearRequests();
        RawClient client(server.port());
        client.send(c.bytes);
        EXPECT_EQ(client.readResponse().status, 408);
        EXPECT_TRUE(client.closedByServer());
        const auto requests = server.requests();
        ASSERT_EQ(requests.size(), c.cutOffRequestRecorded ? 1u : 0u);
        if (c.cutOffRequestRecorded) {
            EXPECT_FALSE(requests[0].complete);
            EXPECT_EQ(requests[0].body, "only ten.");
        }
    }
}

TEST_F(HttpServerLimitsTest, ClosesAnIdleKeptAliveConnectionWithoutAWord)
{
    RawClient client(server.port());
    client.send(requestText("GET", "/a"));
    EXPECT_EQ(client.readResponse().status, 200);
    EXPECT_TRUE(client.closedByServer());
}

TEST_F(HttpServerLimitsTest, HoldsTheHeadLimitExactlyHoweverTheHeadArrives)
{
    for (const std::size_t size : {kHeadLimit, kHeadLimit + 1}) {
        for (const std::size_t piece : {kHeadLimit + 1, std::size_t{300}, std::size_t{7}}) {
            SCOPED_TRACE("head of " + std::to_string(size) + " bytes in pieces of " + std::to_string(piece));
            const std::string head = headOfSize(size);
            RawClient client(server.port());
            for (std::size_t at = 0; at < head.size(); at += piece) {
                if (!client.send(head.substr(at, piece))) {
                    break; // refused before the end
                }
            }
            EXPECT_EQ(client.readResponse().status, size <= kHeadLimit ? 200 : 431);
        }
    }
}

TEST_F(HttpServerLimitsTest, RefusesTwoHostsWith400WithoutRecordingTheRequest)
{
    RawClient client(server.port());
    client.send("GET /a HTTP/1.1\r\nHost: one\r\nHost: two\r\n\r\n");
    const auto reply = client.readResponse();
    EXPECT_EQ(reply.status, 400);
    EXPECT_NE(reply.body.find("more than one Host"), std::string::npos) << reply.body;
    EXPECT_TRUE(client.closedByServer());
    EXPECT_TRUE(server.requests().empty());
}

TEST(HttpServerConnectionCapTest, AnswersANewRequestWhileIdleConnectionsFillTheCap)
{
    ServerOptions options = strictOptions();
    options.maxConnections = 2;
    HttpServer server(options);
    server.route("GET", "/a", [](const RecordedRequest&) { return Response{200, "", {}, "ok"}; });
    server.start();
    // Idle connections, then one more that waits for a place.
    std::vector<std::unique_ptr<RawClient>> idle;
    for (int i = 0; i < 4; ++i) {
        idle.push_back(std::make_unique<RawClient>(server.port()));
    }
    RawClient client(server.port());
    client.send(requestText("GET", "/a"));
    EXPECT_EQ(client.readResponse().body, "ok");
}

// Runs a server in a child process whose descriptor limit leaves room for
// about twenty connections, floods it with idle ones and checks that a
// normal request still gets its answer and that stderr says so once.
TEST(HttpServerDescriptorTest, BacksOffWhenDescriptorsRunOutAndSaysSoOnce)
{
#ifdef LITHMAR_UNDEFINED_SANITIZER
    // Its vptr check opens a pipe to probe memory: without a free descriptor
    // it reports valid objects as broken and stops the server.
    GTEST_SKIP() << "needs descriptors that UndefinedBehaviorSanitizer's own checks take";
#endif
    char logPath[] = "/tmp/lithmar-descriptors-XXXXXX";
    const int logFile = mkstemp(logPath);
    ASSERT_GE(logFile, 0);
    int portPipe[2];
    int stopPipe[2];
    ASSERT_EQ(pipe(portPipe), 0);
    ASSERT_EQ(pipe(stopPipe), 0);
    const pid_t child = fork();
    ASSERT_GE(child, 0);
    if (child == 0) {
        close(stopPipe[1]); // or the read below never sees the parent's close
        dup2(logFile, STDERR_FILENO);
        const rlimit limit{48, 48};
        setrlimit(RLIMIT_NOFILE, &limit);
        {
            HttpServer server(strictOptions());
            server.route("GET", "/a", [](const RecordedRequest&) { return Response{200, "", {}, "ok"}; });
            server.start();
            const std::uint16_t port = server.port();
            (void)!write(portPipe[1], &port, sizeof port);
            char ignored;
            (void)!read(stopPipe[0], &ignored, 1); // until the parent closes its end
        }
        _exit(0);
    }
    close(logFile);
    close(stopPipe[0]);
    close(portPipe[1]); // a child that dies early ends the read below
    std::uint16_t port = 0;
    ASSERT_EQ(read(portPipe[0], &port, sizeof port), static_cast<ssize_t>(sizeof port));
    {
        std::vector<std::unique_ptr<RawClient>> idle;
        for (int i = 0; i < 60; ++i) {
            idle.push_back(std::make_unique<RawClient>(port));
        }
        RawClient client(port);
        client.send(requestText("GET", "/a"));
        EXPECT_EQ(client.readResponse().body, "ok");
    }
    close(stopPipe[1]);
    int status = 0;
    waitpid(child, &status, 0);
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0);
    std::ifstream log(logPath);
    std::stringstream text;
    text << log.rdbuf();
    std::remove(logPath);
    std::size_t reports = 0;
    for (auto at = text.str().find("accepting a connection failed"); at != std::string::npos;
         at = text.str().find("accepting a connection failed", at + 1)) {
        ++reports;
    }
    EXPECT_EQ(reports, 1u) << text.str();
}

} // namespace
} // namespace lithmar::local
