// The exact JSON of every request the service receives and every answer it sends, keys in the order the models
// write them, and how the entries of a site tree are told apart.
#include <lithmar/exchange/model/BoreholeCollection.h>
#include <lithmar/exchange/model/BoreholeIntervalSetUploadCommand.h>
#include <lithmar/exchange/model/BoreholeUploadCommand.h>
#include <lithmar/exchange/model/CancelUploadCommand.h>
#include <lithmar/exchange/model/CreateSiteResult.h>
#include <lithmar/exchange/model/DownloadGeologicFeatureResult.h>
#include <lithmar/exchange/model/DownloadGeologicModelResult.h>
#include <lithmar/exchange/model/FieldObservationUploadCommand.h>
#include <lithmar/exchange/model/FinishUploadCommand.h>
#include <lithmar/exchange/model/GeoUploadCommand.h>
#include <lithmar/exchange/model/GeologicModel.h>
#include <lithmar/exchange/model/GetCRSResult.h>
#include <lithmar/exchange/model/GetSiteResult.h>
#include <lithmar/exchange/model/GetSitesResult.h>
#include <lithmar/exchange/model/PointSampleCollection.h>
#include <lithmar/exchange/model/SiteCreateCommand.h>
#include <lithmar/exchange/model/StartUploadCommand.h>
#include <lithmar/exchange/model/StartUploadResult.h>
#include <lithmar/exchange/model/StaticStructureCollection.h>
#include <lithmar/exchange/model/TerrainCollection.h>
#include <lithmar/exchange/model/TerrainUploadCommand.h>
#include <lithmar/exchange/model/UploadBoreholeIntervalSetResult.h>
#include <lithmar/exchange/model/UploadBoreholesResult.h>
#include <lithmar/exchange/model/UploadFieldObservationResult.h>
#include <lithmar/exchange/model/UploadGeoResult.h>
#include <lithmar/exchange/model/UploadTerrainResult.h>

#include <gtest/gtest.h>

#include <sstream>
#include <typeindex>

