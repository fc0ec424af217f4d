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

TEST(SocketUrl, NamesTheServicesSocketOrRefusesTheUrl)
{
    struct Row {
        const char* url;
        const char* expected; // "tls host port target", or "" when refused
    };
    for (const Row& row :
         {Row{"http://127.0.0.1:8480/lithmar-gate", "0 127.0.0.1 8480 /lithmar-gate/socket"},
          Row{"HTTPS://tenant-gate.example.com", "1 tenant-gate.example.com 443 /socket"},
          Row{"wss://h/a/b/?x=1#f", "1 h 443 /a/b/socket"}, Row{"ws://[::1]:9/gate", "0 ::1 9 /gate/socket"},
          Row{"http://h/", "0 h 80 /socket"}, Row{"http://h:80x/", ""}, Row{"ftp://h/", ""}, Row{"h:80/gate", ""},
          Row{"http:///gate", ""}, Row{"http://user@h/", ""}}) {
        const auto endpoint = socketEndpoint(row.url);
        const std::string found = !endpoint ? ""
                                            : std::to_string(endpoint->tls) + " " + endpoint->host + " " +
                                                  endpoint->port + " " + endpoint->target;
        EXPECT_EQ(found, row.expected) << row.url;
    }
}

TEST(ServiceFrames, ReadsWelcomeAndNotificationsAndSkipsTheRest)
{
    EXPECT_EQ(parseServiceFrame(R"({"type":"welcome"})")->kind, ServiceFrame::Kind::Welcome);
    const auto frame = parseServiceFrame(R"({"type":"notification","index":7,"message":{"actions":[]}})");
    ASSERT_TRUE(frame);
    EXPECT_EQ(frame->kind, ServiceFrame::Kind::Notification);
    EXPECT_EQ(frame->index, 7);
    EXPECT_EQ(frame->message, R"({"actions":[]})");
    for (const char* skipped :
         {"not json", "[]", R"({"type":"later"})", R"({"type":7})", R"({"type":"notification","message":{}})",
          R"({"type":"notification","index":1.5,"message":{}})",
          R"({"type":"notification","index":1,"message":"text"})"}) {
        EXPECT_FALSE(parseServiceFrame(skipped)) << skipped;
    }
    EXPECT_NO_THROW(nlohmann::json::parse(helloFrame("bad \xC3", "t", -1))) << "sent, for the service to refuse";
}

TEST(Backoff, DoublesUpToItsCapWithJitterAndStartsOverAfterReset)
{
    Backoff backoff(100ms, 800ms);
    for (const auto ceiling : {100ms, 200ms, 400ms, 800ms, 800ms}) {
        const auto pause = backoff.next();
        EXPECT_GE(pause, ceiling / 2);
        EXPECT_LE(pause, ceiling);
    }
    backoff.reset();
    EXPECT_LE(backoff.next(), 100ms);
}

} // namespace
} // namespace com::vantorel::lithmar::detail
