// The upload chain's rules (every upload runs it, see OperationsTest.cpp),
// and in platform mode a result pushed through the socket. The waits in
// local mode are tried in UploadWaitPort8080Test.cpp.

#include "ApiTestServer.h"

#include <lithmar/exchange/api/detail/UploadTracking.h>

#include <tests/support/Client.h>

#include <gtest/gtest.h>

#include <cstdlib>
#include <thread>

using namespace apitest;
using namespace std::chrono_literals;
namespace test = ::lithmar::test;

namespace {

class UploadRules : public testing::Test {
protected:
    // The result as JSON text, or the code and message of the ApiException.
    std::string upload()
    {
        try {
            return api.uploadBoreholes(std::make_shared<model::BoreholeUploadCommand>()).get()->toJson().serialize();
        } catch (const sdk::ApiException& error) {
            return std::to_string(error.error_code().value()) + " " + sdk::toUtf8(error.getMessage()) +
                   (error.getContent() ? " (with content)" : "");
        }
    }

    ApiTestServer server;
    api::DataExchangeApi api{server.client()};
};

const char* const kUntracked = "500 Unable to track result via notification.";

TEST_F(UploadRules, DecideOnTheFirstAnswerAndFindTheSiblingServices)
{
    server.answerWith(local::Response::json(200, R"({"result":"QUEUE_FULL","jobId":"QUEUE_FULL"})"));
    EXPECT_EQ(upload(), R"({"result":"QUEUE_FULL","jobId":"QUEUE_FULL"})") << "final, though untracked";
    // Only the exact word says that the service did not take the job.
    for (const char* jobId : {"queue_full", "QUEUE_FULL "}) {
        server.answerWith(local::Response::json(200, std::string(R"({"jobId":")") + jobId + "\"}"));
        EXPECT_EQ(upload(), kUntracked) << jobId;
    }
    // A user, but a login answer whose Location ends in "=": an empty ticket.
    auto login = local::Response::json(200, R"({"platforms":[]})");
    login.headers.push_back({"Location", "http://login.example/?ticket="});
    server.server.script("GET", "/svc-dash/{rest...}",
                         local::Fault::respond(local::Response::json(200, R"({"login":"ana"})")));
    server.server.script("GET", "/svc-dirx/{rest...}", local::Fault::respond(login), 2);
    EXPECT_EQ(upload(), kUntracked);

    server.server.clearRequests();
    server.server.script("GET", "/svc-dirx/{rest...}", local::Fault::respond(local::Response::json(200, "not json")));
    EXPECT_THROW(upload(), web::json::json_exception);
    api.setServiceUrls({{"Brevane", "http://127.0.0.1:1"}}); // the map wins; nothing listens there
    EXPECT_ANY_THROW(upload());
    EXPECT_TRUE(server.exchangeRequests().empty());

    server.server.clearRequests();
    api.setServiceUrls({{"Maraquil", server.server.baseUrl() + "/elsewhere-dirx"}, {"Brevane", ""}});
    // The catch-all answer serves the directory found through the map, and the upload.
    server.answerWith(local::Response::json(200, R"({"platforms":[]})"));
    api.uploadBoreholes(nullptr).get();
    std::vector<std::string> targets;
    for (const auto& request : server.server.requests()) {
        targets.push_back(request.method + " " + request.target);
    }
    const std::string directory = "GET /elsewhere-dirx/vireon/resources/AppsMngt/api/v1/services";
    EXPECT_EQ(targets, (std::vector<std::string>{"GET /svc-dash/api/users/current", directory, directory,
                                                 "POST /svc-xchng/exploration/boreholes/v1"}));
    // The base URL is narrowed by cutting each code unit to its low byte, not encoded.
    EXPECT_EQ(api::detail::narrowServiceUrl(L"http://\u0141\u00e9/"), "http://A\xe9/");
}

TEST(UploadPlatformMode, TheSignedInUsersResultArrivesThroughTheSocket)
{
    auto options = test::platformModeWithOneUser();
    options.jobWorkers = 0; // the test publishes the result
    test::LocalPlatform platform(options);
    platform.start();
    setenv("SSL_CERT_FILE", platform.caCertificate().c_str(), 1); // whom the socket client trusts
    const auto configuration = test::clientConfiguration(platform);
    test::signIn(configuration, platform);
    api::DataExchangeApi exchange(std::make_shared<sdk::ApiClient>(configuration));
    exchange.setAsyncResponseTimeOut(60);

    auto oneFile = std::make_shared<model::StartUploadCommand>();
    oneFile->setNumberOfFiles(1);
    const auto session = exchange.startUpload(oneFile).get();
    auto command = std::make_shared<model::TerrainUploadCommand>();
    command->setSessionId(session->getSessionId());
    command->getFcsStreamIds() = {session->getFcsFiles().at(0)->getFcsStreamId()};
    command->setSiteId(L"site-demo");
    command->setName(L"Lidar");
    auto upload = exchange.uploadTerrain(command);

    std::vector<local::JobRecord> jobs;
    for (int i = 0; i < 1500 && (jobs = platform.store().jobs().jobs()).empty(); ++i) {
        std::this_thread::sleep_for(20ms);
    }
    ASSERT_EQ(jobs.size(), 1u);
    platform.publish("ada", R"({"result":"SUCCESS","id":"ter-1","jobId":")" + jobs[0].id + "\"}");
    const auto result = upload.get();
    EXPECT_EQ(result->getResult(), L"SUCCESS");
    EXPECT_EQ(result->getId(), L"ter-1");
    EXPECT_EQ(result->getJobId(), sdk::fromUtf8(jobs[0].id));
}

} // namespace
