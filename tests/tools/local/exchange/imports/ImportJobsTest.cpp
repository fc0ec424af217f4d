// Import jobs on the platform: each kind lands in the site's tree and its result reaches the user who sent
// it; a job that cannot be done ends as a FAILED result saying why and imports nothing; no job is lost or run
// twice across a restart or under concurrent imports (also run under ThreadSanitizer).

#include <tests/support/Platform.h>
#include <tests/support/TemporaryDirectory.h>

#include <tools/local/exchange/Database.h>
#include <tools/local/exchange/imports/BoreholeTables.h>
#include <tools/local/exchange/imports/FieldObservations.h>
#include <tools/local/exchange/imports/GeologicObject.h>
#include <tools/local/exchange/imports/TerrainGrid.h>

#include <gmock/gmock.h>

#include <condition_variable>
#include <map>
#include <mutex>
#include <set>
#include <thread>

namespace lithmar::test {
namespace {

namespace fs = std::filesystem;
using namespace local::imports;
using ::testing::AllOf;
using ::testing::HasSubstr;
using ::testing::StartsWith;
using Keys = std::vector<std::string>;

// Lets jobs read files of the test's choosing, and collects the results published to users.
class ImportHooks {
public:
    std::function<void()> onLookup = [] {}; // called when a job looks its file up

