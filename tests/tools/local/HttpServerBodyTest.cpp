#include <tools/local/server/Checksum.h>
#include <tools/local/server/HttpServer.h>

#include <tests/support/RawClient.h>

#include <gtest/gtest.h>

#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <memory>

namespace lithmar::local {
namespace {

using namespace std::chrono_literals;
using test::pseudoRandomBytes;
using test::RawClient;
using test::requestText;

constexpr std::size_t kMiB = 1 << 20;
constexpr std::size_t kHeadLimit = 1000;

ServerOptions strictOptions(std::size_t maxConnections = 10000)
{
    ServerOptions options;
    options.headTimeout = options.bodyTimeout = options.idleTimeout = 300ms;
    options.maxHeaderBytes = kHeadLimit;
    options.maxConnections = maxConnections;
    return options;
}

class HttpServerBodyTest : public ::testing::Test {
protected:
    explicit HttpServerBodyTest(ServerOptions options = {}) : server(std::move(options))
    {
        server.route("*", "/{rest...}", [](const RecordedRequest& r) {
            return Response{200, "", {}, std::to_string(r.bodySize) + " bytes, " + std::to_string(r.parts.size()) + " parts"};
        });
        server.start();
    }

    HttpServer server;
};

class HttpServerLimitsTest : public HttpServerBodyTest {
protected:
    HttpServerLimitsTest() : HttpServerBodyTest(strictOptions(2)) {}
};

TEST_F(HttpServerBodyTest, StreamsLargeBodiesKeepingOnlyTheMemoryLimit)
{
    RawClient client(server.port());
    client.send(requestText("GET", "/no-body", {{"Expect", "100-continue"}}));
    EXPECT_EQ(client.readResponse().status, 200); // no 100 Continue without a body
    constexpr std::uint64_t kSize = 48 * kMiB + 3, kPiece = kMiB + 7;
    const std::string head = "--b0undary\r\nContent-Disposition: form-data; name=\"meta\"\r\n\r\n{}\r\n--b0undary\r\n"
                             "Content-Disposition: form-data; name=\"file\"; filename=\"log.las\"\r\n\r\n";
    const std::string tail = "\r\n--b0undary--\r\n";
    const std::string firstMiB = pseudoRandomBytes(kPiece, 0).substr(0, kMiB);
    for (const std::string framing : {"Content-Length", "chunked", "chunked multipart"}) {
        SCOPED_TRACE(framing);
        server.clearRequests();
        const bool chunked = framing != "Content-Length", multipart = framing == "chunked multipart";
        const auto frame = [&](const std::string& bytes) {
            char size[32];
            std::snprintf(size, sizeof size, "%zx;name=value\r\n", bytes.size());
            return chunked && !bytes.empty() ? size + bytes + "\r\n" : bytes;
        };
        client.send("PUT /big HTTP/1.1\r\nHost: x\r\nExpect: 100-continue\r\n" +
                    (chunked ? "Transfer-Encoding: chunked\r\n" : "Content-Length: " + std::to_string(kSize) + "\r\n") +
                    (multipart ? "Content-Type: multipart/form-data; boundary=\"b0undary\"\r\n\r\n" : "\r\n"));
        EXPECT_EQ(client.readResponse().status, 100);
        client.send(frame(multipart ? head : ""));
        Checksum sent;
        for (std::uint64_t at = 0; at < kSize; at += kPiece) {
            const std::string bytes = pseudoRandomBytes(std::min(kPiece, kSize - at), at);
            sent.update(bytes);
            ASSERT_TRUE(client.send(frame(bytes)));
        }
        client.send(frame(multipart ? tail : "") + (chunked ? "0\r\nX-Trailer: t\r\n\r\n" : ""));
        const std::uint64_t length = multipart ? head.size() + kSize + tail.size() : kSize;
        EXPECT_EQ(client.readResponse().body, std::to_string(length) + " bytes, " + (multipart ? "2" : "0") + " parts");
        const auto request = server.requests().at(0);
        EXPECT_TRUE(request.bodyTruncated);
        ASSERT_EQ(request.parts.size(), multipart ? 2u : 0u) << request.multipartError;
        EXPECT_EQ(multipart ? request.parts[1].data : request.body, firstMiB);
        EXPECT_EQ(multipart ? request.parts[1].checksum : request.bodyChecksum, sent.value());
        if (multipart) {
            EXPECT_EQ(request.parts[0].data + request.parts[1].fileName + std::to_string(request.parts[1].size),
                      "{}log.las" + std::to_string(kSize));
        }
    }
}

TEST_F(HttpServerBodyTest, Answers400AndClosesOnMalformedOrAmbiguousRequests)
{
    const std::string post = "POST /c HTTP/1.1\r\nHost: x\r\n";
    const std::tuple<std::string, int, std::string, bool> cases[] = {
        // request, status, what the answer says, recorded as cut off
        {"HELLO THERE\r\n\r\n", 400, "malformed request", false},
        {post + "Transfer-Encoding: chunked\r\n\r\nzz\r\n", 400, "malformed request", true},
        {"GET / HTTP/1.1\r\n\r\n", 400, "no Host header", false}, {"GET / HTTP/1.0\r\n\r\n", 200, "0 bytes", false},
        {"GET / HTTP/1.1\r\nHost: one\r\nHost: two\r\n\r\n", 400, "more than one Host header", false},
        {post + "Transfer-Encoding: gzip\r\nContent-Length: 3\r\n\r\nabc", 400, "both Content-Length and", false},
        {post + "Transfer-Encoding: chunked, gzip\r\n\r\n", 400, "does not end in chunked", false},
        {post + "Transfer-Encoding: chunked, chunked\r\n\r\n", 400, "applies chunked more than once", false},
        {post + "Content-Length: 3\r\ncontent-length: 3\r\n\r\nabc", 200, "3 bytes", false},
        {post + "Transfer-Encoding: gzip, chunked\r\n\r\n3\r\nabc\r\n0\r\n\r\n", 200, "3 bytes", false},
    };
    for (const auto& [bytes, status, answer, cutOff] : cases) {
        SCOPED_TRACE(bytes);
        server.clearRequests();
        RawClient client(server.port());
        client.send(bytes);
        const auto reply = client.readResponse();
        EXPECT_EQ(reply.status, status);
        EXPECT_NE(reply.body.find(answer), std::string::npos) << reply.body;
        if (status == 400) {
            EXPECT_EQ(reply.header("Connection"), "close");
            EXPECT_TRUE(client.closedByServer());
            const auto requests = server.requests();
            EXPECT_TRUE(cutOff ? requests.size() == 1 && !requests[0].complete : requests.empty());
        }
    }
}

TEST_F(HttpServerBodyTest, RecordsARequestCutOffMidBodyButNotOneCutOffInItsHead)
{
    {
        RawClient client(server.port());
        client.send(requestText("POST", "/one", {{"Content-Type", "multipart/form-data"}}, "--x\r\n"));
        client.readResponse();
        client.send("GET /half-a-request HTTP/1.1\r\nHo");
    }
    {
        RawClient client(server.port());
        client.send("POST /files/c HTTP/1.1\r\nHost: x\r\nContent-Type: multipart/form-data; boundary=B\r\n"
                    "Content-Length: 500\r\n\r\n--B\r\nContent-Disposition: form-data; name=\"f\"\r\n\r\nsome data");
    }
    ASSERT_TRUE(server.waitForRequests(2));
    RawClient next(server.port());
    next.send(requestText("GET", "/still/serving"));
    EXPECT_EQ(next.readResponse().status, 200);
    const auto requests = server.requests();
    ASSERT_EQ(requests.size(), 3u);
    EXPECT_EQ(requests[0].multipartError, "Content-Type multipart/form-data without a boundary parameter");
    EXPECT_EQ(std::tuple(requests[1].complete, requests[1].bodySize, requests[2].path),
              std::tuple(false, 58u, "/still/serving"));
    EXPECT_NE(requests[1].multipartError.find("ends inside part 1"), std::string::npos) << requests[1].multipartError;
}

TEST_F(HttpServerLimitsTest, AnswersSlowRequestsWith408AndOversizedHeadsWith431AndWaitsAtTheConnectionCap)
{
    const std::tuple<std::string, bool> cases[] = {
        {"GET /slow HTTP/1.1\r\nHost: x\r\nX-Part", false}, // head never completed
        {"", false},                                         // nothing sent at all
        {"PUT /files/a HTTP/1.1\r\nHost: x\r\nContent-Length: 100\r\n\r\nonly ten.", true},
    };
    for (const auto& [bytes, cutOffRecorded] : cases) {
        SCOPED_TRACE(bytes);
        server.clearRequests();
        RawClient client(server.port());
        client.send(bytes);
        EXPECT_EQ(client.readResponse().status, 408);
        EXPECT_TRUE(client.closedByServer());
        const auto requests = server.requests();
        EXPECT_TRUE(cutOffRecorded ? requests.size() == 1 && !requests[0].complete && requests[0].body == "only ten."
                                   : requests.empty());
    }
    RawClient idle(server.port());
    idle.send(requestText("GET", "/a"));
    EXPECT_EQ(idle.readResponse().status, 200);
    EXPECT_TRUE(idle.closedByServer());
    // Heads of exactly the limit and one byte over, in pieces: the limit
    // holds to the byte however the head arrives.
    const std::string start = "GET /sized HTTP/1.1\r\nHost: x\r\nX-Pad: ";
    for (const std::size_t size : {kHeadLimit, kHeadLimit + 1}) {
        for (const std::size_t piece : {kHeadLimit + 1, std::size_t{300}, std::size_t{7}}) {
            SCOPED_TRACE("head of " + std::to_string(size) + " bytes in pieces of " + std::to_string(piece));
            const std::string head = start + std::string(size - start.size() - 4, 'p') + "\r\n\r\n";
            RawClient client(server.port());
            for (std::size_t at = 0; at < head.size() && client.send(head.substr(at, piece)); at += piece) {
            }
            const auto reply = client.readResponse();
            EXPECT_EQ(reply.status, size <= kHeadLimit ? 200 : 431);
            EXPECT_EQ(reply.status == 431, reply.body.find("exceeds 1000 bytes") != std::string::npos) << reply.body;
        }
    }
    // A head that never ends is refused once it passes the limit.
    RawClient client(server.port());
    client.send(start + std::string(2 * kHeadLimit, 'p'));
    EXPECT_EQ(client.readResponse().status, 431);
    // Idle connections filling the cap (2) hold a new request back until they time out, never lose it.
    std::vector<std::unique_ptr<RawClient>> crowd;
    for (int i = 0; i < 4; ++i) {
        crowd.push_back(std::make_unique<RawClient>(server.port()));
    }
    EXPECT_EQ(test::httpCall(server.port(), "GET", "/a").status, 200);
}

// A server in a child process whose descriptor limit leaves room for about
// twenty connections, flooded with idle ones: a normal request still gets
// its answer, and stderr says so once.
TEST(HttpServerDescriptorTest, BacksOffWhenDescriptorsRunOutAndSaysSoOnce)
{
#ifdef LITHMAR_UNDEFINED_SANITIZER
    GTEST_SKIP() << "needs descriptors that UndefinedBehaviorSanitizer's own checks take";
#endif
    std::FILE* log = std::tmpfile();
    int portPipe[2], stopPipe[2];
    ASSERT_TRUE(log && pipe(portPipe) == 0 && pipe(stopPipe) == 0);
    const pid_t child = fork();
    ASSERT_GE(child, 0);
    if (child == 0) {
        close(stopPipe[1]); // or the read below never sees the parent's close
        dup2(fileno(log), STDERR_FILENO);
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
    close(stopPipe[0]);
    close(portPipe[1]); // a child that dies early ends the read below
    std::uint16_t port = 0;
    ASSERT_EQ(read(portPipe[0], &port, sizeof port), static_cast<ssize_t>(sizeof port));
    {
        std::vector<std::unique_ptr<RawClient>> idle;
        for (int i = 0; i < 60; ++i) {
            idle.push_back(std::make_unique<RawClient>(port));
        }
        EXPECT_EQ(test::httpCall(port, "GET", "/a").body, "ok");
    }
    close(stopPipe[1]);
    int status = 0;
    waitpid(child, &status, 0);
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0);
    std::string text(1 << 16, '\0');
    text.resize(static_cast<std::size_t>(std::max<ssize_t>(0, pread(fileno(log), text.data(), text.size(), 0))));
    std::fclose(log);
    const auto first = text.find("accepting a connection failed");
    EXPECT_TRUE(first != std::string::npos && text.rfind("accepting a connection failed") == first) << text;
}

} // namespace
} // namespace lithmar::local
