// The listeners and what the callback received are process-wide: CTest runs
// each test in a process of its own.

#include <lithmar/exchange/notification/NotificationDispatcher.h>
#include <lithmar/exchange/notification/PendingResults.h>
#include <lithmar/socket/SocketService.h>

#include <tools/local/exchange/notification/NotificationSocket.h>
#include <tools/local/platform/LocalPlatform.h>

#include <tests/support/Certificates.h>

#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

#include <condition_variable>
#include <cstdlib>
#include <fstream>
#include <mutex>

namespace sdk = com::vantorel::lithmar;
namespace local = ::lithmar::local;
namespace test = ::lithmar::test;
using Jobs = std::vector<std::string>;

namespace {

std::mutex mutex;
std::condition_variable changed;
Jobs received; // the job ids of the notifications, "null" for the null message

void record(const char* message)
{
    sdk::dispatchNotification(message);
    const nlohmann::json::json_pointer job("/actions/0/options/event/options/data/jobId");
    const std::lock_guard<std::mutex> lock(mutex);
    received.push_back(message == nullptr ? "null" : nlohmann::json::parse(message).at(job).get<std::string>());
    changed.notify_all();
}

Jobs waitForJobs(std::size_t count)
{
    std::unique_lock<std::mutex> lock(mutex);
    changed.wait_for(lock, std::chrono::seconds(30), [count] { return received.size() >= count; });
    return received;
}

bool listenAt(const std::string& url, int timeout, const char* user = "LOCAL_USER")
{
    return sdk::SocketService::Connect(user, "LOCAL_TICKET", url.c_str(), timeout, record);
}

// The end-to-end flow: one connection however often the caller connects,
// each notification once, a dropped connection resumed after the last one.
TEST(SocketServiceTest, DeliversEachNotificationOnceAcrossADroppedConnectionThenEnds)
{
    local::LocalPlatform platform;
    platform.start();
    const auto publish = [&](const std::string& job) { platform.publish("LOCAL_USER", R"({"jobId":")" + job + "\"}"); };
    publish("before");
    for (const int timeout : {2, 10, 3}) {
        ASSERT_TRUE(listenAt(platform.baseUrl() + "/lithmar-gate", timeout));
    }
    ASSERT_EQ(waitForJobs(1), Jobs{"before"}) << "published in the minute before connecting";
    EXPECT_TRUE(sdk::PendingResults().contains(L"before")) << "handed over in the dispatcher's format";
    platform.stop();
    publish("while-down-1");
    publish("while-down-2");
    platform.start();
    EXPECT_EQ(waitForJobs(3), (Jobs{"before", "while-down-1", "while-down-2"}));
    publish("after");
    EXPECT_EQ(waitForJobs(5), (Jobs{"before", "while-down-1", "while-down-2", "after", "null"})) << "null once, last";
    EXPECT_TRUE(sdk::PendingResults().entries().empty()) << "the null message cleared the table";
}

TEST(SocketServiceCloseCodes, RefusalsEndTheListenerAtOnceOtherClosesAreRetried)
{
    for (const std::uint16_t code : {4400, 4401, 4000}) {
        SCOPED_TRACE(code);
        local::HttpServer server;
        server.webSocket("/gate/socket",
                         {nullptr, nullptr,
                          [code](local::WebSocketSession& session, std::string) { session.close(code); }, nullptr});
        server.start();
        const std::size_t before = waitForJobs(0).size();
        ASSERT_TRUE(listenAt(server.baseUrl() + "/gate", code == 4000 ? 5 : 60));
        EXPECT_EQ(waitForJobs(before + 1).size(), before + 1)
            << "the null message, for a refusal long before the deadline";
        EXPECT_EQ(server.requests().size() > 1, code == 4000) << "connected again after an ordinary close only";
        EXPECT_EQ(server.requests().at(0).header("User-Agent"), "lithmar-socket");
    }
}

TEST(SocketServiceTls, TalksOnlyToATrustedServerUnderItsOwnName)
{
    const test::Certificate certificate = test::makeLoopbackCertificate();
    local::ServerOptions options;
    options.tls = test::serverTls(certificate);
    // The queues outlive the server: its sessions use them until it stops.
    local::NotificationQueues queues;
    local::HttpServer server(options);
    local::installNotificationSocket(server, "/gate", queues, [](const auto&, const auto&) { return true; });
    server.start();
    const std::string port = std::to_string(server.port());
    // A user of its own for each listener, each with a notification published
    // just before it connects: well inside the replay window of a client that
    // starts afresh, however slow the machine.
    queues.publish("first", R"({"jobId":"untrusted"})");
    ASSERT_TRUE(listenAt("https://127.0.0.1:" + port + "/gate", 2, "first"));
    EXPECT_EQ(waitForJobs(1), Jobs{"null"}) << "not trusted";
    // OpenSSL's default trust store takes this file in (the process is the test's own).
    const std::string path = testing::TempDir() + "lithmar-socket-test-ca.pem";
    std::ofstream(path) << certificate.certificatePem;
    setenv("SSL_CERT_FILE", path.c_str(), 1);
    queues.publish("second", R"({"jobId":"misnamed"})");
    ASSERT_TRUE(listenAt("wss://localhost:" + port + "/gate", 2, "second"));
    EXPECT_EQ(waitForJobs(2), (Jobs{"null", "null"})) << "trusted, but made out for another name";
    queues.publish("third", R"({"jobId":"secure"})");
    ASSERT_TRUE(listenAt("https://127.0.0.1:" + port + "/gate", 4, "third"));
    EXPECT_EQ(waitForJobs(4), (Jobs{"null", "null", "secure", "null"}));
}

TEST(SocketServiceArguments, RefusesWhatItCannotListenWith)
{
    const auto callback = [](const char*) {};
    const char* url = "http://127.0.0.1:1/gate";
    EXPECT_FALSE(sdk::SocketService::Connect(nullptr, "t", url, 5, callback));
    EXPECT_FALSE(sdk::SocketService::Connect("u", "", url, 5, callback));
    EXPECT_FALSE(sdk::SocketService::Connect("u", "t", "ftp://127.0.0.1:1/gate", 5, callback));
    EXPECT_FALSE(sdk::SocketService::Connect("u", "t", url, 0, callback));
    EXPECT_FALSE(sdk::SocketService::Connect("u", "t", url, 5, nullptr));
}

} // namespace
