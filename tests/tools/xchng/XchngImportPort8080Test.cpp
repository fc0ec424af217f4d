// xchng upload <kind> against the local platform: the sample checked in and imported by the platform's job
// runner, whose result the client library polls from 127.0.0.1:8080; a result that does not come in time; an
// import that fails, with its own exit code.

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

struct Import {
    std::string grid;
    std::string timeout;
    bool json;
    int exitCode;
    const char* mentions; // in stdout and stderr together
};

TEST(XchngImportPort8080, WaitsForTheImportsResultAndTellsEachOutcomeByItsExitCode)
{
    local::LocalPlatformOptions options;
    options.pollPort = 8080;
    options.jobDelay = std::chrono::seconds(3); // long enough for the time-out to come first
    local::LocalPlatform platform(options);
    ASSERT_NO_THROW(platform.start()) << "the poll endpoint needs port 8080";
    const std::string grid = test::exampleFile("terrain.asc").string();
    test::TemporaryDirectory files;
    const std::string broken = files.write("broken.asc", "not a grid\n").string();
    const Import cases[] = {
        {grid, "1", true, xchng::ServiceError, "longer --timeout"},
        {grid, "60", true, xchng::Ok, R"("result":"SUCCESS")"},
        {broken, "60", false, xchng::ImportFailed, "the terrain import did not succeed: FAILED: "},
    };
    for (const Import& import : cases) {
        SCOPED_TRACE(import.mentions);
        std::ostringstream out;
        std::ostringstream err;
        std::vector<std::string> args{
            "--url",     platform.exchangeUrl(), "upload", "terrain", import.grid, "--site", "site-demo",
            "--timeout", import.timeout};
        if (import.json) {
            args.insert(args.begin(), "--json");
        }
        EXPECT_EQ(xchng::run(args, out, err), import.exitCode) << err.str();
        EXPECT_THAT(out.str() + err.str(), HasSubstr(import.mentions));
        if (import.json) {
            // Nothing but the failure's JSON object goes to stderr.
            EXPECT_EQ(err.str().empty(), import.exitCode == xchng::Ok) << err.str();
            EXPECT_TRUE(err.str().empty() || web::json::value::parse(err.str()).is_object());
        } else {
            EXPECT_THAT(err.str(), HasSubstr("waiting for the terrain import's result"));
            EXPECT_EQ(err.str().find('\r'), std::string::npos) << "no spinner off a terminal";
        }
    }
}

} // namespace
