#include <tools/local/server/Checksum.h>
#include <tools/local/server/HttpServer.h>

#include "RawClient.h"

#include <gtest/gtest.h>

#include <cstdio>

namespace lithmar::local {
namespace {

using testing::pseudoRandomBytes;
using testing::RawClient;
using testing::requestText;

constexpr std::size_t kMiB = 1 << 20;

class HttpServerBodyTest : public ::testing::Test {
protected:
    void SetUp() override
    {
        server.route("*", "/{rest...}", [](const RecordedRequest& r) {
            return Response{200, "", {}, std::to_string(r.bodySize) + " bytes, " + std::to_string(r.parts.size()) + " parts"};
        });
        server.start();
    }

    // Sends `size` bytes of the seeded data in pieces of `piece` bytes
    // without ever holding all of them.
    static void sendGenerated(RawClient& client, std::uint64_t size, std::size_t piece, std::uint64_t seed,
                              Checksum& checksum)
    {
        for (std::uint64_t sent = 0; sent < size; sent += piece) {
            const std::string bytes =
                pseudoRandomBytes(static_cast<std::size_t>(std::min<std::uint64_t>(piece, size - sent)), seed + sent);
            checksum.update(bytes);
            ASSERT_TRUE(client.send(bytes));
        }
    }

    HttpServer server;
};

TEST_F(HttpServerBodyTest, StreamsALargeBodyAfter100ContinueKeepingOnlyTheMemoryLimit)
{
    constexpr std::uint64_t kSize = 64 * kMiB;
    RawClient client(server.port());
    client.send("PUT /files/big.bin HTTP/1.1\r\nHost: x\r\nExpect: 100-continue\r\nContent-Length: " +
                std::to_string(kSize) + "\r\n\r\n");
    EXPECT_EQ(client.readResponse().status, 100);
    Checksum sent;
    sendGenerated(client, kSize, kMiB + 7, 1, sent);
    EXPECT_EQ(client.readResponse().body, std::to_string(kSize) + " bytes, 0 parts");

    const auto request = server.requests().at(0);
    EXPECT_EQ(request.bodySize, kSize);
    EXPECT_TRUE(request.bodyTruncated);
    EXPECT_EQ(request.body.size(), kMiB);
    EXPECT_EQ(request.body, pseudoRandomBytes(kMiB, 1));
    EXPECT_EQ(request.bodyChecksum, sent.value());
}

TEST_F(HttpServerBodyTest, StreamsALargeMultipartFile)
{
    constexpr std::uint64_t kFileSize = 64 * kMiB + 3;
    const std::string head = "--b0undary\r\n"
                             "Content-Disposition: form-data; name=\"meta\"\r\n\r\n"
                             "{\"well\":\"W-1\"}\r\n"
                             "--b0undary\r\n"
                             "Content-Disposition: form-data; name=\"file\"; filename=\"log.las\"\r\n"
                             "Content-Type: application/octet-stream\r\n\r\n";
    const std::string tail = "\r\n--b0undary--\r\n";
    RawClient client(server.port());
    client.send("POST /upload HTTP/1.1\r\nHost: x\r\nContent-Type: multipart/form-data; boundary=b0undary\r\n"
                "Content-Length: " +
                std::to_string(head.size() + kFileSize + tail.size()) + "\r\n\r\n" + head);
    Checksum file;
    sendGenerated(client, kFileSize, 3 * kMiB + 1, 2, file);
    client.send(tail);
    EXPECT_EQ(client.readResponse().body, std::to_string(head.size() + kFileSize + tail.size()) + " bytes, 2 parts");

    const auto request = server.requests().at(0);
    EXPECT_EQ(request.multipartError, "");
    ASSERT_EQ(request.parts.size(), 2u);
    EXPECT_EQ(request.parts[0].data, "{\"well\":\"W-1\"}");
    const FormPart& part = request.parts[1];
    EXPECT_EQ(part.name, "file");
    EXPECT_EQ(part.fileName, "log.las");
    EXPECT_EQ(part.size, kFileSize);
    EXPECT_EQ(part.checksum, file.value());
    EXPECT_EQ(part.data.size(), kMiB);
    EXPECT_EQ(part.data, pseudoRandomBytes(kMiB, 2));
}

TEST_F(HttpServerBodyTest, ParsesAMultipartBodySentInSmallPieces)
{
    const std::string body = "--XyZ\r\n"
                             "Content-Disposition: form-data; name=\"name\"\r\n\r\n"
                             "Zürich\r\n"
                             "--XyZ\r\n"
                             "Content-Disposition: form-data; name=\"doc\"; filename=\"a.txt\"\r\n"
                             "Content-Type: text/plain\r\n\r\n"
                             "line 1\r\n--Xy is not here\r\n"
                             "--XyZ--\r\n";
    RawClient client(server.port());
    client.send(requestText("POST", "/form", {{"Content-Type", "multipart/form-data; boundary=\"XyZ\""}}, ""));
    const std::string whole = requestText("POST", "/form", {{"Content-Type", "multipart/form-data; boundary=XyZ"}}, body);
    for (std::size_t offset = 0; offset < whole.size(); offset += 3) {
        ASSERT_TRUE(client.send(whole.substr(offset, 3)));
    }
    client.readResponse();
    client.readResponse();
    const auto requests = server.requests();
    ASSERT_EQ(requests.size(), 2u);
    EXPECT_NE(requests[0].multipartError.find("no delimiter"), std::string::npos) << requests[0].multipartError;
    const auto& parts = requests[1].parts;
    ASSERT_EQ(parts.size(), 2u) << requests[1].multipartError;
    EXPECT_EQ(parts[0].data, "Zürich");
    EXPECT_EQ(parts[1].fileName, "a.txt");
    EXPECT_EQ(parts[1].contentType, "text/plain");
    EXPECT_EQ(parts[1].data, "line 1\r\n--Xy is not here");
}

TEST_F(HttpServerBodyTest, ReportsAMultipartContentTypeWithoutBoundary)
{
    RawClient client(server.port());
    client.send(requestText("POST", "/form", {{"Content-Type", "multipart/form-data"}}, "--x\r\n"));
    EXPECT_EQ(client.readResponse().status, 200);
    EXPECT_EQ(server.requests().at(0).multipartError, "Content-Type multipart/form-data without a boundary parameter");
}

TEST_F(HttpServerBodyTest, ReadsChunkedBodiesWithExtensionsAndTrailers)
{
    const std::string form = "--B\r\nContent-Disposition: form-data; name=\"f\"\r\n\r\nabc\r\n--B--\r\n";
    RawClient client(server.port());
    client.send("POST /chunked HTTP/1.1\r\nHost: x\r\nTransfer-Encoding: chunked\r\n"
                "Content-Type: multipart/form-data; boundary=B\r\n\r\n");
    client.send("5;name=value\r\n" + form.substr(0, 5) + "\r\n");
    client.send("A\r\n" + form.substr(5, 10) + "\r\n");
    char lastChunkSize[16];
    std::snprintf(lastChunkSize, sizeof lastChunkSize, "%zx\r\n", form.size() - 15);
    client.send(lastChunkSize);
    client.send(form.substr(15) + "\r\n0\r\nX-Trailer: t\r\n\r\n");
    EXPECT_EQ(client.readResponse().body, std::to_string(form.size()) + " bytes, 1 parts");

    const auto request = server.requests().at(0);
    EXPECT_EQ(request.body, form);
    EXPECT_EQ(request.bodyChecksum, Checksum::of(form));
    ASSERT_EQ(request.parts.size(), 1u);
    EXPECT_EQ(request.parts[0].data, "abc");
}

TEST_F(HttpServerBodyTest, StreamsALargeChunkedBody)
{
    RawClient client(server.port());
    client.send("PUT /chunked HTTP/1.1\r\nHost: x\r\nTransfer-Encoding: chunked\r\n\r\n");
    Checksum sent;
    std::uint64_t total = 0;
    for (std::uint64_t i = 0; i < 16; ++i) {
        const std::string chunk = pseudoRandomBytes(kMiB + i, i);
        sent.update(chunk);
        total += chunk.size();
        char size[32];
        std::snprintf(size, sizeof size, "%zx\r\n", chunk.size());
        client.send(size + chunk + "\r\n");
    }
    client.send("0\r\n\r\n");
    EXPECT_EQ(client.readResponse().body, std::to_string(total) + " bytes, 0 parts");
    EXPECT_EQ(server.requests().at(0).bodyChecksum, sent.value());
}

TEST_F(HttpServerBodyTest, Sends100ContinueOnlyWhenABodyFollows)
{
    RawClient client(server.port());
    client.send(requestText("GET", "/no-body", {{"Expect", "100-continue"}}));
    EXPECT_EQ(client.readResponse().status, 200);
}

} // namespace
} // namespace lithmar::local
