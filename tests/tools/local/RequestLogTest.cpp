#include <tools/local/server/RequestLog.h>

#include <gtest/gtest.h>

namespace lithmar::local {
namespace {

RecordedRequest requestWithBody(std::string path, std::string body)
{
    RecordedRequest request;
    request.path = std::move(path);
    request.bodySize = body.size();
    request.body = std::move(body);
    FormPart part;
    part.data = "part data";
    part.size = part.data.size();
    request.parts.push_back(part);
    return request;
}

TEST(RequestLogTest, DropsTheOldestEntriesAndCutsBodiesToItsLimits)
{
    RequestLog log(3, 4);
    for (int i = 1; i <= 5; ++i) {
        log.add(requestWithBody("/" + std::to_string(i), "body" + std::to_string(i)));
    }
    const auto requests = log.snapshot();
    ASSERT_EQ(requests.size(), 3u);
    EXPECT_EQ(requests[0].path, "/3");
    EXPECT_EQ(requests[2].path, "/5");
    EXPECT_EQ(requests[2].body, "body");
    EXPECT_TRUE(requests[2].bodyTruncated);
    EXPECT_EQ(requests[2].bodySize, 5u);
    EXPECT_EQ(requests[2].parts.at(0).data, "part");
    // Every request counts for a waiting test, also those dropped.
    EXPECT_TRUE(log.waitFor(5, std::chrono::milliseconds(0)));
    log.clear();
    EXPECT_FALSE(log.waitFor(1, std::chrono::milliseconds(0)));
}

TEST(RequestLogTest, KeepsNothingWithoutEntries)
{
    RequestLog log(0, 100);
    log.add(requestWithBody("/a", "x"));
    EXPECT_EQ(log.size(), 0u);
}

} // namespace
} // namespace lithmar::local
