// Import jobs run on the platform: each kind lands in the site's tree, its
// result reaches the user who sent it, and no job is lost or run twice
// across a restart or under concurrent imports (also run under
// ThreadSanitizer).

#include "ImportFixture.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <atomic>
#include <set>
#include <thread>

namespace lithmar::local::testing {
namespace {

using ::testing::HasSubstr;
using ::testing::StartsWith;
using Keys = std::vector<std::string>;

class ImportJobs : public ImportTest {};

TEST_F(ImportJobs, EveryKindLandsInTheSiteAndItsResultReachesTheUploadingUser)
{
    const std::string site = createSite("Valley");

    const std::string boreholes =
        import("/exploration/boreholes/v1", {exampleFile("collars.csv"), exampleFile("surveys.csv")}, site);
    auto [user, result] = hooks.resultOf(boreholes);
    EXPECT_EQ(user, "LOCAL_USER");
    EXPECT_EQ(keysOf(result), (Keys{"result", "trackingNumber", "count", "jobId", "timing"}));
    EXPECT_EQ(result["result"], "SUCCESS") << result;
    EXPECT_EQ(result["count"], "12");
    EXPECT_THAT(result["timing"].get<std::string>(), HasSubstr("ms"));

    const std::string intervals = import("/exploration/boreholeintervalsets/v1", {exampleFile("intervals.csv")}, site,
                                         R"("name":"Logged lithology")", true);
    result = hooks.resultOf(intervals).second;
    EXPECT_EQ(keysOf(result), (Keys{"result", "trackingNumber", "count", "jobId"}));
    EXPECT_EQ(result["result"], "SUCCESS") << result;
    EXPECT_EQ(result["count"], "60");

    const std::string observations = import("/exploration/fieldobservations/v1",
                                            {exampleFile("field-observations.csv")}, site, R"("name":"Mapping 2024")");
    result = hooks.resultOf(observations).second;
    EXPECT_EQ(keysOf(result), (Keys{"result", "trackingNumber", "id", "jobId"}));
    const std::string observationSet = result["id"];

    const std::string geo =
        import("/exploration/geos/v1", {exampleFile("geologic-model.json")}, site, R"("name":"Valley fill")");
    result = hooks.resultOf(geo).second;
    EXPECT_EQ(keysOf(result), (Keys{"result", "trackingNumber", "id", "modificationDate", "size", "jobId"}));
    EXPECT_EQ(result["size"], std::to_string(fs::file_size(exampleFile("geologic-model.json"))));
    const std::string model = result["id"];

    const std::string terrain =
        import("/exploration/terrains/v1", {exampleFile("terrain.asc")}, site, R"("name":"Ground 2024")");
    result = hooks.resultOf(terrain).second;
    EXPECT_EQ(result["result"], "SUCCESS") << result;
    EXPECT_THAT(result["modificationDate"].get<std::string>(), StartsWith("20"));
    const std::string terrainId = result["id"];

    const Json tree = siteTree(site);
    EXPECT_EQ(childOfKind(tree, "BoreholeCollection")["totalItems"], "12") << tree;
    EXPECT_EQ(childOfKind(tree, "BoreholeIntervalSet")["totalItems"], "60") << tree;
    const Json samples = childOfKind(tree, "PointSampleCollection")["children"];
    ASSERT_EQ(samples.size(), 1u) << tree;
    EXPECT_EQ(samples[0]["id"], observationSet);
    EXPECT_EQ(samples[0]["totalItems"], "10");
    const Json terrains = childOfKind(tree, "TerrainCollection")["children"];
    ASSERT_EQ(terrains.size(), 1u) << tree;
    EXPECT_EQ(terrains[0]["id"], terrainId);
    EXPECT_EQ(terrains[0]["name"], "Ground 2024");
    EXPECT_EQ(childOfKind(tree, "GeologicModel")["children"].size(), 2u) << tree;

    const Json download =
        exchangeGet(platform.port(), "/geology/geologicmodels/v1/" + model + "?format=csv&detailLevel=&crs=").json();
    const std::string table = download["files"][0]["data"];
    EXPECT_THAT(table, HasSubstr("Lithology,Lithology classes,"));
    EXPECT_THAT(table, HasSubstr(",Granite bedrock,LITH,=,GRANITE,EPSG:32633"));
    EXPECT_EQ(std::count(table.begin(), table.end(), '\n'), 8) << "a header and seven features: " << table;

    for (const auto& job : platform.store().jobs().jobs()) {
        EXPECT_EQ(job.status, "DONE") << job.id;
        EXPECT_EQ(Json::parse(job.result)["jobId"], job.id);
    }
}

TEST_F(ImportJobs, ImportsIntoExistingObjectsReplaceOrAddWithoutCountingTwice)
{
    const std::string site = createSite("Again");
    const std::vector<fs::path> boreholeFiles{exampleFile("collars.csv"), exampleFile("surveys.csv")};
    hooks.resultOf(import("/exploration/boreholes/v1", boreholeFiles, site));
    hooks.resultOf(import("/exploration/boreholes/v1", boreholeFiles, site));
    EXPECT_EQ(childOfKind(siteTree(site), "BoreholeCollection")["totalItems"], "12");

    const std::string model =
        hooks.resultOf(import("/exploration/geos/v1", {exampleFile("geologic-model.json")}, site, R"("name":"M")"))
            .second["id"];
    const Json replaced = hooks
                              .resultOf(import("/exploration/geos/v1", {exampleFile("geologic-model.json")}, site,
                                               R"("existingGeoId":")" + model + "\""))
                              .second;
    EXPECT_EQ(replaced["id"], model);
    const Json tree = siteTree(site);
    EXPECT_EQ(childOfKind(tree, "GeologicModel")["children"].size(), 2u) << "replaced, not added: " << tree;
    EXPECT_EQ(childOfKind(tree, "GeologicModel")["name"], "M");
}

class PlatformModeImports : public ImportTest {
protected:
    PlatformModeImports() : ImportTest(options()) { hooks.listen(platform, "ada"); }
    static LocalPlatformOptions options()
    {
        LocalPlatformOptions o;
        o.platformMode = true;
        o.users = {{"ada", "secret"}};
        o.passwordHashIterations = 1000;
        o.plainHttp = true; // platform mode serves HTTPS unless told otherwise; this test calls over HTTP
        return o;
    }
};

TEST_F(PlatformModeImports, TheResultGoesToTheUserSignedInToTheImportsWebSession)
{
    const HttpReply signIn = httpCall(platform.port(), "POST", "/lithmar-login/signin",
                                      {{"Content-Type", "application/json"}}, R"({"user":"ada","password":"secret"})");
    ASSERT_EQ(signIn.status, 200) << signIn.body;
    std::string cookie;
    for (const std::string& line : signIn.headerLines("Set-Cookie")) {
        cookie += (cookie.empty() ? "" : "; ") + line.substr(0, line.find(';'));
    }
    const std::string site = createSite("Signed in");
    const std::string job = sendImport(platform, hooks, "/exploration/terrains/v1", {exampleFile("terrain.asc")}, site,
                                       R"("name":"T")", false, {{"Cookie", cookie}});
    const auto [user, result] = hooks.resultOf(job);
    EXPECT_EQ(user, "ada");
    EXPECT_EQ(result["result"], "SUCCESS");

    const std::string anonymous =
        import("/exploration/terrains/v1", {exampleFile("terrain.asc")}, site, R"("name":"A")");
    EXPECT_EQ(waitForStatus(platform, anonymous, "DONE"), "DONE");
    EXPECT_EQ(platform.store().jobs().job(anonymous)->user, "") << "nobody signed in: nobody to tell";
    EXPECT_EQ(hooks.publishedCount(), 1u);
}

LocalPlatformOptions storedIn(const fs::path& directory, ImportHooks& hooks)
{
    LocalPlatformOptions options;
    options.dataDirectory = directory.string();
    return hooks.into(options);
}

TEST(JobRestart, AJobWaitingAtStopGoesBackToTheQueueAndRunsOnceAfterARestart)
{
    TemporaryDirectory directory;
    ImportHooks hooks;
    std::string job;
    std::string site;
    {
        LocalPlatformOptions options = storedIn(directory.path(), hooks);
        options.jobDelay = std::chrono::minutes(10);
        LocalPlatform platform(options);
        hooks.listen(platform);
        platform.start();
        site = createSite(platform, "Restarted");
        job = sendImport(platform, hooks, "/exploration/terrains/v1", {exampleFile("terrain.asc")}, site,
                         R"("name":"T")");
        ASSERT_EQ(waitForStatus(platform, job, "RUNNING"), "RUNNING");
        platform.stop(); // without waiting out the delay
        EXPECT_EQ(platform.store().jobs().job(job)->status, "QUEUED");
    }
    EXPECT_EQ(hooks.publishedCount(), 0u);

    LocalPlatform restarted(storedIn(directory.path(), hooks));
    hooks.listen(restarted);
    restarted.start();
    EXPECT_EQ(hooks.resultOf(job).second["result"], "SUCCESS");
    EXPECT_EQ(waitForStatus(restarted, job, "DONE"), "DONE");
    EXPECT_EQ(childOfKind(siteTree(restarted, site), "TerrainCollection")["children"].size(), 1u);
    EXPECT_EQ(hooks.publishedCount(), 1u);
}

TEST(JobRestart, AJobLeftRunningByAPlatformThatDiedRunsAtTheNextStart)
{
    TemporaryDirectory directory;
    ImportHooks hooks;
    std::string job;
    {
        LocalPlatformOptions options = storedIn(directory.path(), hooks);
        options.jobWorkers = 0;
        LocalPlatform platform(options);
        platform.start();
        job = sendImport(platform, hooks, "/exploration/geos/v1", {exampleFile("geologic-model.json")},
                         createSite(platform, "Crashed"), R"("name":"G")");
        // Taken as by a worker of a platform that then ended abruptly.
        ASSERT_TRUE(platform.store().jobs().claimNext());
    }
    LocalPlatform restarted(storedIn(directory.path(), hooks));
    hooks.listen(restarted);
    restarted.start();
    EXPECT_EQ(hooks.resultOf(job).second["result"], "SUCCESS");
}

class ManyWorkers : public ImportTest {
protected:
    ManyWorkers() : ImportTest(options()) {}
    static LocalPlatformOptions options()
    {
        LocalPlatformOptions o;
        o.jobWorkers = 4;
        return o;
    }
};

TEST_F(ManyWorkers, ConcurrentImportsEachEndOnceWithTheirOwnResult)
{
    constexpr int kImports = 16;
    const std::string site = createSite("Busy");
    std::vector<std::string> jobs(kImports);
    std::vector<std::thread> senders;
    for (int i = 0; i < kImports; ++i) {
        senders.emplace_back([&, i] {
            jobs[i] = i % 2 == 0 ? import("/exploration/boreholes/v1", {exampleFile("collars.csv")}, site)
                                 : import("/exploration/fieldobservations/v1", {exampleFile("field-observations.csv")},
                                          site, R"("name":"Set )" + std::to_string(i) + "\"");
        });
    }
    for (std::thread& sender : senders) {
        sender.join();
    }
    std::set<std::string> trackingNumbers;
    for (const std::string& job : jobs) {
        const Json result = hooks.resultOf(job).second;
        EXPECT_EQ(result["result"], "SUCCESS") << result;
        trackingNumbers.insert(result["trackingNumber"].get<std::string>());
    }
    EXPECT_EQ(trackingNumbers.size(), static_cast<std::size_t>(kImports));
    EXPECT_EQ(hooks.publishedCount(), static_cast<std::size_t>(kImports)) << "one result per job";
    const Json tree = siteTree(site);
    EXPECT_EQ(childOfKind(tree, "BoreholeCollection")["totalItems"], "12") << tree;
    EXPECT_EQ(childOfKind(tree, "PointSampleCollection")["children"].size(), static_cast<std::size_t>(kImports / 2));
}

} // namespace
} // namespace lithmar::local::testing
