// The data exchange and control endpoints over the wire: sites and their
// trees, crs, session cookies, uploads, imports, downloads, scripted faults,
// the request log, the one table of what bad input gets on every endpoint,
// and requests on several threads at once.

#include <tests/support/Platform.h>

#include <gmock/gmock.h>

#include <algorithm>
#include <atomic>
#include <regex>
#include <set>
#include <thread>

namespace lithmar::test {
namespace {

using ::testing::HasSubstr;
using ::testing::StartsWith;
using Endpoints = PlatformTest;
using Keys = std::vector<std::string>;

// An answer as one value to compare (key order included): its tracking
// number becomes "#" and every UTC date "D".
Json stable(const std::string& body)
{
    Json answer = Json::parse(std::regex_replace(body, std::regex(R"("\d{4}-\d\d-\d\dT\d\d:\d\d:\d\dZ")"), "\"D\""));
    if (answer.contains("trackingNumber") && answer["trackingNumber"].is_string()) {
        answer["trackingNumber"] = "#";
    }
    return answer;
}

std::string finishCommand(const std::string& sessionId, const std::string& receipts)
{
    return "{\"sessionId\":\"" + sessionId + "\",\"fcsReceipts\":" + receipts + "}";
}

HttpReply control(const LocalPlatform& platform, const char* method, const char* path, const std::string& body = {})
{
    return httpCall(platform.port(), method, std::string("/_control") + path, {{"Content-Type", "application/json"}},
                    body);
}

TEST_F(Endpoints, ListTheSitesTheDemoTreeAndTheCrsEachWithItsOwnTrackingNumber)
{
    const HttpReply sites = get("/common/sites/v1");
    EXPECT_EQ(sites.header("Content-Type"), "application/json");
    EXPECT_EQ(stable(sites.body), Json::parse(R"({"result":"OK","trackingNumber":"#","sites":[{"id":"site-demo",
        "name":"Demo site","description":"A small site to try the data exchange with","crs":"EPSG:32633",
        "unitofmeasure":"metre"}]})"));
    // Each kind has its keys in its order; siblings come in creation order.
    EXPECT_EQ(stable(get("/common/sites/v1/site-demo").body), Json::parse(R"({"result":"OK","trackingNumber":"#",
"tree":{"type":"Site","id":"site-demo","name":"Demo site","modificationDate":"D","children":[{"type":"GeologicModel",
"id":"gm-demo","name":"Demo geologic model","modificationDate":"D","children":[{"type":"FeatureCollection",
"id":"fc-demo-lithology","name":"Lithology","children":[{"type":"Parameters","id":"par-demo-lithology",
"name":"Lithology classes","parameters":"classification=USCS;minThicknessM=0.5","children":[
{"type":"Feature","isDirty":"false","id":"feat-demo-sand","name":"Sand","attributeName":"LITH","attributeValue":"SAND",
"attributeOperator":"="},{"type":"Feature","isDirty":"false","id":"feat-demo-clay","name":"Clay","attributeName":"LITH",
"attributeValue":"CLAY","attributeOperator":"="}]}]},{"type":"FeatureCollection","id":"fc-demo-porosity",
"name":"Porosity","children":[{"type":"Parameters","id":"par-demo-porosity","name":"Porosity bands",
"parameters":"unit=fraction","children":[{"type":"Feature","isDirty":"false","id":"feat-demo-porous",
"name":"High porosity","attributeName":"POROSITY","attributeValue":"0.25","attributeOperator":">="},
{"type":"Feature","isDirty":"false","id":"feat-demo-tight","name":"Low porosity","attributeName":"POROSITY",
"attributeValue":"0.1","attributeOperator":"<"}]}]}]},
{"type":"BoreholeCollection","id":"bhc-demo","name":"Boreholes","totalItems":"12"},
{"type":"PointSampleCollection","id":"psc-demo","name":"Point samples","children":[{"type":"PointSampleSet",
"id":"pss-demo-soil","name":"Soil samples 2023","totalItems":"48"}]},
{"type":"StaticStructureCollection","id":"ssc-demo","name":"Static structures","children":[{"type":"StaticStructure",
"id":"ss-demo-fault","name":"Main fault","modificationDate":"D"}]},{"type":"TerrainCollection","id":"trc-demo",
"name":"Terrains","children":[{"type":"Terrain","id":"ter-demo","name":"Demo terrain","modificationDate":"D"}]}]}})"));
    const Json crs = stable(get("/common/crs/v1").body);
    EXPECT_EQ(keysOf(crs), (Keys{"result", "trackingNumber", "crs"}));
    EXPECT_EQ(crs["crs"].size(), 9u);
    EXPECT_EQ(crs["crs"][0], Json::parse(R"({"id":"EPSG:4326","name":"WGS 84","unitofmeasure":"degree"})"));
    EXPECT_NE(get("/common/crs/v1").json()["trackingNumber"], get("/common/crs/v1").json()["trackingNumber"]);
}