namespace {

using namespace com::vantorel::lithmar;
using namespace com::vantorel::lithmar::exploration::model;
using web::json::value;

// Parsed objects keep their keys sorted, so the model meets them out of its own order and writes them back in it.
template <typename Model> std::string wire(const std::string& text)
{
    value json = value::parse(text);
    Model model;
    model.fromJson(json);
    return model.toJson().serialize();
}

TEST(WireExamples, EveryModelOnTheWireReadsAndWritesItsKeysInOrder)
{
    const std::string siteTree =
        R"({"result":"OK","trackingNumber":"7","tree":{"type":"Site","id":"s","name":"n","modificationDate":"d",)"
        R"("children":[{"type":"BoreholeCollection","id":"b","name":"n","totalItems":"0042"},null,)"
        R"({"type":"GeologicModel","id":"g","name":"n","children":[{"type":"FeatureCollection","id":"fc","name":"n",)"
        R"("children":[{"type":"Parameters","id":"p","name":"n","parameters":"x","children":[{"type":"Feature",)"
        R"("isDirty":"false","id":"f","name":"n","attributeName":"a","attributeValue":"v",)"
        R"("attributeOperator":"="}]}]}],"modificationDate":"d"},{"type":"PointSampleCollection","id":"p","name":"n",)"
        R"("children":[{"type":"PointSampleSet","id":"ps","name":"n","totalItems":"7"}]},)"
        R"({"type":"StaticStructureCollection","id":"ss","name":"n","children":[{"type":"StaticStructure","id":"s1",)"
        R"("name":"n","modificationDate":"d"}]},{"type":"TerrainCollection","id":"t","name":"n",)"
        R"("children":[{"type":"Terrain","id":"t1","name":"n","modificationDate":"d"}]},{"type":"Folder","id":"x",)"
        R"("name":"n"}]}})";
    const std::string upload = R"({"sessionId":"s","fcsStreamIds":["f1","f2"],"name":"n","siteId":"x","crs":"c",)"
                               R"("importType":"i",)";
    const std::string ok = R"({"result":"OK","trackingNumber":"7",)";
    const struct {
        std::string (*wire)(const std::string&);
        std::string json;
    } examples[] = {
        {wire<SiteCreateCommand>, R"({"siteName":"North field"})"},
        {wire<StartUploadCommand>, R"({"numberOfFiles":3})"},
        {wire<FinishUploadCommand>, R"({"sessionId":"s","fcsReceipts":[{"fcsStreamId":"f1","fcsReciept":"r"}]})"},
        {wire<CancelUploadCommand>, R"({"fcsIds":["f1","f2"]})"},
        {wire<BoreholeUploadCommand>,
         R"({"sessionId":"s","fcsStreamIds":["f1"],"siteId":"x","crs":"c","importType":"i"})"},
        {wire<BoreholeIntervalSetUploadCommand>,
         R"({"sessionId":"s","fcsStreamId":"f","name":"n","siteId":"x","importType":"i"})"},
        {wire<FieldObservationUploadCommand>, upload + R"("existingFieldObservationId":"e"})"},
        {wire<GeoUploadCommand>, upload + R"("existingGeoId":"e"})"},
        {wire<TerrainUploadCommand>, upload + R"("existingTerrainId":"e"})"},
        {wire<GetCRSResult>, ok + R"("crs":[{"id":"c","name":"n","unitofmeasure":"m"}]})"},
        {wire<GetSitesResult>,
         ok + R"("sites":[{"id":"s","name":"n","description":"d","crs":"c","unitofmeasure":"m"}]})"},
        {wire<GetSiteResult>, siteTree},
        {wire<CreateSiteResult>, ok + R"("name":"n","id":"s"})"},
        {wire<StartUploadResult>,
         R"({"sessionId":"s","fcsFiles":[{"fcsStreamId":"f","fcsFileUrl":"u","fcsFileTicket":"t"}]})"},
        {wire<UploadBoreholesResult>, ok + R"("count":"2","jobId":"j","timing":"1s"})"},
        {wire<UploadBoreholeIntervalSetResult>, ok + R"("count":"2","jobId":"j"})"},
        {wire<UploadFieldObservationResult>, ok + R"("id":"o","jobId":"j"})"},
        {wire<UploadGeoResult>, ok + R"("id":"g","modificationDate":"d","size":"9","jobId":"j"})"},
        {wire<UploadTerrainResult>, ok + R"("id":"t","modificationDate":"d","size":"9","jobId":"j"})"},
        {wire<DownloadGeologicModelResult>, ok + R"("geologicModelId":"g","files":[{"name":"a.ts","data":"QQ=="}]})"},
        {wire<DownloadGeologicFeatureResult>, ok + R"("geologicFeatureId":"f","files":[{"name":"a","data":"QQ=="}]})"},
    };
    for (const auto& example : examples) {
        EXPECT_EQ(example.wire(example.json), example.json);
    }
}

TEST(SiteTreeEntries, AreReadByTheClassTheirExactTypeNames)
{
    const std::pair<const char*, std::type_index> types[] = {
        {R"("type":"BoreholeCollection",)", typeid(BoreholeCollection)},
        {R"("type":"GeologicModel",)", typeid(GeologicModel)},
        {R"("type":"PointSampleCollection",)", typeid(PointSampleCollection)},
        {R"("type":"StaticStructureCollection",)", typeid(StaticStructureCollection)},
        {R"("type":"TerrainCollection",)", typeid(TerrainCollection)},
        {R"("type":"geologicmodel",)", typeid(TopLevelChild)},
        {R"("type":"GeologicModel ",)", typeid(TopLevelChild)},
        {R"("type":"Geologic",)", typeid(TopLevelChild)},
        {R"("type":"",)", typeid(TopLevelChild)},
        {R"("type":null,)", typeid(TopLevelChild)},
        {"", typeid(TopLevelChild)},
    };
    for (const auto& [type, expected] : types) {
        value json = value::parse(std::string("{") + type + R"("id":"c1","children":[],"totalItems":"7"})");
        const auto child = TopLevelChild::createTopLevelChild(json);
        EXPECT_EQ(std::type_index(typeid(*child)), expected) << type;
        EXPECT_EQ(child->getId(), L"c1") << type;
    }
    value notAnObject = value::string("GeologicModel");
    EXPECT_EQ(std::type_index(typeid(*TopLevelChild::createTopLevelChild(notAnObject))), typeid(TopLevelChild));
    for (const char* bad : {R"({"type":5})", R"({"type":"GeologicModel","children":{}})",
                            R"({"type":"TerrainCollection","children":[{"id":5}]})"}) {
        value json = value::parse(bad);
        EXPECT_THROW(TopLevelChild::createTopLevelChild(json), web::json::json_exception) << bad;
    }
    // In a form, a site's entries come as one JSON part and are told apart the same way.
    const std::string children =
        R"([{"type":"TerrainCollection","id":"t","children":[{"id":"t1"}]},null,{"type":"X"}])";
    auto part = std::make_shared<HttpContent>();
    part->setName(L"children");
    part->setData(std::make_shared<std::istringstream>(children));
    auto form = std::make_shared<MultipartFormData>();
    form->add(part);
    SiteDetails site;
    site.fromMultiPart(form, L"");
    EXPECT_EQ(site.toJson().serialize(), R"({"children":)" + children + "}");
    EXPECT_NE(std::dynamic_pointer_cast<TerrainCollection>(site.getChildren().at(0)), nullptr);
}

} // namespace
