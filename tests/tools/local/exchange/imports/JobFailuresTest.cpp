// An import that cannot be done ends as a FAILED result saying why, imports
// nothing, and leaves the platform serving.

#include "ImportFixture.h"

#include <tools/local/exchange/DemoSite.h>

#include <gmock/gmock.h>

namespace lithmar::local::testing {
namespace {

using ::testing::HasSubstr;
using ::testing::StartsWith;

class FailedImports : public ImportTest {
protected:
    // The job's result, after checking what every failure shares.
    Json failed(const std::string& jobId, const std::string& siteId)
    {
        const Json result = hooks.resultOf(jobId).second;
        EXPECT_THAT(result["result"].get<std::string>(), StartsWith("FAILED: "));
        EXPECT_EQ(waitForStatus(platform, jobId, "FAILED"), "FAILED");
        EXPECT_EQ(exchangeGet(platform.port(), "/common/crs/v1").status, 200) << "the platform still serves";
        if (!siteId.empty()) {
            EXPECT_EQ(siteTree(siteId)["children"], Json::array()) << "nothing was imported";
        }
        return result;
    }

    TemporaryDirectory files;
};

struct BadFile {
    const char* name;
    const char* path;
    const char* fileName;
    const char* content; // nullptr: no such file
    const char* fields;
    const char* says;
};

const BadFile kBadFiles[] = {
    {"MissingFile", "/exploration/terrains/v1", "gone.asc", nullptr, R"("name":"T")", "cannot read the file"},
    {"NotUtf8", "/exploration/boreholes/v1", "latin1.csv", "hole_id,easting\n\xE9t\xE9,1\n", "", "is not UTF-8"},
    {"BadNumber", "/exploration/boreholes/v1", "collars.csv",
     "hole_id,easting,northing,elevation,total_depth\nBH-1,1,2,3,4\nBH-2,east,2,3,4\n", "",
     "row 3, column \"easting\": \"east\" is not a number"},
    {"NotATable", "/exploration/boreholes/v1", "notes.csv", "what,why\na,b\n", "", "neither a collar table"},
    {"IntervalsAsBoreholes", "/exploration/boreholes/v1", "intervals.csv",
     "hole_id,depth_from,depth_to,lithology\nBH-1,0,1,SAND\n", "", "import it as a borehole interval set"},
    {"IntervalsOfUnknownHoles", "/exploration/boreholeintervalsets/v1", "intervals.csv",
     "hole_id,depth_from,depth_to,lithology\nBH-77,0,1,SAND\n", R"("name":"I")", "has no borehole BH-77"},
};

class EachBadFile : public FailedImports, public ::testing::WithParamInterface<BadFile> {};

TEST_P(EachBadFile, EndsAsAFailedResultNamingTheFault)
{
    const BadFile& bad = GetParam();
    const std::string site = createSite(bad.name);
    const fs::path file = bad.content ? files.write(bad.fileName, bad.content) : files.path() / bad.fileName;
    const bool single = std::string(bad.path) == "/exploration/boreholeintervalsets/v1";
    const std::string job = import(bad.path, {file}, site, bad.fields, single);
    EXPECT_THAT(failed(job, site)["result"].get<std::string>(), HasSubstr(bad.says));
}

INSTANTIATE_TEST_SUITE_P(ImportJobs, EachBadFile, ::testing::ValuesIn(kBadFiles),
                         [](const auto& testInfo) { return std::string(testInfo.param.name); });

TEST_F(FailedImports, AStreamWithoutACheckedInFileFailsSayingSo)
{
    const std::string site = createSite("No file");
    const Json upload = exchangePost(platform.port(), "/upload/v1/start", R"({"numberOfFiles":1})").json();
    const std::string stream = upload["fcsFiles"][0]["fcsStreamId"];
    const Json command{{"sessionId", upload["sessionId"]}, {"fcsStreamIds", {stream}}, {"siteId", site}};
    const std::string job = exchangePost(platform.port(), "/exploration/boreholes/v1", command.dump()).json()["jobId"];
    const Json result = failed(job, site);
    EXPECT_THAT(result["result"].get<std::string>(), HasSubstr("no file was checked in for the stream " + stream));
    EXPECT_EQ(keysOf(result), (std::vector<std::string>{"result", "trackingNumber", "jobId"}));
}

TEST_F(FailedImports, ASiteDeletedBeforeTheJobRunsFailsItAndImportsNothing)
{
    const std::string site = createSite("Short-lived");
    hooks.onLookup = [&](const std::string&) { platform.store().sites().deleteSite(site); };
    const std::string job = import("/exploration/boreholes/v1", {exampleFile("collars.csv")}, site);
    EXPECT_THAT(failed(job, "")["result"].get<std::string>(), HasSubstr("the site " + site + " was deleted"));
    EXPECT_EQ(exchangeGet(platform.port(), "/common/sites/v1/" + site).status, 404);
}

TEST_F(FailedImports, AFailedImportLeavesEarlierImportsOfTheSiteAsTheyWere)
{
    const std::string site = createSite("Kept");
    hooks.resultOf(import("/exploration/boreholes/v1", {exampleFile("collars.csv")}, site));
    const fs::path broken = files.write("surveys.csv", "hole_id,depth,azimuth,dip\nBH-01,0,0,-90\nBH-01,5,400,-80\n");
    const std::string job = import("/exploration/boreholes/v1", {exampleFile("collars.csv"), broken}, site);
    EXPECT_THAT(hooks.resultOf(job).second["result"].get<std::string>(),
                HasSubstr("row 3, column \"azimuth\": 400 is not within [0, 360)"));
    EXPECT_EQ(childOfKind(siteTree(site), "BoreholeCollection")["totalItems"], "12");
}

} // namespace
} // namespace lithmar::local::testing