TEST_F(Endpoints, CreateSitesListedInCreationOrderWithUniqueTrimmedNamesOfUpTo200Characters)
{
    const HttpReply created = post("/common/sites/v1", R"({"siteName":"  North \u00c9corce  "})");
    const std::string id = created.json().value("id", "");
    EXPECT_THAT(id, StartsWith("site-"));
    EXPECT_EQ(stable(created.body),
              Json({{"result", "OK"}, {"trackingNumber", "#"}, {"name", "North \u00c9corce"}, {"id", id}}));
    ASSERT_EQ(post("/common/sites/v1", R"({"siteName":"north"})").status, 200) << "names are case-sensitive";
    const HttpReply again = post("/common/sites/v1", R"({"siteName":"North \u00c9corce "})");
    EXPECT_TRUE(isError(again, 409));
    EXPECT_THAT(errorOf(again), HasSubstr("\"North \u00c9corce\""));

    const std::string longest = std::regex_replace(std::string(200, '.'), std::regex("."), "\u00c9");
    EXPECT_EQ(post("/common/sites/v1", "{\"siteName\":\"" + longest + "\"}").status, 200);
    const HttpReply tooLong = post("/common/sites/v1", "{\"siteName\":\"" + longest + "E\"}");
    EXPECT_TRUE(isError(tooLong, 400));
    EXPECT_THAT(errorOf(tooLong), HasSubstr("201 characters"));

    const Json sites = get("/common/sites/v1").json()["sites"];
    ASSERT_EQ(sites.size(), 4u);
    EXPECT_EQ(sites[1], Json::parse(R"({"id":")" + id +
                                    R"(","name":"North \u00c9corce","description":"",)"
                                    R"("crs":"EPSG:32633","unitofmeasure":"metre"})"));
    EXPECT_EQ(stable(get("/common/sites/v1/" + id).body)["tree"],
              Json::parse(R"({"type":"Site","id":")" + id +
                          R"(","name":"North \u00c9corce","modificationDate":"D","children":[]})"));
    EXPECT_EQ(get("/common/sites/v1/site%2Ddemo").status, 200) << "escaped characters of a known id";
    LocalPlatform other(endpointsOnly());
    other.start();
    EXPECT_EQ(exchangeGet(other.port(), "/common/sites/v1").json()["sites"].size(), 1u) << "its own state in memory";
}

std::string sessionIdIn(const HttpReply& reply)
{
    std::smatch match;
    const std::string line = reply.headerLines("Set-Cookie").at(0);
    EXPECT_TRUE(std::regex_match(line, match, std::regex("JSESSIONID=([0-9A-F]{32}); Path=/; HttpOnly"))) << line;
    return match[1];
}

