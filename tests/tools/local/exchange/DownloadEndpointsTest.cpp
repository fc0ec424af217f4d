// Geologic downloads: the files inline, in the asked format and crs.

#include "PlatformTest.h"

#include <tools/local/exchange/DemoSite.h>

#include <gmock/gmock.h>

namespace lithmar::local::testing {
namespace {

using ::testing::HasSubstr;
using Keys = std::vector<std::string>;

using DownloadEndpoints = PlatformTest;

std::vector<std::string> linesOf(const std::string& text)
{
    std::vector<std::string> lines;
    std::size_t start = 0;
    for (std::size_t end; (end = text.find('\n', start)) != std::string::npos; start = end + 1) {
        lines.push_back(text.substr(start, end - start));
    }
    EXPECT_EQ(start, text.size()) << "the file ends with a line break";
    return lines;
}

TEST_F(DownloadEndpoints, GivesTheModelAsCsvInTheSitesCrsByDefault)
{
    const HttpReply reply = get("/geology/geologicmodels/v1/gm-demo?crs=&detailLevel=&format=");
    ASSERT_EQ(reply.status, 200) << reply.body;
    const Json answer = reply.json();
    EXPECT_EQ(keysOf(answer), (Keys{"result", "trackingNumber", "geologicModelId", "files"}));
    EXPECT_EQ(answer["geologicModelId"], kDemoModelId);
    ASSERT_EQ(answer["files"].size(), 1u);
    const Json& file = answer["files"][0];
    EXPECT_EQ(keysOf(file), (Keys{"name", "data"}));
    EXPECT_EQ(file["name"], "Demo_geologic_model.csv");
    const auto lines = linesOf(file["data"]);
    ASSERT_EQ(lines.size(), 5u);
    EXPECT_EQ(lines[0],
              "featureCollection,parameters,featureId,feature,attributeName,attributeOperator,attributeValue,crs");
    EXPECT_EQ(lines[1], "Lithology,Lithology classes,feat-demo-sand,Sand,LITH,=,SAND,EPSG:32633");
    EXPECT_EQ(lines[4], "Porosity,Porosity bands,feat-demo-tight,Low porosity,POROSITY,<,0.1,EPSG:32633");
}

TEST_F(DownloadEndpoints, TakesTheCrsAndFormatFromTheQuery)
{
    const Json csv = get("/geology/geologicmodels/v1/gm-demo?crs=EPSG%3A4326&detailLevel=&format=csv").json();
    EXPECT_THAT(csv["files"][0]["data"].get<std::string>(), HasSubstr("SAND,EPSG:4326\n"));

    const Json json = get("/geology/geologicmodels/v1/gm-demo?crs=EPSG:2230&detailLevel=high&format=json").json();
    EXPECT_EQ(json["files"][0]["name"], "Demo_geologic_model.json");
    const Json document = Json::parse(json["files"][0]["data"].get<std::string>());
    EXPECT_EQ(keysOf(document), (Keys{"crs", "unitofmeasure", "detailLevel", "content"}));
    EXPECT_EQ(document["crs"], "EPSG:2230");
    EXPECT_EQ(document["unitofmeasure"], "US survey foot");
    EXPECT_EQ(document["detailLevel"], "high");
    EXPECT_EQ(document["content"]["type"], "GeologicModel");
    EXPECT_EQ(document["content"]["children"].size(), 2u);
}

TEST_F(DownloadEndpoints, GivesOneFeature)
{
    const HttpReply reply =
        get(std::string("/geology/geologicfeatures/v1/") + kDemoFeatureId + "?crs=&detailLevel=&format=");
    ASSERT_EQ(reply.status, 200) << reply.body;
    const Json answer = reply.json();
    EXPECT_EQ(keysOf(answer), (Keys{"result", "trackingNumber", "geologicFeatureId", "files"}));
    EXPECT_EQ(answer["geologicFeatureId"], kDemoFeatureId);
    EXPECT_EQ(answer["files"][0]["name"], "Sand.csv");
    const auto lines = linesOf(answer["files"][0]["data"]);
    ASSERT_EQ(lines.size(), 2u);
    EXPECT_EQ(lines[1], "Lithology,Lithology classes,feat-demo-sand,Sand,LITH,=,SAND,EPSG:32633");
}

TEST_F(DownloadEndpoints, TakesAbsentParametersAsEmpty)
{
    EXPECT_EQ(get("/geology/geologicmodels/v1/gm-demo").status, 200);
}

TEST_F(DownloadEndpoints, RefusesUnknownFormatsCrsAndIds)
{
    const HttpReply format = get("/geology/geologicmodels/v1/gm-demo?crs=&detailLevel=&format=shp");
    EXPECT_TRUE(isError(format, 400));
    EXPECT_THAT(errorOf(format), HasSubstr("csv, json"));
    const HttpReply crs = get("/geology/geologicfeatures/v1/feat-demo-sand?crs=EPSG:1&detailLevel=&format=");
    EXPECT_TRUE(isError(crs, 400));
    EXPECT_THAT(errorOf(crs), HasSubstr("EPSG:1"));
    EXPECT_TRUE(isError(get("/geology/geologicmodels/v1/gm-none?crs=&detailLevel=&format="), 404));
    EXPECT_TRUE(isError(get("/geology/geologicmodels/v1/feat-demo-sand?crs=&detailLevel=&format="), 404))
        << "a feature is not a model";
    EXPECT_TRUE(isError(get("/geology/geologicfeatures/v1/gm-demo?crs=&detailLevel=&format="), 404));
    EXPECT_TRUE(isError(get("/geology/geologicfeatures/v1/x?crs=%ZZ"), 400));
}

} // namespace
} // namespace lithmar::local::testing
