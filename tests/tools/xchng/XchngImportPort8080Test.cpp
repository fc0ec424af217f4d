// xchng upload <kind> against the local platform in local mode: the sample
// files checked in and imported by the platform's job runner, whose result
// the library polls from 127.0.0.1:8080; a result that does not come in time.

#include "Cli.h"
#include "Failure.h"

#include <tools/local/exchange/LocalPlatform.h>

#include <cpprest/json.h>

#include <gmock/gmock.h>

#include <chrono>
#include <sstream>

namespace {

namespace xchng = ::lithmar::xchng;
namespace local = ::lithmar::local;
using ::testing::HasSubstr;

class XchngImportPort8080 : public testing::Test {
protected:
    static local::LocalPlatformOptions options()
    {
        local::LocalPlatformOptions settings;
        settings.pollPort = 8080;
        // Long enough for the time-out case to give up first.
        settings.jobDelay = std::chrono::seconds(3);
        return settings;
    }

    void SetUp() override
    {
        try {
            platform.start();
        } catch (const std::exception& error) {
            FAIL() << "cannot start the local platform with its poll endpoint: " << error.what();
        }
    }

    int run(std::vector<std::string> args)
    {
        args.insert(args.begin(), {"--url", platform.exchangeUrl()});
        out.str("");
        err.str("");
        return xchng::run(args, out, err);
    }

    local::LocalPlatform platform{options()};
    std::ostringstream out;
    std::ostringstream err;
};

TEST_F(XchngImportPort8080, WaitsForTheImportsResultAndPrintsIt)
{
    ASSERT_EQ(run({"--json", "upload", "terrain", LITHMAR_EXAMPLE_DATA "/terrain.asc", "--site", "site-demo",
                   "--timeout", "60"}),
              xchng::Ok)
        << err.str();
    const auto result = web::json::value::parse(out.str());
    EXPECT_EQ(result.at("result").as_string(), "SUCCESS");
    EXPECT_EQ(result.at("size").as_string(), "804");
    EXPECT_THAT(err.str(), HasSubstr("waiting for the terrain import's result"));
    EXPECT_THAT(err.str(), HasSubstr("waited "));
    EXPECT_EQ(err.str().find('\r'), std::string::npos) << "no spinner off a terminal";
}

TEST_F(XchngImportPort8080, AResultLateForTheTimeOutExitsWithFourAndSaysWhatToDo)
{
    EXPECT_EQ(run({"upload", "terrain", LITHMAR_EXAMPLE_DATA "/terrain.asc", "--site", "site-demo", "--timeout", "1"}),
              xchng::ServiceError);
    EXPECT_THAT(err.str(), HasSubstr("Timeout waiting for response."));
    EXPECT_THAT(err.str(), HasSubstr("longer --timeout"));
}

} // namespace