TEST_F(Endpoints, HandOutSessionCookiesOnlyToRequestsWithoutAKnownSessionAndRecordTheVisits)
{
    const HttpReply opening = get("/common/sites/v1?xrequestedwith=xmlhttprequest");
    EXPECT_EQ(opening.body, "{}");
    ASSERT_EQ(opening.headerLines("Set-Cookie").size(), 2u);
    EXPECT_EQ(opening.headerLines("Set-Cookie")[1], "SERVERID=lithmar-local-1; path=/");
    const std::string session = sessionIdIn(opening);
    const HttpReply known = get("/common/sites/v1", {{"Cookie", "JSESSIONID=" + session + ";SERVERID=x"}});
    EXPECT_EQ(known.status, 200);
    EXPECT_TRUE(known.headerLines("Set-Cookie").empty());
    const HttpReply missing = get("/common/sites/v1/nowhere", {{"Cookie", "SERVERID=x; JSESSIONID=" + session}});
    EXPECT_EQ(missing.status, 404);
    EXPECT_TRUE(missing.headerLines("Set-Cookie").empty()) << "failed requests keep their session too";

    const HttpReply stale = get("/common/crs/v1", {{"Cookie", "JSESSIONID=FFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFF"}});
    const HttpReply refused = post("/common/sites/v1", R"({"siteName":""})");
    EXPECT_EQ(refused.status, 400);
    EXPECT_NE(sessionIdIn(stale), sessionIdIn(refused)) << "failed requests open sessions as well";
    EXPECT_EQ(httpCall(platform.port(), "GET", "/elsewhere").status, 404);

    const Json sessions = control(platform, "GET", "/sessions").json();
    EXPECT_EQ(sessions["sessions"], 3) << "neither control requests nor unknown paths open sessions";
    ASSERT_EQ(sessions["visits"].size(), 5u);
    const auto visit = [&](bool opened, const std::string& target) {
        return Json::parse(R"({"sessionId":")" + session + R"(","opened":)" + (opened ? "true" : "false") +
                           R"(,"method":"GET","target":"/lithmar-xchng/common/sites/v1)" + target + "\"}");
    };
    EXPECT_EQ(sessions["visits"][0], visit(true, "?xrequestedwith=xmlhttprequest"));
    EXPECT_EQ(sessions["visits"][2], visit(false, "/nowhere"));
}

TEST_F(Endpoints, UploadGivesOneSlotPerFileOnTheReachedHostAndFinishesOnceWith204)
{
    const Json answer = startUpload(3);
    EXPECT_EQ(keysOf(answer), (Keys{"sessionId", "fcsFiles"})) << "no result or tracking number here";
    std::set<std::string> unique;
    for (const Json& slot : answer["fcsFiles"]) {
        const std::string stream = slot["fcsStreamId"], ticket = slot["fcsFileTicket"];
        EXPECT_EQ(slot, Json({{"fcsStreamId", stream},
                              {"fcsFileUrl", platform.baseUrl() + "/lithmar-fcs/checkin/" + stream},
                              {"fcsFileTicket", ticket}}));
        EXPECT_GE(ticket.size(), 32u);
        unique.insert({stream, ticket});
    }
    EXPECT_EQ(unique.size(), 6u);
    EXPECT_NE(startUpload(1)["sessionId"], answer["sessionId"]);
    EXPECT_EQ(startUpload(1000)["fcsFiles"].size(), 1000u);
    const auto urlFor = [&](const std::string& host) {
        return post("/upload/v1/start", R"({"numberOfFiles":1})", {{"Host", host}}).json()["fcsFiles"][0]["fcsFileUrl"];
    };
    EXPECT_THAT(urlFor("platform.test:9000").get<std::string>(),
                StartsWith("http://platform.test:9000/lithmar-fcs/checkin/fcs-"));
    EXPECT_THAT(urlFor("evil/host?x").get<std::string>(), StartsWith(platform.baseUrl() + "/lithmar-fcs/"))
        << "an implausible Host gives way to the address the connection reached";

    const std::string id = answer["sessionId"];
    const std::string receipt = receiptFor(answer["fcsFiles"][0]);
    const HttpReply finished = post("/upload/v1/finish", finishCommand(id, "[" + receipt + "]"));
    EXPECT_EQ(finished.status, 204);
    EXPECT_EQ(finished.body + finished.header("Content-Type"), "") << "neither body nor Content-Type";
    const auto stored = platform.store().uploads().session(id);
    ASSERT_TRUE(stored);
    EXPECT_EQ(Json({stored->finished.empty(), stored->streams[0].receipt, stored->streams[1].receipt}),
              Json({false, Json::parse(receipt)["fcsReciept"], ""}));
    const HttpReply again = post("/upload/v1/finish", finishCommand(id, "[" + receipt + "]"));
    EXPECT_TRUE(isError(again, 409));
    EXPECT_THAT(errorOf(again), HasSubstr("finished"));
}

