// Sites, their trees and the coordinate reference systems, key by key.

#include "PlatformTest.h"

#include <tools/local/exchange/DemoSite.h>

#include <gmock/gmock.h>

#include <regex>
#include <set>

namespace lithmar::local::testing {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using Keys = std::vector<std::string>;

using SiteEndpoints = PlatformTest;

bool isUtcDate(const Json& value)
{
    return value.is_string() &&
           std::regex_match(value.get<std::string>(), std::regex(R"(\d{4}-\d{2}-\d{2}T\d{2}:\d{2}:\d{2}Z)"));
}

// The keys each kind of tree node has, in order.
Keys keysOfKind(const std::string& type)
{
    static const std::map<std::string, Keys> keys{
        {"BoreholeCollection", {"type", "id", "name", "totalItems"}},
        {"GeologicModel", {"type", "id", "name", "modificationDate", "children"}},
        {"FeatureCollection", {"type", "id", "name", "children"}},
        {"Parameters", {"type", "id", "name", "parameters", "children"}},
        {"Feature", {"type", "isDirty", "id", "name", "attributeName", "attributeValue", "attributeOperator"}},
        {"PointSampleCollection", {"type", "id", "name", "children"}},
        {"PointSampleSet", {"type", "id", "name", "totalItems"}},
        {"StaticStructureCollection", {"type", "id", "name", "children"}},
        {"StaticStructure", {"type", "id", "name", "modificationDate"}},
        {"TerrainCollection", {"type", "id", "name", "children"}},
        {"Terrain", {"type", "id", "name", "modificationDate"}},
    };
    return keys.at(type);
}

// Every node has the keys of its kind, all values but "children" are
// strings, dates are UTC, and ids are unique in the tree.
void expectWellFormed(const Json& node, std::set<std::string>& ids)
{
    ASSERT_TRUE(node.is_object());
    const std::string type = node.at("type");
    EXPECT_EQ(keysOf(node), keysOfKind(type)) << node.dump();
    EXPECT_TRUE(ids.insert(node.at("id").get<std::string>()).second) << "repeated id " << node.at("id");
    for (const auto& [key, value] : node.items()) {
        if (key == "children") {
            ASSERT_TRUE(value.is_array());
            for (const Json& child : value) {
                expectWellFormed(child, ids);
            }
        } else {
            EXPECT_TRUE(value.is_string()) << key << " in " << node.dump();
        }
    }
    if (node.contains("modificationDate")) {
        EXPECT_TRUE(isUtcDate(node["modificationDate"])) << node["modificationDate"];
    }
}

std::vector<std::string> typesOf(const Json& children)
{
    std::vector<std::string> types;
    for (const Json& child : children) {
        types.push_back(child.at("type"));
    }
    return types;
}

TEST_F(SiteEndpoints, ListsTheDemoSiteWithExactlyTheSiteKeys)
{
    const HttpReply reply = get("/common/sites/v1");
    ASSERT_EQ(reply.status, 200) << reply.body;
    EXPECT_EQ(reply.header("Content-Type"), "application/json");
    const Json answer = reply.json();
    EXPECT_EQ(keysOf(answer), (Keys{"result", "trackingNumber", "sites"}));
    EXPECT_EQ(answer["result"], "OK");
    ASSERT_EQ(answer["sites"].size(), 1u);
    const Json& demo = answer["sites"][0];
    EXPECT_EQ(keysOf(demo), (Keys{"id", "name", "description", "crs", "unitofmeasure"}));
    EXPECT_EQ(demo["id"], kDemoSiteId);
    EXPECT_EQ(demo["name"], "Demo site");
    EXPECT_EQ(demo["crs"], "EPSG:32633");
    EXPECT_EQ(demo["unitofmeasure"], "metre");
}

TEST_F(SiteEndpoints, CreatesSitesThatAreListedInCreationOrderWithAnEmptyTree)
{
    const HttpReply created = post("/common/sites/v1", R"({"siteName":"  North \u00c9corce  "})");
    ASSERT_EQ(created.status, 200) << created.body;
    const Json answer = created.json();
    EXPECT_EQ(keysOf(answer), (Keys{"result", "trackingNumber", "name", "id"}));
    EXPECT_EQ(answer["result"], "OK");
    EXPECT_EQ(answer["name"], "North \xc3\x89"
                              "corce")
        << "stored without the surrounding spaces";
    const std::string id = answer["id"];
    EXPECT_THAT(id, ::testing::StartsWith("site-"));
    ASSERT_EQ(post("/common/sites/v1", R"({"siteName":"South"})").status, 200);

    const Json sites = get("/common/sites/v1").json()["sites"];
    ASSERT_EQ(sites.size(), 3u);
    EXPECT_EQ(sites[1]["id"], id);
    EXPECT_EQ(sites[2]["name"], "South");
    EXPECT_EQ(sites[1]["description"], "");
    EXPECT_EQ(sites[1]["crs"], "EPSG:32633") << "new sites get the default crs";

    const Json tree = get("/common/sites/v1/" + id).json()["tree"];
    EXPECT_EQ(keysOf(tree), (Keys{"type", "id", "name", "modificationDate", "children"}));
    EXPECT_EQ(tree["type"], "Site");
    EXPECT_EQ(tree["name"], "North \xc3\x89"
                            "corce");
    EXPECT_TRUE(isUtcDate(tree["modificationDate"]));
    EXPECT_EQ(tree["children"], Json::array());
}

TEST_F(SiteEndpoints, RefusesASecondSiteOfTheSameNameWith409)
{
    ASSERT_EQ(post("/common/sites/v1", R"({"siteName":"North"})").status, 200);
    const HttpReply again = post("/common/sites/v1", R"({"siteName":" North"})");
    EXPECT_TRUE(isError(again, 409));
    EXPECT_THAT(errorOf(again), HasSubstr("North"));
    EXPECT_TRUE(isError(post("/common/sites/v1", R"({"siteName":"Demo site"})"), 409));
    EXPECT_EQ(post("/common/sites/v1", R"({"siteName":"north"})").status, 200) << "names are case-sensitive";
    EXPECT_EQ(get("/common/sites/v1").json()["sites"].size(), 3u);
}

TEST_F(SiteEndpoints, AcceptsNamesUpTo200CharactersCountingCharactersNotBytes)
{
    std::string longest;
    for (int i = 0; i < 200; ++i) {
        longest += "\xc3\x89";
    }
    EXPECT_EQ(post("/common/sites/v1", "{\"siteName\":\"" + longest + "\"}").status, 200);
    const HttpReply tooLong = post("/common/sites/v1", "{\"siteName\":\"" + longest + "E\"}");
    EXPECT_TRUE(isError(tooLong, 400));
    EXPECT_THAT(errorOf(tooLong), HasSubstr("201 characters"));
}

TEST_F(SiteEndpoints, ShowsTheDemoSiteTreeWithEveryKindOfNode)
{
    const HttpReply reply = get(std::string("/common/sites/v1/") + kDemoSiteId);
    ASSERT_EQ(reply.status, 200) << reply.body;
    const Json answer = reply.json();
    EXPECT_EQ(keysOf(answer), (Keys{"result", "trackingNumber", "tree"}));
    const Json& tree = answer["tree"];
    EXPECT_EQ(tree["id"], kDemoSiteId);
    EXPECT_THAT(typesOf(tree["children"]), ElementsAre("GeologicModel", "BoreholeCollection", "PointSampleCollection",
                                                       "StaticStructureCollection", "TerrainCollection"));
    std::set<std::string> ids{kDemoSiteId};
    for (const Json& child : tree["children"]) {
        expectWellFormed(child, ids);
    }
    const Json& model = tree["children"][0];
    EXPECT_EQ(model["id"], kDemoModelId);
    ASSERT_EQ(model["children"].size(), 2u);
    EXPECT_THAT(typesOf(model["children"][0]["children"]), ElementsAre("Parameters"));
    const Json& sand = model["children"][0]["children"][0]["children"][0];
    EXPECT_EQ(sand, Json::parse(R"({"type":"Feature","isDirty":"false","id":"feat-demo-sand","name":"Sand",)"
                                R"("attributeName":"LITH","attributeValue":"SAND","attributeOperator":"="})"));
    EXPECT_EQ(tree["children"][1]["totalItems"], "12");
}

TEST_F(SiteEndpoints, TakesIdsWithSlashesAndEscapesAndAnswers404ForUnknownOnes)
{
    const HttpReply slash = get("/common/sites/v1/a/b");
    EXPECT_TRUE(isError(slash, 404));
    EXPECT_THAT(errorOf(slash), HasSubstr("\"a/b\""));
    EXPECT_THAT(errorOf(get("/common/sites/v1/a%2Fb%20c")), HasSubstr("\"a/b c\""));
    EXPECT_EQ(get("/common/sites/v1/site%2Ddemo").status, 200) << "escaped characters of a known id";
    EXPECT_TRUE(isError(get("/common/sites/v1/bad%zz"), 400));

    const HttpReply notUtf8 = get("/common/sites/v1/%FF%FE");
    EXPECT_TRUE(isError(notUtf8, 404)) << "the answer stays valid JSON";
    EXPECT_THAT(errorOf(notUtf8), HasSubstr("\xef\xbf\xbd")) << "U+FFFD stands for the bytes";
}

TEST_F(SiteEndpoints, AnswersUnknownPathsWith404AndWrongMethodsWith405)
{
    EXPECT_TRUE(isError(get("/common/sites/v2"), 404));
    EXPECT_TRUE(isError(get("/common/sites/v1/"), 404));
    EXPECT_TRUE(isError(get("/upload/v1/start"), 405));
    const HttpReply put = httpCall(platform.port(), "PUT", "/lithmar-xchng/common/sites/v1", {}, "{}");
    EXPECT_TRUE(isError(put, 405));
    EXPECT_THAT(put.header("Allow"), HasSubstr("POST"));
    EXPECT_TRUE(isError(httpCall(platform.port(), "DELETE", "/lithmar-xchng/common/sites/v1/site-demo"), 405));
}

TEST_F(SiteEndpoints, ListsTheCoordinateReferenceSystems)
{
    const HttpReply reply = get("/common/crs/v1");
    ASSERT_EQ(reply.status, 200);
    const Json answer = reply.json();
    EXPECT_EQ(keysOf(answer), (Keys{"result", "trackingNumber", "crs"}));
    std::set<std::string> ids;
    for (const Json& crs : answer["crs"]) {
        EXPECT_EQ(keysOf(crs), (Keys{"id", "name", "unitofmeasure"}));
        EXPECT_TRUE(ids.insert(crs["id"].get<std::string>()).second);
    }
    EXPECT_EQ(answer["crs"].size(), 9u);
    EXPECT_EQ(answer["crs"][0], Json::parse(R"({"id":"EPSG:4326","name":"WGS 84","unitofmeasure":"degree"})"));
    EXPECT_TRUE(ids.count("EPSG:2230"));
}

TEST_F(SiteEndpoints, GivesEveryAnswerItsOwnTrackingNumber)
{
    std::set<std::string> numbers;
    for (int i = 0; i < 5; ++i) {
        numbers.insert(get("/common/crs/v1").json()["trackingNumber"].get<std::string>());
        numbers.insert(get("/common/sites/v1").json()["trackingNumber"].get<std::string>());
    }
    EXPECT_EQ(numbers.size(), 10u);
}

} // namespace
} // namespace lithmar::local::testing
