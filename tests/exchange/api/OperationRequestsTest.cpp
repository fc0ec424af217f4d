// Each operation's request as the server receives it, and its typed result.

#include "ApiTestServer.h"

#include <lithmar/exchange/model/BoreholeCollection.h>
#include <lithmar/exchange/model/GeologicModel.h>

#include <gtest/gtest.h>

#include <functional>

using namespace apitest;

namespace {

struct OperationCase {
    const char* name;
    std::function<void(api::DataExchangeApi&)> call;
    const char* method;
    std::string target; // after the base path
    const char* body;   // "" for none
};

std::shared_ptr<model::BoreholeUploadCommand> boreholes()
{
    auto command = std::make_shared<model::BoreholeUploadCommand>();
    command->setSessionId(L"s1");
    command->getFcsStreamIds() = {L"a", L"b"};
    command->setSiteId(L"x");
    return command;
}

template <typename Command>
std::shared_ptr<Command> namedUpload()
{
    auto command = std::make_shared<Command>();
    command->setSessionId(L"s1");
    command->setName(L"n\u00e9");
    return command;
}

const OperationCase kOperations[] = {
    {"createSite",
     [](auto& api) {
         auto command = std::make_shared<model::SiteCreateCommand>();
         command->setSiteName(L"North \u00c9corce");
         api.createSite(command).get();
     },
     "POST", "/common/sites/v1", "{\"siteName\":\"North \xc3\x89" "corce\"}"},
    {"getSite", [](auto& api) { api.getSite(L"s-1").get(); }, "GET", "/common/sites/v1/s-1", ""},
    {"getSiteWithSlash", [](auto& api) { api.getSite(L"a/b").get(); }, "GET", "/common/sites/v1/a/b", ""},
    {"getCrs", [](auto& api) { api.getCrs().get(); }, "GET", "/common/crs/v1", ""},
    {"downloadGeologicModel",
     [](auto& api) { api.downloadGeologicModel(L"m1", L"", L"", L"").get(); }, "GET",
     "/geology/geologicmodels/v1/m1?crs=&detailLevel=&format=", ""},
    {"downloadGeologicFeature",
     [](auto& api) { api.downloadGeologicFeature(L"f 1", L"csv", L"high", L"EPSG:4326").get(); }, "GET",
     "/geology/geologicfeatures/v1/f%201?crs=EPSG:4326&detailLevel=high&format=csv", ""},
    {"startUpload",
     [](auto& api) {
         auto command = std::make_shared<model::StartUploadCommand>();
         command->setNumberOfFiles(0);
         api.startUpload(command).get();
     },
     "POST", "/upload/v1/start", "{\"numberOfFiles\":0}"},
    {"finishUpload",
     [](auto& api) {
         auto command = std::make_shared<model::FinishUploadCommand>();
         command->setSessionId(L"s1");
         auto receipt = std::make_shared<model::FcsReceipt>();
         receipt->setFcsStreamId(L"a");
         receipt->setFcsReciept(L"<ok/>");
         command->getFcsReceipts().push_back(receipt);
         api.finishUpload(command).get();
     },
     "POST", "/upload/v1/finish",
     "{\"sessionId\":\"s1\",\"fcsReceipts\":[{\"fcsStreamId\":\"a\",\"fcsReciept\":\"<ok/>\"}]}"},
    {"uploadBoreholes", [](auto& api) { api.uploadBoreholes(boreholes()).get(); }, "POST",
     "/exploration/boreholes/v1", "{\"sessionId\":\"s1\",\"fcsStreamIds\":[\"a\",\"b\"],\"siteId\":\"x\"}"},
    {"uploadBoreholeIntervalSet",
     [](auto& api) {
         auto command = std::make_shared<model::BoreholeIntervalSetUploadCommand>();
         command->setFcsStreamId(L"a");
         api.uploadBoreholeIntervalSet(command).get();
     },
     "POST", "/exploration/boreholeintervalsets/v1", "{\"fcsStreamId\":\"a\"}"},
    {"uploadFieldObservation",
     [](auto& api) { api.uploadFieldObservation(namedUpload<model::FieldObservationUploadCommand>()).get(); },
     "POST", "/exploration/fieldobservations/v1", "{\"sessionId\":\"s1\",\"name\":\"n\xc3\xa9\"}"},
    {"uploadGeo", [](auto& api) { api.uploadGeo(namedUpload<model::GeoUploadCommand>()).get(); }, "POST",
     "/exploration/geos/v1", "{\"sessionId\":\"s1\",\"name\":\"n\xc3\xa9\"}"},
    {"uploadTerrain", [](auto& api) { api.uploadTerrain(namedUpload<model::TerrainUploadCommand>()).get(); },
     "POST", "/exploration/terrains/v1", "{\"sessionId\":\"s1\",\"name\":\"n\xc3\xa9\"}"},
};

class OperationRequests : public testing::TestWithParam<OperationCase> {};

TEST_P(OperationRequests, ReachTheServerAsSpecified)
{
    ApiTestServer server;
    api::DataExchangeApi api(server.client());
    GetParam().call(api);

    const auto request = server.only();
    EXPECT_EQ(request.method, GetParam().method);
    EXPECT_EQ(request.target, std::string(ApiTestServer::kBasePath) + GetParam().target);
    EXPECT_EQ(request.body, GetParam().body);
    EXPECT_EQ(request.header("Accept"), "application/json");
    EXPECT_EQ(request.header("Content-Type"), "application/json") << "set on GETs as well";
    EXPECT_EQ(request.header("X-Host-Application"), "modeller 7");
    EXPECT_TRUE(request.hasHeader("Cookie"));
    EXPECT_EQ(request.header("Cookie"), "") << "no session cookie yet";
}

INSTANTIATE_TEST_SUITE_P(AllOperations, OperationRequests, testing::ValuesIn(kOperations),
                         [](const auto& testInfo) { return std::string(testInfo.param.name); });

TEST(OperationResults, AreParsedIntoTheirModels)
{
    ApiTestServer server;
    api::DataExchangeApi api(server.client());

    server.answerWith(local::Response::json(
        200, R"({"result":"OK","trackingNumber":"T1","tree":{"type":"Site","id":"s1","name":"North","children":[)"
             R"({"type":"GeologicModel","id":"m1","name":"Model","children":[{"type":"FeatureCollection","id":"fc"}]},)"
             R"({"type":"BoreholeCollection","id":"b","totalItems":"12"},null]}})"));
    const auto site = api.getSite(L"s1").get();
    EXPECT_EQ(site->getTrackingNumber(), L"T1");
    ASSERT_TRUE(site->treeIsSet());
    const auto& children = site->getTree()->getChildren();
    ASSERT_EQ(children.size(), 3u);
    const auto model = std::dynamic_pointer_cast<model::GeologicModel>(children[0]);
    ASSERT_NE(model, nullptr);
    EXPECT_EQ(model->getChildren().at(0)->getId(), L"fc");
    const auto collection = std::dynamic_pointer_cast<model::BoreholeCollection>(children[1]);
    ASSERT_NE(collection, nullptr);
    EXPECT_EQ(collection->getTotalItems(), L"12");
    EXPECT_EQ(children[2], nullptr);

    server.answerWith(local::Response::json(200, R"({"crs":[{"id":"EPSG:4326","name":"WGS 84","unitofmeasure":"degree"}]})"));
    const auto crs = api.getCrs().get();
    ASSERT_EQ(crs->getCrs().size(), 1u);
    EXPECT_EQ(crs->getCrs()[0]->getUnitofmeasure(), L"degree");

    server.answerWith(local::Response::json(200, R"({"sessionId":"u1","fcsFiles":[{"fcsStreamId":"a","fcsFileUrl":"http://h/fcs","fcsFileTicket":"t"}]})"));
    const auto session = api.startUpload(std::make_shared<model::StartUploadCommand>()).get();
    EXPECT_EQ(session->getSessionId(), L"u1");
    EXPECT_EQ(session->getFcsFiles().at(0)->getFcsFileTicket(), L"t");

    server.answerWith(local::Response::json(200, R"({"result":"REFUSED","jobId":"QUEUE_FULL","count":"3"})"));
    const auto upload = api.uploadBoreholes(boreholes()).get();
    EXPECT_EQ(upload->getJobId(), L"QUEUE_FULL");
    EXPECT_EQ(upload->getCount(), L"3");

    server.answerWith(local::Response::json(200, R"({"geologicModelId":"m1","files":[{"name":"m1.csv","data":"x,y\n"}]})"));
    const auto download = api.downloadGeologicModel(L"m1", L"", L"", L"").get();
    EXPECT_EQ(download->getFiles().at(0)->getData(), L"x,y\n");
}

TEST(GetSites, OpensTheSessionWithAFirstRequest)
{
    ApiTestServer server;
    api::DataExchangeApi api(server.client());
    server.answerWith(local::Response::json(200, R"({"sites":[{"id":"1","name":"A"},{"id":"2","name":"B"}]})"));
    const auto sites = api.getSites().get();
    ASSERT_EQ(sites->getSites().size(), 2u);
    EXPECT_EQ(sites->getSites()[1]->getName(), L"B");

    const auto requests = server.server.requests();
    ASSERT_EQ(requests.size(), 2u);
    EXPECT_EQ(requests[0].target, "/svc-xchng/common/sites/v1?xrequestedwith=xmlhttprequest");
    EXPECT_EQ(requests[1].target, "/svc-xchng/common/sites/v1");
    EXPECT_EQ(requests[1].method, "GET");
}

} // namespace