struct ImportKind {
    const char *path, *job, *extraFields; // fields besides sessionId, the streams and siteId
    bool singleStream;
};

const ImportKind kImports[] = {
    {"/exploration/boreholes/v1", "boreholes", R"("crs":"EPSG:4326","importType":"LAS")", false},
    {"/exploration/boreholeintervalsets/v1", "boreholeIntervalSet", R"("name":"Intervals","importType":"CSV")", true},
    {"/exploration/fieldobservations/v1", "fieldObservation",
     R"("name":"Outcrops","crs":"","importType":"CSV","existingFieldObservationId":"")", false},
    {"/exploration/geos/v1", "geo", R"("name":"B","crs":"EPSG:32633","importType":"GEO","existingGeoId":"")", false},
    {"/exploration/terrains/v1", "terrain",
     R"("name":"","crs":"EPSG:4326","importType":"DEM","existingTerrainId":"ter-demo")", false}, // no name needed
};

std::string importCommand(const ImportKind& kind, const std::string& session, const std::string& stream,
                          const std::string& siteId = "site-demo")
{
    const std::string streams =
        kind.singleStream ? "\"fcsStreamId\":\"" + stream + "\"" : "\"fcsStreamIds\":[\"" + stream + "\"]";
    return "{\"sessionId\":\"" + session + "\"," + streams + ",\"siteId\":\"" + siteId + "\"," + kind.extraFields + "}";
}

TEST_F(Endpoints, EachImportQueuesAJobForAGoodCommandAndNoneForABadOne)
{
    const std::string foreign = startUpload(1)["fcsFiles"][0]["fcsStreamId"];
    std::size_t queued = 0;
    for (const ImportKind& kind : kImports) {
        SCOPED_TRACE(kind.path);
        const Json session = startUpload(1);
        const std::string id = session["sessionId"], stream = session["fcsFiles"][0]["fcsStreamId"];
        const auto refused = [&](const std::string& body, int status, const std::string& complaint) {
            const HttpReply reply = post(kind.path, body);
            EXPECT_TRUE(isError(reply, status)) << body;
            EXPECT_THAT(errorOf(reply), HasSubstr(complaint)) << body;
        };
        refused(importCommand(kind, "upl-none", stream), 404, "upl-none");
        refused(importCommand(kind, id, foreign), 400, "not part of the upload session");
        refused(importCommand(kind, id, stream, "site-none"), 404, "site-none");
        const Json good = Json::parse(importCommand(kind, id, stream));
        // The first three are required; the others, where the kind has them, are checked for their type.
        const Keys keys{"sessionId", kind.singleStream ? "fcsStreamId" : "fcsStreamIds", "siteId", "importType", "name",
                        "crs"};
        for (std::size_t k = 0; k < keys.size(); ++k) {
            Json changed = good;
            if (changed.contains(keys[k])) {
                changed[keys[k]] = 42;
                refused(changed.dump(), 400, "\"" + keys[k] + "\"");
                changed.erase(keys[k]);
                if (k < 3) {
                    refused(changed.dump(), 400, "lacks the field \"" + keys[k] + "\"");
                }
            }
        }
        ASSERT_EQ(platform.store().jobs().jobs().size(), queued);

        const HttpReply reply = post(kind.path, good.dump());
        const std::string jobId = reply.json().value("jobId", "");
        EXPECT_THAT(jobId, StartsWith("job-"));
        EXPECT_EQ(stable(reply.body), Json({{"result", "ACCEPTED"}, {"trackingNumber", "#"}, {"jobId", jobId}}));
        ASSERT_EQ(platform.store().jobs().jobs().size(), ++queued);
        const auto job = platform.store().jobs().job(jobId);
        ASSERT_TRUE(job);
        // The command is kept as the client sent it, for the job runner.
        EXPECT_EQ(Json({job->kind, job->status, job->siteId, job->command, job->uploadSessionId}),
                  Json({kind.job, "QUEUED", "site-demo", good.dump(), id}));
    }
}

