// xchng upload <kind> against the local platform: the sample checked in and imported by the platform's job
// runner, whose result the client library polls from 127.0.0.1:8080; a result that does not come in time.

#include "Cli.h"
#include "Failure.h"

#include <tests/support/TemporaryDirectory.h>

#include <tools/local/platform/LocalPlatform.h>

#include <cpprest/json.h>
#include <gmock/gmock.h>

#include <sstream>

namespace {

namespace local = ::lithmar::local;
namespace test = ::lithmar::test;
namespace xchng = ::lithmar::xchng;
using ::testing::HasSubstr;

TEST(XchngImportPort8080, WaitsForTheImportsResultOrSaysWhatToDoWhenItIsLate)
{
    local::LocalPlatformOptions options;
    options.pollPort = 8080;
    options.jobDelay = std::chrono::seconds(3); // long enough for the time-out to come first
    local::LocalPlatform platform(options);
    ASSERT_NO_THROW(platform.start()) << "the poll endpoint needs port 8080";
    const std::string grid = test::exampleFile("terrain.asc").string();
    std::ostringstream out;
    std::ostringstream err;
    const auto upload = [&](const std::string& timeout) {
        out.str("");
        err.str("");
        return xchng::run({"--url", platform.exchangeUrl(), "--json", "upload", "terrain", grid, "--site", "site-demo",
                           "--timeout", timeout},
                          out, err);
    };

    EXPECT_EQ(upload("1"), xchng::ServiceError);
    EXPECT_THAT(err.str(), HasSubstr("Timeout waiting for response."));
    EXPECT_THAT(err.str(), HasSubstr("longer --timeout"));

    ASSERT_EQ(upload("60"), xchng::Ok) << err.str();
    const auto result = web::json::value::parse(out.str());
    EXPECT_EQ(result.at("result").as_string(), "SUCCESS");
    EXPECT_EQ(result.at("size").as_string(), "804");
    EXPECT_THAT(err.str(), HasSubstr("waiting for the terrain import's result"));
    EXPECT_THAT(err.str(), HasSubstr("waited "));
    EXPECT_EQ(err.str().find('\r'), std::string::npos) << "no spinner off a terminal";
}

} // namespace
