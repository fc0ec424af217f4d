// The five import endpoints: checked against the upload session and the
// site, queued as jobs, answered at once.

#include "PlatformTest.h"

#include <tools/local/exchange/DemoSite.h>

#include <gmock/gmock.h>

namespace lithmar::local::testing {
namespace {

using ::testing::HasSubstr;
using Keys = std::vector<std::string>;

struct ImportCase {
    const char* name;
    const char* path;
    const char* jobKind;
    // The fields besides sessionId, the streams and siteId.
    const char* extraFields;
    bool singleStream;
};

const ImportCase kImports[] = {
    {"Boreholes", "/exploration/boreholes/v1", "boreholes", R"("crs":"EPSG:4326","importType":"LAS")", false},
    {"IntervalSet", "/exploration/boreholeintervalsets/v1", "boreholeIntervalSet",
     R"("name":"Intervals","importType":"CSV")", true},
    {"FieldObservation", "/exploration/fieldobservations/v1", "fieldObservation",
     R"("name":"Outcrops","crs":"","importType":"CSV","existingFieldObservationId":"")", false},
    {"Geo", "/exploration/geos/v1", "geo",
     R"("name":"Model B","crs":"EPSG:32633","importType":"GEO","existingGeoId":"")", false},
    {"Terrain", "/exploration/terrains/v1", "terrain",
     R"("name":"Lidar","crs":"EPSG:4326","importType":"DEM","existingTerrainId":"")", false},
};

class ImportEndpoints : public PlatformTest {
protected:
    // A command naming `streams` of `session` for `siteId`.
    static std::string command(const ImportCase& c, const std::string& session, const std::vector<std::string>& streams,
                               const std::string& siteId, const std::string& extra)
    {
        std::string streamField;
        if (c.singleStream) {
            streamField = "\"fcsStreamId\":\"" + streams.at(0) + "\"";
        } else {
            Json list = streams;
            streamField = "\"fcsStreamIds\":" + list.dump();
        }
        return "{\"sessionId\":\"" + session + "\"," + streamField + ",\"siteId\":\"" + siteId + "\"" +
               (std::string(extra).empty() ? "" : "," + extra) + "}";
    }