TEST_F(Endpoints, DownloadTheModelOrAFeatureInTheAskedFormatAndCrs)
{
    const auto answer = [](const char* idKey, const char* id, const char* name, const std::string& rows) {
        const std::string head =
            "featureCollection,parameters,featureId,feature,attributeName,attributeOperator,attributeValue,crs\n";
        return Json({{"result", "OK"},
                     {"trackingNumber", "#"},
                     {idKey, id},
                     {"files", Json::array({Json({{"name", name}, {"data", head + rows}})})}});
    };
    const std::string sand = "Lithology,Lithology classes,feat-demo-sand,Sand,LITH,=,SAND,EPSG:32633\n";
    const HttpReply model = get("/geology/geologicmodels/v1/gm-demo?crs=&detailLevel=&format=");
    EXPECT_EQ(stable(model.body),
              answer("geologicModelId", "gm-demo", "Demo_geologic_model.csv",
                     sand + "Lithology,Lithology classes,feat-demo-clay,Clay,LITH,=,CLAY,EPSG:32633\n"
                            "Porosity,Porosity bands,feat-demo-porous,High porosity,POROSITY,>=,0.25,EPSG:32633\n"
                            "Porosity,Porosity bands,feat-demo-tight,Low porosity,POROSITY,<,0.1,EPSG:32633\n"));
    EXPECT_EQ(get("/geology/geologicmodels/v1/gm-demo").json()["files"], model.json()["files"]) << "absent means empty";
    EXPECT_EQ(stable(get("/geology/geologicfeatures/v1/feat-demo-sand?crs=EPSG%3A4326&format=csv").body),
              answer("geologicFeatureId", "feat-demo-sand", "Sand.csv",
                     std::regex_replace(sand, std::regex("32633"), "4326")));

    const Json json = get("/geology/geologicmodels/v1/gm-demo?crs=EPSG:2230&detailLevel=high&format=json").json();
    EXPECT_EQ(json["files"][0]["name"], "Demo_geologic_model.json");
    Json document = Json::parse(json["files"][0]["data"].get<std::string>());
    document["content"] = Json({document["content"]["type"], document["content"]["children"].size()});
    EXPECT_EQ(document, Json::parse(R"({"crs":"EPSG:2230","unitofmeasure":"US survey foot","detailLevel":"high",
                                        "content":["GeologicModel",2]})"));
}

struct Refusal {
    std::string method, target, body; // target: under /lithmar-xchng, or from "/_control"
    int status;
    std::string complaint;
};

