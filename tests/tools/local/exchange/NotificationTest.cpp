// The notification service: per-user queues, the poll endpoint's index
// rules, publishing by hand, and the WebSocket endpoint (hello, refusals,
// pushes to every connection, resuming after an index).

#include <tests/support/Platform.h>
#include <tests/support/WebSocketClient.h>

#include <tools/local/exchange/notification/PollEndpoint.h>

#include <gmock/gmock.h>

#include <numeric>
#include <thread>

namespace lithmar::test {
namespace {

using namespace local;
using ::testing::HasSubstr;

// What the wire test (below) cannot reach: a full queue and an unknown user.
TEST(NotificationQueues, KeepWhatAPollingClientCanReadAndAnswerEachIndex)
{
    NotificationQueues queues({2, std::chrono::seconds(60)}); // index 0 falls out when 2 comes
    EXPECT_THROW(queues.publish("LOCAL_USER", "42"), std::invalid_argument) << "it would read as an index";
    EXPECT_THROW(queues.publish("", "{}"), std::invalid_argument);
    for (const char* payload : {R"({"jobId":"a"})", R"({"jobId":"b"})", R"({"jobId":"c"})"}) {
        queues.publish("LOCAL_USER", payload);
    }
    EXPECT_EQ(Json({pollAnswer(queues, "LOCAL_USER", -1), pollAnswer(queues, "LOCAL_USER", 0),
                    pollAnswer(queues, "LOCAL_USER", 1), pollAnswer(queues, "nobody", 5)}),
              Json({R"("1")", R"("1")", R"("{\"jobId\":\"b\"}")", R"("0")"}));
}

TEST(NotificationQueues, ASubscriberGetsEveryNotificationOnceInOrderWhilePublishingGoesOn)
{
    NotificationQueues queues;
    constexpr int kCount = 300;
    std::thread publisher([&] {
        for (int i = 0; i < kCount; ++i) {
            queues.publish("u", "{\"jobId\":\"" + std::to_string(i) + "\"}");
        }
    });
    std::mutex mutex;
    std::vector<std::int32_t> seen;
    const auto id = queues.subscribe("u", -1, [&](const Notification& n) {
        std::lock_guard<std::mutex> lock(mutex);
        seen.push_back(n.index);
    });
    publisher.join();
    queues.unsubscribe(id);
    queues.publish("u", R"({"jobId":"after"})");
    std::vector<std::int32_t> expected(kCount);
    std::iota(expected.begin(), expected.end(), 0);
    EXPECT_EQ(seen, expected);
}

std::string hello(const std::string& user, const std::string& ticket, int after)
{
    return Json{{"type", "hello"}, {"user", user}, {"ticket", ticket}, {"after", after}}.dump();
}

LocalPlatformOptions withPollEndpoint()
{
    LocalPlatformOptions options = endpointsOnly();
    options.pollPort = 0;
    return options;
}

class Notifications : public PlatformTest {
protected:
    Notifications() : PlatformTest(withPollEndpoint()) {}

    HttpReply poll(const std::string& index) { return httpCall(platform.pollPort(), "GET", kPollPath + index); }
    Json publish(const std::string& body)
    {
        return httpCall(platform.port(), "POST", "/_control/notifications", {{"Content-Type", "application/json"}},
                        body)
            .json();
    }
    void publishJob(const std::string& user, const std::string& job)
    {
        platform.publish(user, R"({"jobId":")" + job + R"("})");
    }
    std::unique_ptr<WebSocketClient> connect(const std::string& first)
    {
        auto client = std::make_unique<WebSocketClient>(platform.port());
        EXPECT_FALSE(client->open("/lithmar-gate/socket"));
        client->write(first);
        return client;
    }
};

// The frame that carries notification `index` of job `job`.
Json frame(int index, const std::string& job)
{
    const std::string options = R"({"topic":"lithmar.vantor","data":{"jobId":")" + job + "\"}}";
    return Json::parse(R"({"type":"notification","index":)" + std::to_string(index) +
                       R"(,"message":{"actions":[{"options":{"event":{"options":)" + options + "}}}]}}");
}

TEST_F(Notifications, PublishesByHandToThePollEndpointOfTheLocalUser)
{
    EXPECT_EQ(publish(R"({"payload":{"jobId":"job-1","result":"SUCCESS"}})"),
              Json::parse(R"({"result":"OK","index":0})"));
    EXPECT_EQ(publish(R"({"user":"alice","payload":{"jobId":"job-2"}})")["index"], 0) << "a queue per user";
    const HttpReply first = poll("-1");
    EXPECT_EQ(Json({first.status, first.header("Content-Type"), first.body}),
              Json({200, "application/json", R"("0")"}));
    EXPECT_EQ(Json::parse(poll("0").json().get<std::string>()), Json::parse(R"({"jobId":"job-1","result":"SUCCESS"})"));
    EXPECT_EQ(Json({poll("1").body, poll("99999999999").body}), Json({R"("1")", R"("1")"})) << "the next index";
    for (const char* index : {"abc", "1.5", "99999999999999999999"}) {
        EXPECT_TRUE(isError(poll(index), 400)) << index;
    }
}

TEST_F(Notifications, WelcomesAHelloAndPushesEachNotificationToEveryConnectionOfItsUserAfterItsIndex)
{
    publishJob("LOCAL_USER", "a");
    publishJob("LOCAL_USER", "b");
    const auto fresh = connect(hello("LOCAL_USER", "LOCAL_TICKET", -1));
    const auto resuming = connect(hello("LOCAL_USER", "LOCAL_TICKET", 0));
    const auto next = [](WebSocketClient& client) { return Json::parse(client.read().text); };
    const Json welcome = Json({{"type", "welcome"}});
    EXPECT_EQ(Json({next(*fresh), next(*fresh), next(*fresh)}), Json({welcome, frame(0, "a"), frame(1, "b")}))
        << "the last minute's, for a fresh client";
    EXPECT_EQ(Json({next(*resuming), next(*resuming)}), Json({welcome, frame(1, "b")})) << "what came after index 0";

    publishJob("someone-else", "not-yours");
    publishJob("LOCAL_USER", "new");
    EXPECT_EQ(Json({next(*fresh), next(*resuming)}), Json({frame(2, "new"), frame(2, "new")}));
}

TEST_F(Notifications, ClosesWith4400ForAFirstMessageThatIsNotAHelloAnd4401ForAForeignTicket)
{
    const std::pair<std::string, int> refused[] = {
        {"hello", 4400},
        {R"({"type":"hello","ticket":"LOCAL_TICKET"})", 4400},
        {R"({"type":"hello","user":"LOCAL_USER","ticket":"LOCAL_TICKET","after":"x"})", 4400},
        {R"({"type":"subscribe","user":"LOCAL_USER","ticket":"LOCAL_TICKET"})", 4400},
        {hello("LOCAL_USER", "WRONG", -1), 4401},
        {hello("alice", "LOCAL_TICKET", -1), 4401},
    };
    publishJob("LOCAL_USER", "secret");
    publishJob("alice", "secret");
    for (const auto& [first, code] : refused) {
        const auto client = connect(first);
        const WebSocketClient::Message message = client->read();
        EXPECT_EQ(Json({message.text, static_cast<bool>(message.error), client->closeReason().code}),
                  Json({"", true, code}))
            << first << ": no welcome, no notification";
        EXPECT_THAT(std::string(client->closeReason().reason.c_str()), HasSubstr(code == 4400 ? "hello" : "ticket"));
    }
}

} // namespace
} // namespace lithmar::test