    // A command for a new upload session of two files.
    std::string freshCommand(const ImportCase& c, const std::string& siteId = kDemoSiteId)
    {
        const Json session = startUpload(2);
        return command(c, session["sessionId"],
                       {session["fcsFiles"][0]["fcsStreamId"], session["fcsFiles"][1]["fcsStreamId"]}, siteId,
                       c.extraFields);
    }
};

class EachImport : public ImportEndpoints, public ::testing::WithParamInterface<ImportCase> {};

TEST_P(EachImport, QueuesAJobAndAnswersAtOnce)
{
    const ImportCase& c = GetParam();
    const std::string body = freshCommand(c);
    const HttpReply reply = post(c.path, body);
    ASSERT_EQ(reply.status, 200) << reply.body;
    const Json answer = reply.json();
    EXPECT_EQ(keysOf(answer), (Keys{"result", "trackingNumber", "jobId"}));
    EXPECT_EQ(answer["result"], "ACCEPTED");
    EXPECT_THAT(answer["jobId"].get<std::string>(), ::testing::StartsWith("job-"));

    const auto jobs = platform.store().jobs().jobs();
    ASSERT_EQ(jobs.size(), 1u);
    EXPECT_EQ(jobs[0].id, answer["jobId"]);
    EXPECT_EQ(jobs[0].kind, c.jobKind);
    EXPECT_EQ(jobs[0].status, "QUEUED");
    EXPECT_EQ(jobs[0].siteId, kDemoSiteId);
    EXPECT_EQ(jobs[0].command, body) << "kept as the client sent it, for the job runner";
    EXPECT_EQ(jobs[0].uploadSessionId, Json::parse(body)["sessionId"]);
}

TEST_P(EachImport, RefusesUnknownSessionsForeignStreamsAndUnknownSites)
{
    const ImportCase& c = GetParam();
    const Json session = startUpload(1);
    const Json other = startUpload(1);
    const std::string id = session["sessionId"];
    const std::string stream = session["fcsFiles"][0]["fcsStreamId"];

    EXPECT_TRUE(isError(post(c.path, command(c, "upl-none", {stream}, kDemoSiteId, c.extraFields)), 404));
    const HttpReply foreign =
        post(c.path, command(c, id, {other["fcsFiles"][0]["fcsStreamId"]}, kDemoSiteId, c.extraFields));
    EXPECT_TRUE(isError(foreign, 400));
    EXPECT_THAT(errorOf(foreign), HasSubstr("not part of the upload session"));
    const HttpReply noSite = post(c.path, command(c, id, {stream}, "site-none", c.extraFields));
    EXPECT_TRUE(isError(noSite, 404));
    EXPECT_THAT(errorOf(noSite), HasSubstr("site-none"));
    EXPECT_TRUE(platform.store().jobs().jobs().empty());
}

TEST_P(EachImport, RefusesCommandsWithMissingOrMistypedFields)
{
    const ImportCase& c = GetParam();
    const Json good = Json::parse(freshCommand(c));
    const char* streamKey = c.singleStream ? "fcsStreamId" : "fcsStreamIds";
    for (const char* key : {"sessionId", streamKey, "siteId"}) {
        Json missing = good;
        missing.erase(key);
        const HttpReply reply = post(c.path, missing.dump());
        EXPECT_TRUE(isError(reply, 400)) << key;
        EXPECT_THAT(errorOf(reply), HasSubstr(key));
        Json mistyped = good;
        mistyped[key] = 42;
        EXPECT_TRUE(isError(post(c.path, mistyped.dump()), 400)) << key;
    }
    for (const char* key : {"importType", "name", "crs"}) {
        if (!good.contains(key)) {
            continue; // not a field of this kind: ignored like any unknown field
        }
        Json mistyped = good;
        mistyped[key] = Json::array();
        EXPECT_TRUE(isError(post(c.path, mistyped.dump()), 400)) << key;
    }
    EXPECT_TRUE(platform.store().jobs().jobs().empty());
}

INSTANTIATE_TEST_SUITE_P(AllKinds, EachImport, ::testing::ValuesIn(kImports),
                         [](const auto& testInfo) { return std::string(testInfo.param.name); });

TEST_F(ImportEndpoints, ChecksTheCrsAgainstTheOfferedOnes)
{
    const ImportCase& geo = kImports[3];
    const Json session = startUpload(1);
    const std::string stream = session["fcsFiles"][0]["fcsStreamId"];
    const HttpReply unknown =
        post(geo.path, command(geo, session["sessionId"], {stream}, kDemoSiteId, R"("name":"m","crs":"EPSG:9999")"));
    EXPECT_TRUE(isError(unknown, 400));
    EXPECT_THAT(errorOf(unknown), HasSubstr("EPSG:9999"));
    EXPECT_EQ(post(geo.path, command(geo, session["sessionId"], {stream}, kDemoSiteId, R"("name":"m")")).status, 200)
        << "without crs, the site's";
}

TEST_F(ImportEndpoints, NeedsANameForNewObjectsOnly)
{
    const ImportCase& geo = kImports[3];
    const Json session = startUpload(1);
    const std::string id = session["sessionId"];
    const std::string stream = session["fcsFiles"][0]["fcsStreamId"];
    for (const char* unnamed : {"", R"("name":"")", R"("name":"   ")", R"("name":null)"}) {
        const HttpReply reply = post(geo.path, command(geo, id, {stream}, kDemoSiteId, unnamed));
        EXPECT_TRUE(isError(reply, 400)) << unnamed;
        EXPECT_THAT(errorOf(reply), HasSubstr("existingGeoId")) << unnamed;
    }
    EXPECT_EQ(post(geo.path, command(geo, id, {stream}, kDemoSiteId, R"("existingGeoId":"gm-demo")")).status, 200);
    const HttpReply unknownModel =
        post(geo.path, command(geo, id, {stream}, kDemoSiteId, R"("existingGeoId":"gm-none")"));
    EXPECT_TRUE(isError(unknownModel, 404));
    EXPECT_TRUE(isError(post(geo.path, command(geo, id, {stream}, kDemoSiteId, R"("existingGeoId":"ter-demo")")), 404))
        << "an id of another kind";
    EXPECT_EQ(post("/exploration/terrains/v1",
                   command(kImports[4], id, {stream}, kDemoSiteId, R"("existingTerrainId":"ter-demo")"))
                  .status,
              200);
    EXPECT_EQ(post("/exploration/boreholes/v1", command(kImports[0], id, {stream}, kDemoSiteId, "")).status, 200)
        << "boreholes carry no name";
}

TEST_F(ImportEndpoints, RefusesEmptyOrMistypedStreamLists)
{
    const Json session = startUpload(1);
    const std::string id = session["sessionId"];
    for (const char* streams : {"[]", "[\"\"]", "[1]", "\"fcs-1\"", "null"}) {
        const std::string body =
            "{\"sessionId\":\"" + id + "\",\"fcsStreamIds\":" + streams + ",\"siteId\":\"site-demo\"}";
        EXPECT_TRUE(isError(post("/exploration/boreholes/v1", body), 400)) << streams;
    }
    const std::string listForSingle = "{\"sessionId\":\"" + id + "\",\"fcsStreamIds\":[\"" +
                                      session["fcsFiles"][0]["fcsStreamId"].get<std::string>() +
                                      "\"],\"siteId\":\"site-demo\",\"name\":\"n\"}";
    const HttpReply reply = post("/exploration/boreholeintervalsets/v1", listForSingle);
    EXPECT_TRUE(isError(reply, 400));
    EXPECT_THAT(errorOf(reply), HasSubstr("\"fcsStreamId\""));
}

class FullQueue : public PlatformTest {
protected:
    FullQueue() : PlatformTest(withCapacity(2)) {}

    static LocalPlatformOptions withCapacity(std::size_t capacity)
    {
        LocalPlatformOptions options = endpointsOnly();
        options.jobQueueCapacity = capacity;
        return options;
    }
};

TEST_F(FullQueue, AnswersQueueFullBeyondTheCapacityAndKeepsNoJob)
{
    const Json session = startUpload(1);
    const std::string body = "{\"sessionId\":\"" + session["sessionId"].get<std::string>() + "\",\"fcsStreamIds\":[\"" +
                             session["fcsFiles"][0]["fcsStreamId"].get<std::string>() + "\"],\"siteId\":\"site-demo\"}";
    EXPECT_EQ(post("/exploration/boreholes/v1", body).json()["result"], "ACCEPTED");
    EXPECT_EQ(post("/exploration/boreholes/v1", body).json()["result"], "ACCEPTED");
    const HttpReply full = post("/exploration/boreholes/v1", body);
    ASSERT_EQ(full.status, 200);
    const Json answer = full.json();
    EXPECT_EQ(keysOf(answer), (Keys{"result", "trackingNumber", "jobId"}));
    EXPECT_EQ(answer["jobId"], "QUEUE_FULL");
    EXPECT_EQ(answer["result"], "QUEUE_FULL");
    EXPECT_EQ(platform.store().jobs().jobs().size(), 2u);
}

} // namespace
} // namespace lithmar::local::testing
