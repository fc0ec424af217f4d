// Each operation's request and its name in its errors; the API object's settings, copies and session cookies.

#include "ApiTestServer.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <functional>

using namespace apitest;

namespace {

using Api = api::DataExchangeApi;

// Calls `operation` with the command read from the JSON text that its request must carry.
template <typename Command, typename Task>
std::function<void(Api&, const char*)> with(Task (Api::*operation)(std::shared_ptr<Command>))
{
    return [operation](Api& api, const char* body) {
        auto command = std::make_shared<Command>();
        auto json = web::json::value::parse(body);
        command->fromJson(json);
        (api.*operation)(command).get();
    };
}

struct OperationCase {
    const char* name;
    std::function<void(Api&, const char* body)> call;
    const char* requests; // after the base path, ", " between two requests
    const char* body;     // of the last request
};

const OperationCase kOperations[] = {
    {"createSite", with(&Api::createSite), "POST /common/sites/v1", R"({"siteName":"North Écorce"})"},
    // The identifier goes into the path as it is.
    {"getSite", [](Api& api, auto) { api.getSite(L"a/b").get(); }, "GET /common/sites/v1/a/b", ""},
    {"getSites", [](Api& api, auto) { api.getSites().get(); },
     "GET /common/sites/v1?xrequestedwith=xmlhttprequest, GET /common/sites/v1", ""},
    {"getCrs", [](Api& api, auto) { api.getCrs().get(); }, "GET /common/crs/v1", ""},
    {"downloadGeologicModel", [](Api& api, auto) { api.downloadGeologicModel(L"m1", L"", L"", L"").get(); },
     "GET /geology/geologicmodels/v1/m1?crs=&detailLevel=&format=", ""},
    {"downloadGeologicFeature",
     [](Api& api, auto) { api.downloadGeologicFeature(L"f 1", L"csv", L"high", L"EPSG:4326").get(); },
     "GET /geology/geologicfeatures/v1/f%201?crs=EPSG:4326&detailLevel=high&format=csv", ""},
    {"startUpload", with(&Api::startUpload), "POST /upload/v1/start", R"({"numberOfFiles":0})"},
    {"finishUpload", with(&Api::finishUpload), "POST /upload/v1/finish",
     R"({"sessionId":"s1","fcsReceipts":[{"fcsStreamId":"a","fcsReciept":"<ok/>"}]})"},
    {"uploadBoreholes", with(&Api::uploadBoreholes), "POST /exploration/boreholes/v1",
     R"({"sessionId":"s1","fcsStreamIds":["a","b"],"siteId":"x"})"},
    {"uploadBoreholeIntervalSet", with(&Api::uploadBoreholeIntervalSet), "POST /exploration/boreholeintervalsets/v1",
     R"({"fcsStreamId":"a"})"},
    {"uploadFieldObservation", with(&Api::uploadFieldObservation), "POST /exploration/fieldobservations/v1",
     R"({"sessionId":"s1","name":"obs"})"},
    {"uploadGeo", with(&Api::uploadGeo), "POST /exploration/geos/v1", R"({"sessionId":"s1","name":"geo"})"},
    {"uploadTerrain", with(&Api::uploadTerrain), "POST /exploration/terrains/v1",
     R"({"sessionId":"s1","name":"terrain"})"},
};

class Operations : public testing::TestWithParam<OperationCase> {};

TEST_P(Operations, SendTheirRequestNameThemselvesInErrorsAndOnlyUploadsTrackAJob)
{
    const auto& operation = GetParam();
    ApiTestServer server;
    Api api(server.client());
    const auto outcome = [&] { return outcomeOf([&] { operation.call(api, operation.body); }); };
    EXPECT_EQ(outcome(), "OK");

    const auto requests = server.exchangeRequests();
    std::string sent;
    for (const auto& request : requests) {
        sent += (sent.empty() ? "" : ", ") + request.method + " " + request.target.substr(10); // after "/svc-xchng"
    }
    EXPECT_EQ(sent, operation.requests);
    const auto& last = requests.back();
    EXPECT_EQ(last.body, operation.body);
    EXPECT_EQ(last.header("Accept") + " " + last.header("Content-Type") + " " + last.header("X-Host-Application"),
              "application/json application/json modeller 7")
        << "Content-Type on GETs as well";
    EXPECT_TRUE(last.hasHeader("Cookie") && last.header("Cookie").empty()) << "no session cookie yet";

    server.answerWith({500, "Internal Server Error", {}, "boom"});
    EXPECT_EQ(outcome(), std::string("500 error calling ") + operation.name + ": Internal Server Error | boom");
    // The siblings here name no user: an upload cannot track its job.
    const bool upload = sent.find(" /exploration/") != std::string::npos;
    server.answerWith(local::Response::json(200, R"({"jobId":"job-1"})"));
    EXPECT_EQ(outcome(), upload ? "500 Unable to track result via notification. | <none>" : "OK");
    server.server.clearRequests(); // an upload looks the user up before it sends anything
    server.server.script("GET", "/svc-dash/{rest...}", local::Fault::respond(local::Response::error(503, "down")),
                         local::FaultScript::kForever);
    EXPECT_EQ(outcome().substr(0, 3), upload ? "503" : "OK");
    EXPECT_EQ(server.exchangeRequests().empty(), upload);
}

INSTANTIATE_TEST_SUITE_P(All, Operations, testing::ValuesIn(kOperations),
                         [](const auto& param) { return std::string(param.param.name); });

TEST(ApiObject, KeepsItsSettingsAndTheSessionCookiesOfSuccessfulAnswersAndCopiesGetTheirOwn)
{
    ApiTestServer server;
    auto client = server.client();
    client->getConfiguration()->getDefaultHeaders()[L"Cookie"] = L"theme=dark";
    Api api(client);
    EXPECT_EQ(api.getAsyncResponseTimeOut(), 3600);
    api.setAsyncResponseTimeOut(-5);
    api.setServiceUrls({{"Brevane", "https://dash.example"}, {"tidewell", "https://gate.example"}});
    api.setServiceUrls({{"Maraquil", "https://dirx.example"}});
    const auto answerSetting = [&](int status, const std::string& session) {
        auto response = local::Response::json(status, "{}");
        response.headers.push_back({"Set-Cookie", "JSESSIONID=" + session + "; Path=/; HttpOnly"});
        server.answerWith(response);
    };
    answerSetting(200, "first");
    api.getCrs().get();
    answerSetting(500, "bad");
    EXPECT_THROW(api.getCrs().get(), sdk::ApiException);
    Api copy = api;
    Api assigned(nullptr);
    assigned = api;
    api.setAsyncResponseTimeOut(99);
    api.setServiceUrls({});
    EXPECT_TRUE(api.getServiceUrls().empty());
    for (const Api* other : {&copy, &assigned}) {
        EXPECT_EQ(other->getAsyncResponseTimeOut(), -5);
        EXPECT_EQ(other->getServiceUrls(), (std::map<std::string, std::string>{{"Maraquil", "https://dirx.example"}}));
        EXPECT_EQ(other->getApiClient(), client);
        EXPECT_EQ(other->getSessionCookie(), L"JSESSIONID=first");
    }
    answerSetting(200, "second");
    copy.getCrs().get();
    EXPECT_EQ(copy.getSessionCookie(), L"JSESSIONID=second");
    EXPECT_EQ(api.getSessionCookie(), L"JSESSIONID=first");

    const auto requests = server.server.requests();
    ASSERT_EQ(requests.size(), 3u);
    EXPECT_EQ(requests[0].header("Cookie"), "theme=dark");
    EXPECT_EQ(requests[1].header("Cookie"), "theme=dark;JSESSIONID=first") << "merged with the default header";
    EXPECT_EQ(requests[2].header("Cookie"), "theme=dark;JSESSIONID=first") << "the failed answer's cookie was not kept";
    EXPECT_THAT([] { (void)Api(nullptr).getCrs(); },
                testing::ThrowsMessage<std::invalid_argument>(testing::HasSubstr("built without an ApiClient")));
}

} // namespace
