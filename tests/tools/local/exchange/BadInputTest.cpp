// Every POST endpoint refuses bodies that are not a JSON object in UTF-8,
// with the status a real service gives and a JSON error saying why.

#include "PlatformTest.h"

#include <gmock/gmock.h>

#include <cctype>

namespace lithmar::local::testing {
namespace {

using ::testing::HasSubstr;

class BadInput : public PlatformTest, public ::testing::WithParamInterface<const char*> {
protected:
    HttpReply send(const std::string& body, const std::string& contentType = "application/json")
    {
        std::vector<Header> headers;
        if (!contentType.empty()) {
            headers.push_back({"Content-Type", contentType});
        }
        return httpCall(platform.port(), "POST", std::string("/lithmar-xchng") + GetParam(), headers, body);
    }
};

TEST_P(BadInput, RefusesBodiesThatAreNotAJsonObject)
{
    struct Case {
        std::string body;
        const char* complaint;
    };
    const Case cases[] = {
        {"", "not valid JSON"},
        {"{", "not valid JSON"},
        {"{\"siteName\":\"x\",}", "not valid JSON"},
        {"{'siteName':'x'}", "not valid JSON"},
        {"{\"a\":1} trailing", "not valid JSON"},
        {"[]", "must be a JSON object, not array"},
        {"\"text\"", "must be a JSON object, not string"},
        {"42", "must be a JSON object, not number"},
        {"null", "must be a JSON object, not null"},
        {"{\"siteName\":\"\xff\xfe\"}", "not valid UTF-8"},
        {"{\"siteName\":\"\xc0\xaf\"}", "not valid UTF-8"},
        {"{\"siteName\":\"\xed\xa0\x80\"}", "not valid UTF-8"},
        {"{\"siteName\":\"\\ud800\"}", "not valid JSON"},
        {std::string(100, '[') + std::string(100, ']'), "nests deeper"},
        {std::string("{\"a\":\"x\0y\"}", 11), "not valid JSON"},
    };
    for (const Case& c : cases) {
        const HttpReply reply = send(c.body);
        EXPECT_TRUE(isError(reply, 400)) << ::testing::PrintToString(c.body);
        EXPECT_THAT(errorOf(reply), HasSubstr(c.complaint)) << ::testing::PrintToString(c.body);
    }
}

TEST_P(BadInput, RefusesContentTypesOtherThanJsonWith415)
{
    for (const char* type : {"", "text/plain", "application/x-www-form-urlencoded", "application/json; charset=latin1",
                             "multipart/form-data; boundary=b"}) {
        const HttpReply reply = send("{}", type);
        EXPECT_TRUE(isError(reply, 415)) << type;
        EXPECT_THAT(errorOf(reply), HasSubstr("application/json")) << type;
    }
}

TEST_P(BadInput, RefusesBodiesLargerThanTheServerKeepsWith413)
{
    const std::string huge = "{\"siteName\":\"" + std::string(2 << 20, 'a') + "\"}";
    const HttpReply reply = send(huge);
    EXPECT_TRUE(isError(reply, 413));
    EXPECT_THAT(errorOf(reply), HasSubstr(std::to_string(huge.size())));
}

TEST_P(BadInput, SurvivesAndAnswersTheNextRequest)
{
    send("{\"a\":" + std::string(50000, '[') + "}");
    send("\xff");
    EXPECT_EQ(httpCall(platform.port(), "GET", "/lithmar-xchng/common/crs/v1").status, 200);
}

INSTANTIATE_TEST_SUITE_P(EveryPostEndpoint, BadInput,
                         ::testing::Values("/common/sites/v1", "/upload/v1/start", "/upload/v1/finish",
                                           "/exploration/boreholes/v1", "/exploration/boreholeintervalsets/v1",
                                           "/exploration/fieldobservations/v1", "/exploration/geos/v1",
                                           "/exploration/terrains/v1"),
                         [](const auto& testInfo) {
                             std::string name;
                             for (const char c : std::string(testInfo.param)) {
                                 name += std::isalnum(static_cast<unsigned char>(c)) ? c : '_';
                             }
                             return name;
                         });

using SiteNameInput = PlatformTest;

TEST_F(SiteNameInput, MustBeAStringWithMoreThanSpaces)
{
    struct Case {
        const char* body;
        const char* complaint;
    };
    const Case cases[] = {
        {R"({})", "lacks the field \"siteName\""},
        {R"({"sitename":"x"})", "lacks the field \"siteName\""},
        {R"({"siteName":null})", "must be a string, not null"},
        {R"({"siteName":7})", "must be a string, not number"},
        {R"({"siteName":1e400})", "not valid JSON"},
        {R"({"siteName":["x"]})", "must be a string, not array"},
        {R"({"siteName":{"name":"x"}})", "must be a string, not object"},
        {R"({"siteName":true})", "must be a string, not boolean"},
        {R"({"siteName":""})", "must not be empty or blank"},
        {R"({"siteName":" \t "})", "must not be empty or blank"},
    };
    for (const Case& c : cases) {
        const HttpReply reply = post("/common/sites/v1", c.body);
        EXPECT_TRUE(isError(reply, 400)) << c.body;
        EXPECT_THAT(errorOf(reply), HasSubstr(c.complaint)) << c.body;
    }
    EXPECT_EQ(get("/common/sites/v1").json()["sites"].size(), 1u) << "nothing was created";
}

} // namespace
} // namespace lithmar::local::testing