// One row per rule: the shared command checks once, each endpoint's own rules.
TEST_F(Endpoints, BadInputGetsAJsonErrorWithTheRightStatusAndChangesNothing)
{
    const Json session = startUpload(2);
    const std::string id = session["sessionId"], stream = session["fcsFiles"][0]["fcsStreamId"];
    const std::string unchecked = session["fcsFiles"][1]["fcsStreamId"], receipt = receiptFor(session["fcsFiles"][0]);
    const std::string receiptText = Json::parse(receipt)["fcsReciept"];
    const std::string foreign = receiptFor(startUpload(1)["fcsFiles"][0]);
    const auto entry = [](const std::string& key, const std::string& s, const std::string& r) {
        return Json{{"fcsStreamId", s}, {key, r}}.dump();
    };
    const auto receipts = [&](const std::string& list) { return finishCommand(id, list); };
    const auto import = [&](const std::string& streams, const std::string& fields = "") {
        return "{\"sessionId\":\"" + id + "\",\"fcsStreamIds\":" + streams + ",\"siteId\":\"site-demo\"" + fields + "}";
    };
    const std::string huge = "{\"siteName\":\"" + std::string(2 << 20, 'a') + "\"}", streams = "[\"" + stream + "\"]";
    const std::string sites = "/common/sites/v1", start = "/upload/v1/start", finish = "/upload/v1/finish";
    const std::string boreholes = "/exploration/boreholes/v1", geos = "/exploration/geos/v1";
    const std::string model = "/geology/geologicmodels/v1/", faults = "/_control/faults";
    const std::vector<Refusal> refusals{
        {"POST", sites, "", 400, "not valid JSON"},
        {"POST", sites, "42", 400, "must be a JSON object, not number"},
        {"POST", sites, "{\"siteName\":\"\xc0\xaf\"}", 400, "not valid UTF-8"},
        {"POST", sites, std::string(100, '[') + std::string(100, ']'), 400, "nests deeper"},
        {"POST", sites, huge, 413, std::to_string(huge.size())},
        {"POST", sites, R"({"sitename":"x"})", 400, "lacks the field \"siteName\""},
        {"POST", sites, R"({"siteName":null})", 400, "must be a string, not null"},
        {"POST", sites, R"({"siteName":" \t "})", 400, "must not be empty or blank"},
        {"GET", sites + "/a/b", "", 404, "\"a/b\""},
        {"GET", sites + "/bad%zz", "", 400, "two hex digits"},
        {"GET", sites + "/%FF%FE", "", 404, "\xef\xbf\xbd"}, // U+FFFD keeps the answer valid JSON
        {"POST", start, R"({"numberOfFiles":0})", 400, "from 1 to 1000"},
        {"POST", start, R"({"numberOfFiles":1001})", 400, "from 1 to 1000"},
        {"POST", start, R"({"numberOfFiles":-1})", 400, "from 1 to 1000"},
        {"POST", start, R"({"numberOfFiles":2.5})", 400, "from 1 to 1000"},
        {"POST", finish, receipts("[" + foreign + "]"), 400, "not part of the upload session"},
        {"POST", finish, receipts("[" + entry("fcsReciept", stream, "<ok/>") + "]"), 400, "not the one the file"},
        {"POST", finish, receipts("[" + receipt + "," + entry("fcsReciept", unchecked, receiptText) + "]"), 400,
         "never checked in"},
        {"POST", finish, receipts("[]"), 400, "not none"},
        {"POST", finish, receipts("[1]"), 400, "must be an object"},
        {"POST", finish, receipts("[" + receipt + "," + receipt + "]"), 400, "two receipts"},
        {"POST", boreholes, import("[]"), 400, "at least one"},
        {"POST", boreholes, import("[\"\"]"), 400, "non-empty string"},
        {"POST", geos, import(streams, R"(,"name":"m","crs":"EPSG:9999")"), 400, "EPSG:9999"},
        {"POST", geos, import(streams, R"(,"name":"   ")"), 400, "existingGeoId"},
        {"POST", geos, import(streams, R"(,"existingGeoId":"gm-none")"), 404, "gm-none"},
        {"POST", geos, import(streams, R"(,"existingGeoId":"ter-demo")"), 404, "ter-demo"},
        {"GET", model + "gm-demo?crs=&detailLevel=&format=shp", "", 400, "csv, json"},
        {"GET", model + "gm-none", "", 404, "gm-none"},
        {"GET", model + "feat-demo-sand", "", 404, "feat-demo-sand"},
        {"GET", "/geology/geologicfeatures/v1/x?crs=%ZZ", "", 400, "%25"},
        {"POST", faults, R"({"path":"no-slash","status":503})", 400, "must start with '/'"},
        {"POST", faults, R"({"path":"/a"})", 400, "say what the fault does"},
        {"POST", faults, R"({"path":"/a","status":503,"close":true})", 400, "not both"},
        {"POST", faults, R"({"path":"/a","status":503,"times":0})", 400, "at least 1"},
        {"POST", faults, R"({"path":"/a","close":"yes"})", 400, "true or false"},
        {"POST", faults, R"({"path":"/a","status":503,"headers":["X"]})", 400, "\"headers\" must be an object"},
        {"POST", faults, R"({"path":"/a","status":503,"headers":{"X":1}})", 400, "string value"},
        {"POST", faults, R"({"path":"/a","status":503,"headers":{"X":"a\r\nInjected: 1"}})", 400, "line breaks"},
        {"POST", "/_control/notifications", R"({"payload":[1]})", 400, "\"payload\""},
    };
    for (const Refusal& r : refusals) {
        const std::string target = (r.target.rfind("/_control", 0) == 0 ? "" : "/lithmar-xchng") + r.target;
        SCOPED_TRACE(r.method + " " + target + " " + r.body.substr(0, 200));
        const HttpReply reply =
            httpCall(platform.port(), r.method, target, {{"Content-Type", "application/json"}}, r.body);
        EXPECT_TRUE(isError(reply, r.status));
        EXPECT_THAT(errorOf(reply), HasSubstr(r.complaint));
    }
    // Every command handler reads its body through the same checks (the imports share one handler).
    for (const std::string& path : {sites, start, finish, boreholes, faults, std::string("/_control/notifications")}) {
        const std::string target = (path.rfind("/_control", 0) == 0 ? "" : "/lithmar-xchng") + path;
        const HttpReply text = httpCall(platform.port(), "POST", target, {{"Content-Type", "text/plain"}}, "{}");
        EXPECT_TRUE(isError(text, 415)) << path;
        EXPECT_THAT(errorOf(text), HasSubstr("application/json")) << path;
    }
    EXPECT_EQ(get("/common/sites/v1").json()["sites"].size(), 1u);
    EXPECT_TRUE(platform.store().jobs().jobs().empty());
    EXPECT_EQ(platform.notifications().endIndex("LOCAL_USER"), 0);
    EXPECT_EQ(get("/common/crs/v1").status, 200) << "no fault was scripted";
    EXPECT_EQ(post(finish, finishCommand(id, "[" + receipt + "]")).status, 204) << "the refusals changed nothing";
}

