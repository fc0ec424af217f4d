// The control endpoints: faults scripted over HTTP, the request log and the
// sessions as JSON.

#include "PlatformTest.h"

#include <gmock/gmock.h>

namespace lithmar::local::testing {
namespace {

using ::testing::HasSubstr;
using Keys = std::vector<std::string>;

class ControlEndpoints : public PlatformTest {
protected:
    HttpReply control(const char* method, const char* path, const std::string& body = {})
    {
        std::vector<Header> headers;
        if (!body.empty()) {
            headers.push_back({"Content-Type", "application/json"});
        }
        return httpCall(platform.port(), method, std::string("/_control") + path, headers, body);
    }
};

TEST_F(ControlEndpoints, ScriptsAnAnswerForTheGivenNumberOfRequests)
{
    const HttpReply scripted =
        control("POST", "/faults",
                R"({"method":"GET","path":"/lithmar-xchng/common/sites/v1","status":503,)"
                R"("body":"{\"error\":\"maintenance\"}","headers":{"Retry-After":"1"},"times":2})");
    ASSERT_EQ(scripted.status, 200) << scripted.body;
    EXPECT_EQ(scripted.json(), Json::parse(R"({"result":"OK"})"));
    for (int i = 0; i < 2; ++i) {
        const HttpReply faulty = get("/common/sites/v1");
        EXPECT_EQ(faulty.status, 503);
        EXPECT_EQ(faulty.body, R"({"error":"maintenance"})");
        EXPECT_EQ(faulty.header("Retry-After"), "1");
        EXPECT_EQ(faulty.header("Content-Type"), "application/json") << "the default for a body";
    }
    EXPECT_EQ(get("/common/sites/v1").status, 200) << "used up";
}

TEST_F(ControlEndpoints, ScriptsDelaysClosedConnectionsAndFaultsForEveryRequest)
{
    ASSERT_EQ(control("POST", "/faults", R"({"path":"/lithmar-xchng/common/crs/v1","delayMs":20})").status, 200);
    EXPECT_EQ(get("/common/crs/v1").status, 200) << "a stall, then the normal answer";

    ASSERT_EQ(control("POST", "/faults", R"({"path":"/lithmar-xchng/common/crs/v1","close":true})").status, 200);
    EXPECT_THROW(get("/common/crs/v1"), std::exception) << "the connection closes without an answer";
    EXPECT_EQ(get("/common/crs/v1").status, 200);

    ASSERT_EQ(
        control("POST", "/faults", R"({"path":"/lithmar-xchng/upload/{rest...}","status":500,"times":-1})").status,
        200);
    for (int i = 0; i < 3; ++i) {
        EXPECT_EQ(post("/upload/v1/start", R"({"numberOfFiles":1})").status, 500);
    }
    EXPECT_EQ(control("DELETE", "/faults").status, 200);
    EXPECT_EQ(post("/upload/v1/start", R"({"numberOfFiles":1})").status, 200);
}

TEST_F(ControlEndpoints, RefusesFaultsItCannotCarryOut)
{
    struct Case {
        const char* body;
        const char* complaint;
    };
    const Case cases[] = {
        {R"({"status":503})", "\"path\""},
        {R"({"path":"no-slash","status":503})", "must start with '/'"},
        {R"({"path":"/a/{rest...}/b","status":503})", "only the last segment"},
        {R"({"path":"/a"})", "say what the fault does"},
        {R"({"path":"/a","status":503,"close":true})", "not both"},
        {R"({"path":"/a","status":42})", "from 100 to 999"},
        {R"({"path":"/a","status":"503"})", "whole number"},
        {R"({"path":"/a","status":503,"times":0})", "at least 1"},
        {R"({"path":"/a","status":503,"times":-2})", "\"times\""},
        {R"({"path":"/a","delayMs":-1})", "\"delayMs\""},
        {R"({"path":"/a","delayMs":100000000})", "\"delayMs\""},
        {R"({"path":"/a","close":"yes"})", "true or false"},
        {R"({"path":"/a","status":503,"headers":["X"]})", "\"headers\" must be an object"},
        {R"({"path":"/a","status":503,"headers":{"X":1}})", "string value"},
        {R"({"path":"/a","status":503,"headers":{"X":"a\r\nInjected: 1"}})", "line breaks"},
        {R"({"path":"/a","status":503,"method":""})", "\"method\""},
    };
    for (const Case& c : cases) {
        const HttpReply reply = control("POST", "/faults", c.body);
        EXPECT_TRUE(isError(reply, 400)) << c.body;
        EXPECT_THAT(errorOf(reply), HasSubstr(c.complaint)) << c.body;
    }
    EXPECT_TRUE(
        isError(httpCall(platform.port(), "POST", "/_control/faults", {{"Content-Type", "text/plain"}}, "{}"), 415));
    EXPECT_EQ(get("/common/crs/v1").status, 200) << "no fault was scripted";
}

TEST_F(ControlEndpoints, ListsTheRequestsWithoutTheControlOnes)
{
    get("/common/crs/v1?x=1", {{"X-Host-Application", "modeller 7"}});
    post("/common/sites/v1", R"({"siteName":"Logged"})");
    const HttpReply reply = control("GET", "/requests");
    ASSERT_EQ(reply.status, 200);
    const Json requests = reply.json()["requests"];
    ASSERT_EQ(requests.size(), 2u) << requests;
    EXPECT_EQ(keysOf(requests[0]), (Keys{"method", "target", "headers", "body", "bodySize", "bodyTruncated", "complete",
                                         "connection", "remoteAddress"}));
    EXPECT_EQ(requests[0]["method"], "GET");
    EXPECT_EQ(requests[0]["target"], "/lithmar-xchng/common/crs/v1?x=1");
    EXPECT_THAT(requests[0]["headers"].dump(), HasSubstr(R"({"name":"X-Host-Application","value":"modeller 7"})"));
    EXPECT_EQ(requests[1]["body"], R"({"siteName":"Logged"})");
    EXPECT_EQ(requests[1]["bodySize"], 21);

    EXPECT_EQ(control("DELETE", "/requests").status, 200);
    EXPECT_EQ(control("GET", "/requests").json()["requests"].size(), 0u);
}

TEST_F(ControlEndpoints, ListsRequestsWithBinaryBodiesAsValidJson)
{
    httpCall(platform.port(), "POST", "/lithmar-xchng/common/sites/v1", {{"Content-Type", "application/json"}},
             std::string("\xff\xfe\x00\x01", 4));
    const Json requests = control("GET", "/requests").json()["requests"];
    ASSERT_EQ(requests.size(), 1u);
    EXPECT_EQ(requests[0]["bodySize"], 4);
}

TEST_F(ControlEndpoints, ShowsWhichRequestsCarriedWhichSession)
{
    get("/common/sites/v1?xrequestedwith=xmlhttprequest");
    const Json sessions = control("GET", "/sessions").json();
    EXPECT_EQ(keysOf(sessions), (Keys{"sessions", "visits"}));
    EXPECT_EQ(sessions["sessions"], 1);
    ASSERT_EQ(sessions["visits"].size(), 1u);
    EXPECT_EQ(keysOf(sessions["visits"][0]), (Keys{"sessionId", "opened", "method", "target"}));
    EXPECT_EQ(sessions["visits"][0]["opened"], true);
}

} // namespace
} // namespace lithmar::local::testing
