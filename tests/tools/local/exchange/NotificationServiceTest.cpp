// The notification service: per-user queues, the poll endpoint's index
// rules, publishing by hand, and a poll port that is taken.

#include "PlatformTest.h"

#include <tools/local/exchange/notification/PollEndpoint.h>

#include <gmock/gmock.h>

#include <numeric>
#include <ostream>
#include <thread>

namespace lithmar::local::testing {
namespace {

using ::testing::HasSubstr;

TEST(NotificationQueues, RefusesPayloadsThatAPollingClientCouldNotRead)
{
    NotificationQueues queues;
    for (const char* payload : {"42", "\"job\"", "[1]", "{\"jobId\":", "", "null"}) {
        EXPECT_THROW(queues.publish("LOCAL_USER", payload), std::invalid_argument) << payload;
    }
    EXPECT_THROW(queues.publish("", "{}"), std::invalid_argument);
    EXPECT_EQ(queues.endIndex("LOCAL_USER"), 0);
}

struct PollCase {
    std::int64_t index;
    std::string answer;
};

void PrintTo(const PollCase& poll, std::ostream* os)
{
    *os << "index " << poll.index;
}

class PollAnswer : public ::testing::TestWithParam<PollCase> {};

TEST_P(PollAnswer, IsAPayloadOrTheIndexToAskForNext)
{
    // Keeps two: index 0 has fallen out by the time 2 is published.
    NotificationQueues queues({2, std::chrono::seconds(60)});
    for (const char* payload : {R"({"jobId":"a"})", R"({"jobId":"b"})", R"({"jobId":"c"})"}) {
        queues.publish("LOCAL_USER", payload);
    }
    queues.publish("someone", R"({"jobId":"z"})");
    EXPECT_EQ(pollAnswer(queues, "LOCAL_USER", GetParam().index), GetParam().answer);
}

INSTANTIATE_TEST_SUITE_P(Indexes, PollAnswer,
                         ::testing::Values(PollCase{-1, R"("1")"}, PollCase{-7, R"("1")"}, PollCase{0, R"("1")"},
                                           PollCase{1, R"("{\"jobId\":\"b\"}")"}, PollCase{2, R"("{\"jobId\":\"c\"}")"},
                                           PollCase{3, R"("3")"}, PollCase{99999999999, R"("3")"}));

TEST(NotificationQueues, AnUnknownUserStartsAtZero)
{
    NotificationQueues queues;
    EXPECT_EQ(pollAnswer(queues, "nobody", -1), R"("0")");
    EXPECT_EQ(pollAnswer(queues, "nobody", 5), R"("0")");
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
    std::this_thread::yield();
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

class NotificationService : public PlatformTest {
protected:
    NotificationService() : PlatformTest(withPollPort()) {}

    static LocalPlatformOptions withPollPort()
    {
        LocalPlatformOptions options;
        options.pollPort = 0;
        return options;
    }

    HttpReply poll(const std::string& index)
    {
        return httpCall(platform.pollPort(), "GET", std::string(kPollPath) + index);
    }
    HttpReply publish(const std::string& body)
    {
        return httpCall(platform.port(), "POST", "/_control/notifications", {{"Content-Type", "application/json"}},
                        body);
    }
};

TEST_F(NotificationService, PublishesByHandToThePollEndpoint)
{
    const HttpReply published = publish(R"({"payload":{"jobId":"job-1","result":"SUCCESS"}})");
    ASSERT_EQ(published.status, 200) << published.body;
    EXPECT_EQ(published.json(), Json::parse(R"({"result":"OK","index":0})"));
    EXPECT_EQ(publish(R"({"user":"alice","payload":{"jobId":"job-2"}})").json()["index"], 0) << "a queue per user";

    const HttpReply first = poll("-1");
    EXPECT_EQ(first.status, 200);
    EXPECT_EQ(first.header("Content-Type"), "application/json");
    EXPECT_EQ(first.body, R"("0")");
    EXPECT_EQ(Json::parse(poll("0").json().get<std::string>()), Json::parse(R"({"jobId":"job-1","result":"SUCCESS"})"));
    EXPECT_EQ(poll("1").body, R"("1")");
}

TEST_F(NotificationService, RefusesWhatItCannotPublishOrServe)
{
    for (const char* body :
         {R"({"user":"LOCAL_USER"})", R"({"payload":"text"})", R"({"payload":[1]})", R"({"user":7,"payload":{}})"}) {
        EXPECT_TRUE(isError(publish(body), 400)) << body;
    }
    for (const char* index : {"abc", "1.5", "%2D1", "99999999999999999999"}) {
        EXPECT_TRUE(isError(poll(index), 400)) << index;
    }
    EXPECT_EQ(platform.notifications().endIndex("LOCAL_USER"), 0);
}

TEST(NotificationServicePort, SaysWhenThePollPortIsTakenByAnotherProcess)
{
    HttpServer other;
    other.start();
    LocalPlatformOptions options;
    options.pollPort = other.port();
    LocalPlatform platform(options);
    try {
        platform.start();
        ADD_FAILURE() << "started on a taken port";
    } catch (const std::runtime_error& e) {
        EXPECT_THAT(e.what(), HasSubstr("port " + std::to_string(other.port()) + " is taken by another process"));
    }
}

} // namespace
} // namespace lithmar::local::testing
