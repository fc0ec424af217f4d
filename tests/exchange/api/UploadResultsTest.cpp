// What the five uploads make of their first answer when nothing can be
// awaited, and how failures of the steps before the upload stop it before
// anything is sent. The waits themselves are tried against the local
// platform (UploadWaitPort8080Test.cpp).

#include "ApiTestServer.h"

#include <lithmar/exchange/api/detail/UploadTracking.h>

#include <gtest/gtest.h>

#include <functional>
#include <iterator>

using namespace apitest;

namespace {

struct Upload {
    const char* name;
    const char* path;
    // Calls the upload with a small command; yields the result as JSON text.
    std::function<pplx::task<std::string>(api::DataExchangeApi&)> call;
};

template <typename Command, typename Result>
std::function<pplx::task<std::string>(api::DataExchangeApi&)>
calling(pplx::task<std::shared_ptr<Result>> (api::DataExchangeApi::*operation)(std::shared_ptr<Command>))
{
    return [operation](api::DataExchangeApi& api) {
        auto command = std::make_shared<Command>();
        command->setSessionId(L"s1");
        return (api.*operation)(command).then(
            [](std::shared_ptr<Result> result) { return result->toJson().serialize(); });
    };
}

const Upload kUploads[] = {
    {"uploadBoreholes", "/exploration/boreholes/v1", calling(&api::DataExchangeApi::uploadBoreholes)},
    {"uploadBoreholeIntervalSet", "/exploration/boreholeintervalsets/v1",
     calling(&api::DataExchangeApi::uploadBoreholeIntervalSet)},
    {"uploadFieldObservation", "/exploration/fieldobservations/v1",
     calling(&api::DataExchangeApi::uploadFieldObservation)},
    {"uploadGeo", "/exploration/geos/v1", calling(&api::DataExchangeApi::uploadGeo)},
    {"uploadTerrain", "/exploration/terrains/v1", calling(&api::DataExchangeApi::uploadTerrain)},
};

sdk::ApiException failureOf(pplx::task<std::string> task)
{
    try {
        task.get();
    } catch (const sdk::ApiException& error) {
        return error;
    }
    throw std::runtime_error("the upload did not fail with ApiException");
}

class UploadResults : public testing::TestWithParam<Upload> {
protected:
    std::string upload() { return GetParam().call(api).get(); }

    ApiTestServer server;
    api::DataExchangeApi api{server.client()};
};

TEST_P(UploadResults, AnAnswerWithoutAJobIsFinal)
{
    server.answerWith(local::Response::json(200, R"({"result":"IMPORTED","trackingNumber":"t-1"})"));
    EXPECT_EQ(upload(), R"({"result":"IMPORTED","trackingNumber":"t-1"})");
    EXPECT_EQ(server.only().target, std::string(ApiTestServer::kBasePath) + GetParam().path);
}

TEST_P(UploadResults, AFullQueueIsFinalEvenWhenNothingCouldBeTracked)
{
    server.answerWith(local::Response::json(200, R"({"result":"QUEUE_FULL","jobId":"QUEUE_FULL"})"));
    EXPECT_EQ(upload(), R"({"result":"QUEUE_FULL","jobId":"QUEUE_FULL"})");
}

TEST_P(UploadResults, AJobWithoutAUserCannotBeTracked)
{
    // "queue_full" is not the service's word for a refused job: it names a job.
    for (const char* jobId : {"job-1", "queue_full", "QUEUE_FULL "}) {
        server.answerWith(local::Response::json(200, std::string(R"({"jobId":")") + jobId + "\"}"));
        const auto error = failureOf(GetParam().call(api));
        EXPECT_EQ(error.error_code().value(), 500) << jobId;
        EXPECT_EQ(error.getMessage(), L"Unable to track result via notification.");
        EXPECT_EQ(error.getContent(), nullptr);
    }
}

TEST_P(UploadResults, AJobWithoutATicketCannotBeTracked)
{
    // A login answer whose Location ends in "=" carries an empty ticket.
    auto login = local::Response::json(200, R"({"platforms":[]})");
    login.headers.push_back({"Location", "http://login.example/?ticket="});
    server.answerSessionWith(local::Response::json(200, R"({"login":"ana"})"), login);
    server.answerWith(local::Response::json(200, R"({"jobId":"job-1"})"));
    EXPECT_EQ(failureOf(GetParam().call(api)).getMessage(), L"Unable to track result via notification.");
}

TEST_P(UploadResults, AFailedUserLookupStopsTheUploadBeforeItIsSent)
{
    server.answerSessionWith(local::Response::error(503, "dashboard down"),
                             local::Response::json(200, R"({"platforms":[]})"));
    EXPECT_EQ(failureOf(GetParam().call(api)).error_code().value(), 503);
    EXPECT_TRUE(server.exchangeRequests().empty());
}

TEST_P(UploadResults, AnUnreadableDirectoryStopsTheUploadBeforeItIsSent)
{
    server.answerSessionWith(local::Response::json(200, "{}"), local::Response::json(200, "not json"));
    EXPECT_THROW(GetParam().call(api).get(), web::json::json_exception);
    EXPECT_TRUE(server.exchangeRequests().empty());
}

TEST_P(UploadResults, AnUnreachableUserServiceStopsTheUploadBeforeItIsSent)
{
    // The map wins over the suffix rule; nothing listens on port 1.
    api.setServiceUrls({{"Brevane", "http://127.0.0.1:1"}});
    EXPECT_ANY_THROW(GetParam().call(api).get());
    EXPECT_TRUE(server.exchangeRequests().empty());
}

INSTANTIATE_TEST_SUITE_P(AllUploads, UploadResults, testing::ValuesIn(kUploads),
                         [](const auto& param) { return std::string(param.param.name); });

TEST(UploadTracking, FindsTheSiblingServicesFromTheBaseUrlAndTheMap)
{
    ApiTestServer server;
    api::DataExchangeApi exchange(server.client());
    exchange.setServiceUrls({{"Maraquil", server.server.baseUrl() + "/elsewhere-dirx"}, {"Brevane", ""}});
    // The catch-all answer serves the directory found through the map, and the upload.
    server.answerWith(local::Response::json(200, R"({"platforms":[]})"));
    exchange.uploadBoreholes(nullptr).get();

    std::vector<std::string> targets;
    for (const auto& request : server.server.requests()) {
        targets.push_back(request.method + " " + request.target);
    }
    const std::string directory = "/elsewhere-dirx/vireon/resources/AppsMngt/api/v1/services";
    EXPECT_EQ(targets, (std::vector<std::string>{"GET /svc-dash/api/users/current", "GET " + directory,
                                                 "GET " + directory, "POST /svc-xchng/exploration/boreholes/v1"}));
}

TEST(UploadTracking, NarrowsTheBaseUrlByCuttingEachCodeUnitToItsLowByte)
{
    EXPECT_EQ(api::detail::narrowServiceUrl(L"http://h-xchng/x"), "http://h-xchng/x");
    EXPECT_EQ(api::detail::narrowServiceUrl(L"http://\u0141\u00e9/"), "http://A\xe9/");
}

} // namespace