TEST_F(Endpoints, ControlScriptsFaultsForSomeOrEveryRequestAndListsTheOthers)
{
    const auto script = [&](const std::string& fault) { return control(platform, "POST", "/faults", fault).json(); };
    const Json done = Json({{"result", "OK"}});
    EXPECT_EQ(script(R"({"method":"GET","path":"/lithmar-xchng/common/sites/v1","status":503,)"
                     R"("body":"{\"error\":\"maintenance\"}","headers":{"Retry-After":"1"},"times":2})"),
              done);
    EXPECT_EQ(post("/common/sites/v1", R"({"siteName":"Posted"})").status, 200) << "another method";
    for (int i = 0; i < 2; ++i) {
        const HttpReply faulty = get("/common/sites/v1");
        EXPECT_EQ(Json({faulty.status, faulty.body, faulty.header("Retry-After"), faulty.header("Content-Type")}),
                  Json({503, R"({"error":"maintenance"})", "1", "application/json"}))
            << "a body is JSON unless a header says otherwise";
    }
    EXPECT_EQ(get("/common/sites/v1").status, 200) << "used up";

    ASSERT_EQ(script(R"({"path":"/lithmar-xchng/common/crs/v1","delayMs":20})"), done);
    EXPECT_EQ(get("/common/crs/v1").status, 200) << "a stall, then the normal answer";
    ASSERT_EQ(script(R"({"path":"/lithmar-xchng/common/crs/v1","close":true})"), done);
    EXPECT_THROW(get("/common/crs/v1"), std::exception) << "the connection closes without an answer";
    EXPECT_EQ(get("/common/crs/v1").status, 200);
    ASSERT_EQ(script(R"({"path":"/lithmar-xchng/upload/{rest...}","status":500,"times":-1})"), done);
    EXPECT_EQ(post("/upload/v1/start", R"({"numberOfFiles":1})").status, 500);
    EXPECT_EQ(post("/upload/v1/finish", "{}").status, 500);
    EXPECT_EQ(control(platform, "DELETE", "/faults").status, 200);
    EXPECT_EQ(post("/upload/v1/start", R"({"numberOfFiles":1})").status, 200);

    // The request log lists all but the control requests, as valid JSON whatever the body.
    ASSERT_EQ(control(platform, "DELETE", "/requests").status, 200);
    get("/common/crs/v1?x=1", {{"X-Host-Application", "modeller 7"}});
    post("/common/sites/v1", R"({"siteName":"Logged"})");
    post("/common/sites/v1", std::string("\xff\xfe\x00\x01", 4));
    const Json requests = control(platform, "GET", "/requests").json()["requests"];
    ASSERT_EQ(requests.size(), 3u) << requests;
    EXPECT_EQ(keysOf(requests[0]), (Keys{"method", "target", "headers", "body", "bodySize", "bodyTruncated", "complete",
                                         "connection", "remoteAddress"}));
    EXPECT_THAT(requests[0]["headers"].dump(), HasSubstr(R"({"name":"X-Host-Application","value":"modeller 7"})"));
    EXPECT_EQ(Json({requests[0]["method"], requests[0]["target"], requests[1]["body"], requests[1]["bodySize"],
                    requests[2]["bodySize"]}),
              Json({"GET", "/lithmar-xchng/common/crs/v1?x=1", R"({"siteName":"Logged"})", 21, 4}));
    EXPECT_EQ(control(platform, "DELETE", "/requests").status, 200);
    EXPECT_EQ(control(platform, "GET", "/requests").json()["requests"].size(), 0u);
}

