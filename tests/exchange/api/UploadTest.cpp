// The upload chain's rules (every upload runs them), and in platform mode a result pushed through the socket.

#include "ApiTestServer.h"

#include <lithmar/exchange/api/detail/UploadTracking.h>

#include <tests/support/Client.h>

#include <gtest/gtest.h>

#include <cstdlib>

using namespace apitest;
namespace test = ::lithmar::test;

namespace {

class UploadRules : public testing::Test {
protected:
    // The result as JSON text, or the outcome of the ApiException.
    std::string upload()
    {
        std::string json;
        const auto outcome = outcomeOf([&] {
            json = api.uploadBoreholes(std::make_shared<model::BoreholeUploadCommand>()).get()->toJson().serialize();
        });
        return outcome == "OK" ? json : outcome;
    }

    ApiTestServer server;
    api::DataExchangeApi api{server.client()};
};

const char* const kUntracked = "500 Unable to track result via notification. | <none>";

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
    auto upload = exchange.uploadTerrain(terrain(exchange, L"Lidar"));

    const auto jobs = queuedJobs(platform, 1);
    ASSERT_EQ(jobs.size(), 1u);
    platform.publish("ada", R"({"result":"SUCCESS","id":"ter-1","jobId":")" + jobs[0].id + "\"}");
    const auto result = upload.get();
    EXPECT_EQ(result->getResult() + L" " + result->getId() + L" " + result->getJobId(),
              L"SUCCESS ter-1 " + sdk::fromUtf8(jobs[0].id));
}

} // namespace
