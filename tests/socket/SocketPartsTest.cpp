// The socket client's pieces: where it connects, what it reads from the
// service, and how long it waits before trying again.

#include <lithmar/socket/detail/Backoff.h>
#include <lithmar/socket/detail/Frames.h>
#include <lithmar/socket/detail/SocketEndpoint.h>

#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

namespace com::vantorel::lithmar::detail {
namespace {

using namespace std::chrono_literals;

struct UrlCase {
    const char* url;
    bool valid;
    bool tls = false;
    const char* host = "";
    const char* port = "";
    const char* target = "";
};

void PrintTo(const UrlCase& url, std::ostream* os)
{
    *os << url.url;
}

class SocketUrl : public testing::TestWithParam<UrlCase> {};

TEST_P(SocketUrl, NamesTheServicesSocket)
{
    const UrlCase& expected = GetParam();
    const auto endpoint = socketEndpoint(expected.url);
    ASSERT_EQ(endpoint.has_value(), expected.valid);
    if (endpoint) {
        EXPECT_EQ(endpoint->tls, expected.tls);
        EXPECT_EQ(endpoint->host, expected.host);
        EXPECT_EQ(endpoint->port, expected.port);
        EXPECT_EQ(endpoint->target, expected.target);
    }
}

INSTANTIATE_TEST_SUITE_P(
    Urls, SocketUrl,
    testing::Values(UrlCase{"http://127.0.0.1:8480/lithmar-gate", true, false, "127.0.0.1", "8480",
                            "/lithmar-gate/socket"},
                    UrlCase{"HTTPS://tenant-gate.example.com", true, true, "tenant-gate.example.com", "443", "/socket"},
                    UrlCase{"wss://h/a/b/?x=1#f", true, true, "h", "443", "/a/b/socket"},
                    UrlCase{"ws://[::1]:9/gate", true, false, "::1", "9", "/gate/socket"},
                    UrlCase{"http://h:80x/", false}, UrlCase{"ftp://h/", false}, UrlCase{"h:80/gate", false},
                    UrlCase{"http:///gate", false}, UrlCase{"http://user@h/", false}, UrlCase{"", false}));

TEST(ServiceFrames, ReadsWelcomeAndNotificationsAndSkipsTheRest)
{
    EXPECT_EQ(parseServiceFrame(R"({"type":"welcome"})")->kind, ServiceFrame::Kind::Welcome);
    const auto frame = parseServiceFrame(R"({"type":"notification","index":7,"message":{"actions":[]}})");
    ASSERT_TRUE(frame);
    EXPECT_EQ(frame->kind, ServiceFrame::Kind::Notification);
    EXPECT_EQ(frame->index, 7);
    EXPECT_EQ(frame->message, R"({"actions":[]})");
    for (const char* skipped :
         {"", "[]", "not json", R"({"type":"later"})", R"({"type":7})", R"({"type":"notification","message":{}})",
          R"({"type":"notification","index":"7","message":{}})", R"({"type":"notification","index":1.5,"message":{}})",
          R"({"type":"notification","index":1,"message":"text"})"}) {
        EXPECT_FALSE(parseServiceFrame(skipped)) << skipped;
    }
}

TEST(ServiceFrames, TheHelloCarriesUserTicketAndResumePoint)
{
    const auto hello = nlohmann::json::parse(helloFrame("jöns", "ST-1", 41));
    EXPECT_EQ(hello, nlohmann::json::parse(R"({"type":"hello","user":"jöns","ticket":"ST-1","after":41})"));
    EXPECT_NO_THROW(nlohmann::json::parse(helloFrame("bad \xC3", "t", -1))) << "sent, for the service to refuse";
}

TEST(Backoff, DoublesUpToItsCapWithJitterAndStartsOverAfterReset)
{
    Backoff backoff(100ms, 800ms);
    for (const auto ceiling : {100ms, 200ms, 400ms, 800ms, 800ms, 800ms}) {
        const auto pause = backoff.next();
        EXPECT_GE(pause, ceiling / 2);
        EXPECT_LE(pause, ceiling);
    }
    backoff.reset();
    EXPECT_LE(backoff.next(), 100ms);
}

} // namespace
} // namespace com::vantorel::lithmar::detail
