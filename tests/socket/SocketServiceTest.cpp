// The socket client against the local platform's notification socket. The
// listeners are process-wide: CTest runs each test in a process of its own.

#include <lithmar/exchange/notification/NotificationDispatcher.h>
#include <lithmar/exchange/notification/PendingResults.h>
#include <lithmar/exchange/notification/SocketService.h>

#include <tools/local/exchange/LocalPlatform.h>
#include <tools/local/exchange/notification/NotificationSocket.h>

#include "TestCertificate.h"

#include <boost/asio/ssl/context.hpp>

#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

#include <chrono>
#include <condition_variable>
#include <cstdlib>
#include <fstream>
#include <mutex>
#include <optional>
#include <vector>

namespace sdk = com::vantorel::lithmar;
namespace local = ::lithmar::local;
using namespace std::chrono_literals;

namespace {

constexpr auto kGenerous = 30s;

// What the callback received: the job ids of the notifications, "null" for
// the null message.
struct Received {
    std::mutex mutex;
    std::condition_variable changed;
    std::vector<std::string> jobs;
};

Received& received()
{
    static Received instance;
    return instance;
}

void record(const char* message)
{
    sdk::dispatchNotification(message);
    std::string job = "null";
    if (message != nullptr) {
        const auto parsed = nlohmann::json::parse(message);
        job = parsed.at("actions").at(0).at("options").at("event").at("options").at("data").at("jobId");
    }
    std::lock_guard<std::mutex> lock(received().mutex);
    received().jobs.push_back(job);
    received().changed.notify_all();
}

std::vector<std::string> waitForJobs(std::size_t count)
{
    std::unique_lock<std::mutex> lock(received().mutex);
    received().changed.wait_for(lock, kGenerous, [count] { return received().jobs.size() >= count; });
    return received().jobs;
}

class SocketServiceTest : public testing::Test {
protected:
    void SetUp() override
    {
        platform.start();
        url = platform.baseUrl() + "/lithmar-gate";
    }

    bool connect(const char* ticket, int timeout)
    {
        return sdk::SocketService::Connect("LOCAL_USER", ticket, url.c_str(), timeout, record);
    }
    void publish(const std::string& job) { platform.publish("LOCAL_USER", R"({"jobId":")" + job + R"("})"); }

    local::LocalPlatform platform;
    std::string url;
};

using Jobs = std::vector<std::string>;

TEST_F(SocketServiceTest, HandsEachNotificationToTheCallbackInTheDispatchersFormat)
{
    publish("before");
    ASSERT_TRUE(connect("LOCAL_TICKET", 3));
    EXPECT_EQ(waitForJobs(1), Jobs{"before"}) << "published in the minute before connecting";
    publish("after");
    EXPECT_EQ(waitForJobs(2), (Jobs{"before", "after"}));
    EXPECT_TRUE(sdk::PendingResults().contains(L"after"));
    EXPECT_EQ(waitForJobs(3), (Jobs{"before", "after", "null"})) << "once, at the deadline";
    EXPECT_TRUE(sdk::PendingResults().entries().empty()) << "the null message cleared the table";
}

TEST_F(SocketServiceTest, ConnectingAgainExtendsTheOneConnection)
{
    ASSERT_TRUE(connect("LOCAL_TICKET", 2));
    for (int i = 0; i < 5; ++i) {
        ASSERT_TRUE(connect("LOCAL_TICKET", 3));
    }
    publish("job");
    EXPECT_EQ(waitForJobs(2), (Jobs{"job", "null"})) << "one connection, so one delivery and one end";
}

TEST_F(SocketServiceTest, AWrongTicketIsRefusedAndEndsTheListener)
{
    publish("secret");
    ASSERT_TRUE(connect("WRONG", 60));
    EXPECT_EQ(waitForJobs(1), Jobs{"null"});
    ASSERT_TRUE(connect("LOCAL_TICKET", 2)) << "a new listener with a good ticket";
    EXPECT_EQ(waitForJobs(3), (Jobs{"null", "secret", "null"}));
}

TEST_F(SocketServiceTest, ADroppedConnectionComesBackWithoutLosingNotifications)
{
    ASSERT_TRUE(connect("LOCAL_TICKET", 10));
    publish("first");
    ASSERT_EQ(waitForJobs(1), Jobs{"first"});
    platform.stop();
    publish("while-down-1");
    publish("while-down-2");
    platform.start();
    EXPECT_EQ(waitForJobs(3), (Jobs{"first", "while-down-1", "while-down-2"}));
    publish("after");
    EXPECT_EQ(waitForJobs(5), (Jobs{"first", "while-down-1", "while-down-2", "after", "null"}));
}

// The notification socket alone, over TLS with a certificate made for the test.
class SocketServiceTls : public testing::Test {
protected:
    void SetUp() override
    {
        auto tls = std::make_shared<boost::asio::ssl::context>(boost::asio::ssl::context::tls_server);
        tls->use_certificate(boost::asio::buffer(certificate.certificatePem), boost::asio::ssl::context::pem);
        tls->use_private_key(boost::asio::buffer(certificate.privateKeyPem), boost::asio::ssl::context::pem);
        local::ServerOptions options;
        options.tls = tls;
        server.emplace(options);
        local::installNotificationSocket(*server, "/lithmar-gate", queues,
                                         [](const std::string& user, const std::string& ticket) {
                                             return user == "LOCAL_USER" && ticket == "LOCAL_TICKET";
                                         });
        server->start();
        queues.publish("LOCAL_USER", R"({"jobId":"secure"})");
    }

    // OpenSSL's default trust store takes this file in (the process is the
    // test's own).
    void trustTheCertificate()
    {
        const std::string path = testing::TempDir() + "lithmar-socket-test-ca.pem";
        std::ofstream(path) << certificate.certificatePem;
        setenv("SSL_CERT_FILE", path.c_str(), 1);
    }

    bool connect()
    {
        const std::string url = "https://127.0.0.1:" + std::to_string(server->port()) + "/lithmar-gate";
        return sdk::SocketService::Connect("LOCAL_USER", "LOCAL_TICKET", url.c_str(), 2, record);
    }

    const sdk::testing::TestCertificate certificate = sdk::testing::makeLoopbackCertificate();
    local::NotificationQueues queues;
    std::optional<local::HttpServer> server;
};

TEST_F(SocketServiceTls, ListensOverWssToAServerItTrusts)
{
    trustTheCertificate();
    ASSERT_TRUE(connect());
    EXPECT_EQ(waitForJobs(2), (Jobs{"secure", "null"}));
}

TEST_F(SocketServiceTls, NeverTalksToAServerItDoesNotTrust)
{
    ASSERT_TRUE(connect());
    EXPECT_EQ(waitForJobs(1), Jobs{"null"});
}

TEST(SocketServiceArguments, RefusesWhatItCannotListenWith)
{
    const auto callback = [](const char*) {};
    EXPECT_FALSE(sdk::SocketService::Connect(nullptr, "t", "http://127.0.0.1:1/gate", 5, callback));
    EXPECT_FALSE(sdk::SocketService::Connect("u", "", "http://127.0.0.1:1/gate", 5, callback));
    EXPECT_FALSE(sdk::SocketService::Connect("u", "t", "ftp://127.0.0.1:1/gate", 5, callback));
    EXPECT_FALSE(sdk::SocketService::Connect("u", "t", "http://127.0.0.1:1/gate", 0, callback));
    EXPECT_FALSE(sdk::SocketService::Connect("u", "t", "http://127.0.0.1:1/gate", 5, nullptr));
}

} // namespace