    // A started platform whose jobs read through the hooks and publish to them; the hooks outlive it.
    std::unique_ptr<LocalPlatform> start(LocalPlatformOptions options = {}, const std::string& user = "LOCAL_USER")
    {
        options.storedFile = [this](const std::string& stream) -> std::optional<fs::path> {
            onLookup();
            std::lock_guard<std::mutex> lock(m_mutex);
            const auto found = m_files.find(stream);
            return found == m_files.end() || found->second.empty() ? std::nullopt : std::optional(found->second);
        };
        auto platform = std::make_unique<LocalPlatform>(options);
        platform->notifications().subscribe(user, -1, [this, user](const local::Notification& notification) {
            std::lock_guard<std::mutex> lock(m_mutex);
            const Json payload = Json::parse(notification.payload);
            m_results[payload.value("jobId", "")] = {user, payload};
            ++m_published;
            m_changed.notify_all();
        });
        platform->start();
        return platform;
    }
    // Starts an upload session, lets jobs find `files` (none for an empty path) and sends the import; the
    // job id, or what the service answered instead.
    std::string send(LocalPlatform& platform, const std::string& kind, const std::vector<fs::path>& files,
                     const std::string& site, Json command = {{"name", "N"}}, const std::vector<Header>& headers = {})
    {
        const Json upload =
            exchangePost(platform.port(), "/upload/v1/start", Json{{"numberOfFiles", files.size()}}.dump()).json();
        Json streams = Json::array();
        for (std::size_t i = 0; i < files.size(); ++i) {
            streams.push_back(upload["fcsFiles"][i]["fcsStreamId"]);
            std::lock_guard<std::mutex> lock(m_mutex);
            m_files[streams.back()] = files[i];
        }
        command["sessionId"] = upload["sessionId"];
        command["siteId"] = site;
        const bool single = kind == "boreholeintervalsets";
        command[single ? "fcsStreamId" : "fcsStreamIds"] = single ? streams[0] : streams;
        const HttpReply reply = exchangePost(platform.port(), "/exploration/" + kind + "/v1", command.dump(), headers);
        EXPECT_EQ(reply.status, 200) << reply.body;
        return reply.json().value("jobId", reply.body);
    }
    // The user and the result published for `job`; throws after 60 s without.
    std::pair<std::string, Json> resultOf(const std::string& job)
    {
        std::unique_lock<std::mutex> lock(m_mutex);
        if (!m_changed.wait_for(lock, std::chrono::seconds(60), [&] { return m_results.count(job) > 0; })) {
            throw std::runtime_error("no result was published for the job " + job);
        }
        return m_results[job];
    }
    std::size_t publishedCount()
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        return m_published;
    }

private:
    std::mutex m_mutex;
    std::condition_variable m_changed;
    std::map<std::string, fs::path> m_files;
    std::map<std::string, std::pair<std::string, Json>> m_results; // by job: user, payload
    std::size_t m_published = 0;
};

std::string createSite(LocalPlatform& platform, const std::string& name)
{
    return exchangePost(platform.port(), "/common/sites/v1", Json{{"siteName", name}}.dump()).json().value("id", "");
}

Json siteTree(LocalPlatform& platform, const std::string& site)
{
    return exchangeGet(platform.port(), "/common/sites/v1/" + site).json()["tree"];
}

// The job's status once it is `status`, or its status after 30 s.
std::string waitForStatus(LocalPlatform& platform, const std::string& job, const std::string& status)
{
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(30);
    std::string now;
    while (now != status && std::chrono::steady_clock::now() < deadline) {
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
        now = platform.store().jobs().job(job).value_or(local::JobRecord{}).status;
    }
    return now;
}

// The first child of `kind` of `node`; an empty object when there is none.
Json childOfKind(const Json& node, const std::string& kind)
{
    const Json children = node.value("children", Json::array());
    const auto found =
        std::find_if(children.begin(), children.end(), [&](const Json& c) { return c.value("type", "") == kind; });
    return found == children.end() ? Json::object() : *found;
}

TEST(ImportJobs, OfEveryKindLandInTheSiteAndTheirResultsReachTheUploadingUser)
{
    ImportHooks hooks;
    const auto platform = hooks.start();
    std::string site = createSite(*platform, "Valley");
    const auto import = [&](const std::string& kind, const std::vector<fs::path>& files, const Json& command) {
        const auto [user, result] = hooks.resultOf(hooks.send(*platform, kind, files, site, command));
        EXPECT_EQ(user, "LOCAL_USER");
        EXPECT_EQ(result["result"], "SUCCESS") << result;
        return result;
    };

    Json result = import("boreholes", {exampleFile("collars.csv"), exampleFile("surveys.csv")}, {});
    EXPECT_EQ(keysOf(result), (Keys{"result", "trackingNumber", "count", "jobId", "timing"}));
    EXPECT_EQ(result["count"], "12");
    result = import("boreholeintervalsets", {exampleFile("intervals.csv")}, {{"name", "Logged lithology"}});
    EXPECT_EQ(keysOf(result), (Keys{"result", "trackingNumber", "count", "jobId"}));
    EXPECT_EQ(result["count"], "60");
    result = import("fieldobservations", {exampleFile("field-observations.csv")}, {{"name", "Mapping 2024"}});
    EXPECT_EQ(keysOf(result), (Keys{"result", "trackingNumber", "id", "jobId"}));
    const std::string observationSet = result["id"];
    result = import("geos", {exampleFile("geologic-model.json")}, {{"name", "M"}});
    EXPECT_EQ(keysOf(result), (Keys{"result", "trackingNumber", "id", "modificationDate", "size", "jobId"}));
    EXPECT_EQ(result["size"], std::to_string(fs::file_size(exampleFile("geologic-model.json"))));
    const std::string model = result["id"];
    EXPECT_EQ(import("geos", {exampleFile("geologic-model.json")}, {{"existingGeoId", model}})["id"], model);
    result = import("terrains", {exampleFile("terrain.asc")}, {{"name", "Ground 2024"}});
    EXPECT_THAT(result["modificationDate"].get<std::string>(), StartsWith("20"));
    const std::string terrain = result["id"];

    const Json tree = siteTree(*platform, site);
    EXPECT_EQ(childOfKind(tree, "BoreholeCollection")["totalItems"], "12") << tree;
    EXPECT_EQ(childOfKind(tree, "BoreholeIntervalSet")["totalItems"], "60") << tree;
    const Json sets = childOfKind(tree, "PointSampleCollection")["children"];
    ASSERT_EQ(sets.size(), 1u) << tree;
    EXPECT_EQ(sets[0]["id"], observationSet);
    EXPECT_EQ(sets[0]["totalItems"], "10");
    const Json terrains = childOfKind(tree, "TerrainCollection")["children"];
    ASSERT_EQ(terrains.size(), 1u) << tree;
    EXPECT_EQ(terrains[0]["id"], terrain);
    EXPECT_EQ(terrains[0]["name"], "Ground 2024");
    EXPECT_EQ(childOfKind(tree, "GeologicModel")["name"], "M") << "the replaced model keeps its name";
    EXPECT_EQ(childOfKind(tree, "GeologicModel")["children"].size(), 2u) << "replaced, not added: " << tree;

    const std::string table =
        exchangeGet(platform->port(), "/geology/geologicmodels/v1/" + model + "?format=csv&detailLevel=&crs=")
            .json()["files"][0]["data"];
    EXPECT_THAT(table, HasSubstr("Lithology,Lithology classes,"));
    EXPECT_THAT(table, HasSubstr(",Granite bedrock,LITH,=,GRANITE,EPSG:32633"));
    EXPECT_EQ(std::count(table.begin(), table.end(), '\n'), 8) << "a header and seven features: " << table;
    // A byte order mark, columns in any order and case, unknown ones, blank lines and quoted fields; into the
    // demo site, whose borehole collection counts 12 holes it has no data of.
    TemporaryDirectory files;
    const fs::path odd = files.write("c.csv", "\xEF\xBB\xBFTotal_Depth , HOLE_ID,extra,easting,northing,elevation\n"
                                              "12.5,A,x,1,2,3\n\n\"7\",\"B, north\",y,1,2,3\r\n");
    site = "site-demo";
    EXPECT_EQ(import("boreholes", {odd}, {})["count"], "2");
    EXPECT_EQ(childOfKind(siteTree(*platform, site), "BoreholeCollection")["totalItems"], "14");
    for (const auto& job : platform->store().jobs().jobs()) {
        EXPECT_EQ(job.status, "DONE") << job.id;
        EXPECT_EQ(Json::parse(job.result)["jobId"], job.id);
    }
}

enum Twist { Plain, NoFile, FileGone, SiteGone };
struct Failure {
    const char* kind;
    std::string content; // of the file f.txt
    const char* says;
    Twist twist = Plain;
};

const std::string kCollars = "hole_id,easting,northing,elevation,total_depth\n";
const std::string kSurveys = "hole_id,depth,azimuth,dip\n";
const std::string kIntervals = "hole_id,depth_from,depth_to,lithology\n";
const std::string kModel = R"({"featureCollections":[{"name":"L","parameters":{"name":"P","values":)";

// One row per rule of the readers and the jobs.
const Failure kFailures[] = {
    {"boreholes", "", "no file was checked in for the stream ", NoFile},
    {"terrains", "", "cannot read the file of gone.txt (stream ", FileGone},
    {"boreholes", kCollars + "A,1,2,3,4\n", "was deleted after the import was accepted", SiteGone},
    {"boreholes", "hole_id\n\xE9t\xE9\n", "is not UTF-8 text"},
    {"boreholes", "what,why\na,b\n", "is neither a collar table"},
    {"boreholes", kIntervals + "A,0,1,SAND\n", "import it as a borehole interval set"},
    {"boreholeintervalsets", kIntervals + "BH-77,0,1,SAND\n", "has no borehole BH-77"},
    // Thrown after the borehole collection was made: the transaction takes it back.
    {"boreholes", kSurveys + "A,0,0,-90\n", "the hole A has no collar"},
    {"boreholes", "", "is empty; it needs a header row"},
    {"boreholes", "hole_id,easting\n\"A,1\n", "row 2: not valid CSV"},
    {"boreholes", "hole_id,easting\n\"A\"x,1\n", "row 2: not valid CSV"},
    {"boreholes", "hole_id,,easting\n", "row 1: column 2 of the header has no name"},
    {"boreholes", "hole_id,Hole_ID\n", "names the column \"hole_id\" twice"},
    {"fieldobservations", "station_id,easting\nS,1\n", "no column \"northing\" (its columns: station_id, easting)"},
    {"boreholes", kCollars + "A,1,2,3\n", "row 2: has 4 fields, the header 5"},
    {"boreholes", kCollars + ",1,2,3,4\n", "row 2, column \"hole_id\": must not be empty"},
    {"boreholes", kCollars + "A,1,2,3,4m\n", "column \"total_depth\": \"4m\" is not a number"},
    {"boreholes", kCollars + "A,inf,2,3,4\n", "\"inf\" is not a number"},
    {"boreholes", kCollars + "A,1,2,3,0\n", "must be above 0"},
    {"boreholes", kCollars + "A,1,2,3,4\nA,1,2,3,4\n", "row 3, column \"hole_id\": the hole A is listed twice"},
    {"boreholes", kSurveys + "A,0,360,-90\n", "360 is not within [0, 360)"},
    {"boreholes", kSurveys + "A,0,0,-91\n", "-91 is not within [-90, 90]"},
    {"boreholes", kSurveys + "A,-1,0,-90\n", "cannot be negative"},
    {"boreholeintervalsets", kIntervals + "A,3,3,SAND\n", "0 <= depth_from < depth_to"},
    {"boreholeintervalsets", "hole_id,depth_from,depth_to,lithology,porosity\nA,0,1,SAND,1.5\n", "1.5 is not within"},
    {"fieldobservations", "station_id,easting,northing\nS,1,2\nS,1,2\n", "the station S is listed twice"},
    {"fieldobservations", "station_id,easting,northing,strike\nS,1,2,-5\n", "-5 is not within [0, 360)"},
    {"terrains", "ncols 1\nnrows 1\ncolumns 1\n", "line 3: unknown header key \"columns\""},
    {"terrains", "ncols\nnrows 1\n", "line 1: the key ncols has no value"},
    {"terrains", "nrows 1\nxllcorner 0\nyllcorner 0\ncellsize 1\n5\n", "has no ncols"},
    {"terrains", "ncols 1.5\nnrows 1\n", "ncols must be a whole number"},
    {"terrains", "ncols 100000\nnrows 100000\n", "more than the"},
    {"terrains", "ncols 1\nnrows 1\nxllcorner 0\nxllcenter 0\nyllcorner 0\ncellsize 1\n5\n", "one of xllcorner and"},
    {"terrains", "ncols 1\nnrows 1\nxllcorner 0\nyllcorner 0\ncellsize 0\n5\n", "cellsize above 0"},
    {"terrains", "ncols 2\nnrows 1\nxllcorner 0\nyllcorner 0\ncellsize 1\n5\n6,5\n", "line 7: the height \"6,5\" is"},
    {"terrains", "ncols 1\nnrows 1\nxllcorner 0\nyllcorner 0\ncellsize 1\n5 6\n", "line 6: more heights than"},
    {"geos", "{\"name\": \"M\",", "is not JSON"},
    {"geos", "[1]", "the document: must be an object"},
    {"geos", "{\"name\": \"M\"}", "the member \"featureCollections\" is missing"},
    {"geos", kModel + R"({}},"features":[{"attribute":"A"}]}]})", "features[0]: the member \"name\" is missing"},
    {"geos", kModel + R"({}},"features":[{"name":"F","attribute":"A","operator":"~","value":"1"}]}]})",
     "featureCollections[0].features[0].operator: \"~\" is none of"},
    {"geos", kModel + R"({"k":[1]}},"features":[]}]})", "featureCollections[0].parameters.values.k: must be a string"},
};

TEST(ImportJobs, OneThatCannotBeDoneEndsAsAFailedResultSayingWhereAndWhy)
{
    ImportHooks hooks;
    const auto platform = hooks.start();
    TemporaryDirectory files;
    for (std::size_t i = 0; i < std::size(kFailures); ++i) {
        const Failure& row = kFailures[i];
        SCOPED_TRACE(row.says);
        const std::string site = createSite(*platform, "Site " + std::to_string(i));
        const fs::path file = row.twist == FileGone ? files.path() / "gone.txt" : files.write("f.txt", row.content);
        hooks.onLookup =
            row.twist != SiteGone ? std::function<void()>([] {}) : [&] { platform->store().sites().deleteSite(site); };
        const std::string job = hooks.send(*platform, row.kind, {row.twist == NoFile ? fs::path() : file}, site);
        const Json result = hooks.resultOf(job).second;
        EXPECT_THAT(result["result"].get<std::string>(), AllOf(StartsWith("FAILED: "), HasSubstr(row.says),
                                                               HasSubstr(row.twist == Plain ? "f.txt (stream " : "")));
        EXPECT_EQ(keysOf(result), (Keys{"result", "trackingNumber", "jobId"}));
        EXPECT_EQ(waitForStatus(*platform, job, "FAILED"), "FAILED");
        if (row.twist != SiteGone) {
            EXPECT_EQ(siteTree(*platform, site)["children"], Json::array()) << "nothing was imported";
        }
    }
    EXPECT_EQ(exchangeGet(platform->port(), "/common/crs/v1").status, 200) << "the platform still serves";
}

TEST(ImportJobs, TheResultGoesToTheUserSignedInToTheImportsWebSession)
{
    ImportHooks hooks;
    LocalPlatformOptions options = platformModeWithOneUser();
    options.plainHttp = true;
    const auto platform = hooks.start(options, "ada");
    const std::string site = createSite(*platform, "Signed in");
    const std::vector<fs::path> grid{exampleFile("terrain.asc")};
    const std::string job = hooks.send(*platform, "terrains", grid, site, {{"name", "T"}}, {signInCookie(*platform)});
    const auto [user, result] = hooks.resultOf(job);
    EXPECT_EQ(user, "ada");
    EXPECT_EQ(result["result"], "SUCCESS");

    const std::string anonymous = hooks.send(*platform, "terrains", grid, site);
    EXPECT_EQ(waitForStatus(*platform, anonymous, "DONE"), "DONE");
    EXPECT_EQ(platform->store().jobs().job(anonymous)->user, "") << "nobody signed in: nobody to tell";
    EXPECT_EQ(hooks.publishedCount(), 1u);
}

LocalPlatformOptions jobOptions(std::size_t workers, const fs::path& directory = {}, std::chrono::minutes delay = {})
{
    LocalPlatformOptions options;
    options.jobWorkers = workers;
    options.dataDirectory = directory.string();
    options.jobDelay = delay;
    return options;
}

// A job waiting at stop() goes back to the queue; one left running by a platform that died is taken up at the
// next start(); either runs once.
TEST(ImportJobs, SurviveARestart)
{
    TemporaryDirectory directory;
    ImportHooks hooks;
    auto platform = hooks.start(jobOptions(2, directory.path(), std::chrono::minutes(10)));
    const std::string site = createSite(*platform, "Restarted");
    const std::string job = hooks.send(*platform, "terrains", {exampleFile("terrain.asc")}, site);
    ASSERT_EQ(waitForStatus(*platform, job, "RUNNING"), "RUNNING");
    platform->stop(); // without waiting out the delay
    EXPECT_EQ(platform->store().jobs().job(job)->status, "QUEUED");
    ASSERT_TRUE(platform->store().jobs().claimNext()) << "taken again, as by a worker of a platform that then died";

    platform = nullptr;
    platform = hooks.start(jobOptions(2, directory.path()));
    EXPECT_EQ(hooks.resultOf(job).second["result"], "SUCCESS");
    EXPECT_EQ(waitForStatus(*platform, job, "DONE"), "DONE");
    EXPECT_EQ(childOfKind(siteTree(*platform, site), "TerrainCollection")["children"].size(), 1u);
    EXPECT_EQ(hooks.publishedCount(), 1u);
}

TEST(ImportJobs, ConcurrentOnesEachEndOnceWithTheirOwnResult)
{
    constexpr std::size_t kImports = 16;
    ImportHooks hooks;
    const auto platform = hooks.start(jobOptions(4));
    const std::string site = createSite(*platform, "Busy");
    std::vector<std::string> jobs(kImports);
    std::vector<std::thread> senders;
    for (std::size_t i = 0; i < kImports; ++i) {
        senders.emplace_back([&, i] {
            jobs[i] = i % 2 == 0
                          ? hooks.send(*platform, "boreholes", {exampleFile("collars.csv")}, site)
                          : hooks.send(*platform, "fieldobservations", {exampleFile("field-observations.csv")}, site);
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
    EXPECT_EQ(trackingNumbers.size(), kImports);
    EXPECT_EQ(hooks.publishedCount(), kImports) << "one result per job";
    const Json tree = siteTree(*platform, site);
    EXPECT_EQ(childOfKind(tree, "BoreholeCollection")["totalItems"], "12") << "each hole once: " << tree;
    EXPECT_EQ(childOfKind(tree, "PointSampleCollection")["children"].size(), kImports / 2u) << tree;
}

// A database of the first schema version opens with its sites kept and its jobs ready for the runner.
TEST(SchemaMigration, KeepsTheSitesAndJobsOfAVersion1Database)
{
    TemporaryDirectory directory;
    local::Database((directory.path() / "platform.db").string()).connect().execute(R"(
    CREATE TABLE sites (id TEXT PRIMARY KEY, name, description, crs, unit_of_measure, modified);
    CREATE TABLE upload_sessions (id TEXT PRIMARY KEY, created, finished);
    CREATE TABLE jobs (id TEXT PRIMARY KEY, kind, status, site_id REFERENCES sites(id), name,
                       upload_session_id REFERENCES upload_sessions(id), command, created);
    INSERT INTO sites VALUES ('site-old', 'Old', '', 'EPSG:32633', 'metre', '2024-01-01T00:00:00Z');
    INSERT INTO upload_sessions VALUES ('upl-old', '2024-01-01T00:00:00Z', '');
    INSERT INTO jobs VALUES ('job-b', 'terrain', 'QUEUED', 'site-old', 'T', 'upl-old', '{}', '2024-01-01T00:00:01Z'),
                            ('job-a', 'geo', 'QUEUED', 'site-old', 'G', 'upl-old', '{}', '2024-01-01T00:00:02Z');
    PRAGMA user_version = 1;)");
    LocalPlatform platform(jobOptions(0, directory.path()));

    const auto jobs = platform.store().jobs().jobs();
    ASSERT_EQ(jobs.size(), 2u);
    EXPECT_EQ(jobs[0].id, "job-b") << "in their order";
    EXPECT_EQ(jobs[0].user, "LOCAL_USER");
    EXPECT_EQ(jobs[0].status, "QUEUED");
    EXPECT_EQ(jobs[1].command, "{}");
    EXPECT_TRUE(platform.store().sites().deleteSite("site-old")) << "kept, and jobs no longer hold their site";
    auto version = platform.store().database().connect().prepare("PRAGMA user_version");
    EXPECT_TRUE(version.step() && version.integer(0) == 2) << "the version written";
}

SourceFile sample(const std::string& name)
{
    return readSourceFiles({"fcs-1"}, [&](const std::string&) { return exampleFile(name); }).at(0);
}

// What the site's tree does not show of the samples (examples/data/README.md describes them).
TEST(Readers, ReadTheSamplesAsTheirReadmeDescribesThem)
{
    EXPECT_EQ(readSurveys(CsvTable::parse(sample("surveys.csv"))).size(), 27u);
    const auto observations = readFieldObservations(CsvTable::parse(sample("field-observations.csv")));
    EXPECT_EQ(observations.at(1).note, "Gravel pit face, \"imbricated\" clasts");
    const TerrainGrid grid = readTerrainGrid(sample("terrain.asc"));
    EXPECT_EQ(grid.heights.size(), 120u);
    EXPECT_LT(*grid.lowest, *grid.highest);
    EXPECT_GT(*grid.lowest, 0) << "the no-data cell does not count";
    const GeologicObject model = readGeologicObject(sample("geologic-model.json"));
    EXPECT_EQ(model.collections.at(0).parameters.at(1), (std::pair<std::string, std::string>{"minThicknessM", "0.5"}));
}

} // namespace
} // namespace lithmar::test