// Handlers run on several threads at once: nothing may be lost, doubled or
// overfilled. (Also run under ThreadSanitizer.)
LocalPlatformOptions queueOfFive()
{
    LocalPlatformOptions options = endpointsOnly();
    options.jobQueueCapacity = 5;
    return options;
}

struct Concurrency : PlatformTest {
    Concurrency() : PlatformTest(queueOfFive()) {}
};

TEST_F(Concurrency, SitesImportsAndFinishesAtOnceAreNeitherLostNorDoubledNorOverfilled)
{
    constexpr int kThreads = 8;
    const Json session = startUpload(1);
    const std::string id = session["sessionId"];
    const std::string import = "{\"sessionId\":\"" + id + "\",\"fcsStreamIds\":[" +
                               session["fcsFiles"][0]["fcsStreamId"].dump() + "],\"siteId\":\"site-demo\"}";
    const std::string finish = finishCommand(id, "[" + receiptFor(session["fcsFiles"][0]) + "]");
    // Per thread: the status for its own site, for "Contested", the import's answer, the finish's status.
    std::vector<Json> results(kThreads);
    std::atomic<int> ready{0};
    std::vector<std::thread> threads;
    for (int i = 0; i < kThreads; ++i) {
        threads.emplace_back([&, i] {
            for (++ready; ready.load() < kThreads;) {
                std::this_thread::yield(); // all start together
            }
            const int own = post("/common/sites/v1", "{\"siteName\":\"Site " + std::to_string(i) + "\"}").status;
            const int contested = post("/common/sites/v1", R"({"siteName":"Contested"})").status;
            const Json imported = stable(post("/exploration/boreholes/v1", import).body);
            results[i] = Json({own, contested, imported, post("/upload/v1/finish", finish).status});
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    const auto count = [&](std::size_t column, const Json& value) {
        return std::count_if(results.begin(), results.end(),
                             [&](const Json& result) { return result[column] == value; });
    };
    const Json full = Json::parse(R"({"result":"QUEUE_FULL","trackingNumber":"#","jobId":"QUEUE_FULL"})");
    EXPECT_EQ(Json({count(0, 200), count(1, 200), count(1, 409), count(2, full), count(3, 204), count(3, 409)}),
              Json({kThreads, 1, kThreads - 1, kThreads - 5, 1, kThreads - 1}));
    EXPECT_EQ(get("/common/sites/v1").json()["sites"].size(), kThreads + 2u) << "none lost, each id its own";
    EXPECT_EQ(platform.store().jobs().jobs().size(), 5u);
}

} // namespace
} // namespace lithmar::test
