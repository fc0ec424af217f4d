// The whole way on the platform: files checked in to the file server, the
// import, the result in the uploading user's notification queue.

#include "../PlatformTest.h"
#include "ImportFixture.h"

#include <fstream>
#include <sstream>

namespace lithmar::local::testing {
namespace {

std::string contentOf(const fs::path& file)
{
    std::ifstream in(file, std::ios::binary);
    std::ostringstream text;
    text << in.rdbuf();
    return text.str();
}

class CheckedInImport : public PlatformTest {
protected:
    CheckedInImport() : PlatformTest(LocalPlatformOptions{}) { hooks.listen(platform); }
    // No job may publish into the hooks once they are gone.
    ~CheckedInImport() override { platform.stop(); }

    ImportHooks hooks; // only listens: the files come from the file server
};

TEST_F(CheckedInImport, ReadsTheFilesTheFileServerKept)
{
    const Json session = startUpload(2);
    const Json& slots = session["fcsFiles"];
    ASSERT_EQ(checkIn(slots[0], contentOf(exampleFile("collars.csv"))).status, 200);
    ASSERT_EQ(checkIn(slots[1], contentOf(exampleFile("surveys.csv"))).status, 200);
    const Json command{{"sessionId", session["sessionId"]},
                       {"fcsStreamIds", {slots[0]["fcsStreamId"], slots[1]["fcsStreamId"]}},
                       {"siteId", "site-demo"}};
    const std::string job = post("/exploration/boreholes/v1", command.dump()).json()["jobId"];

    const auto [user, result] = hooks.resultOf(job);
    EXPECT_EQ(user, "LOCAL_USER");
    EXPECT_EQ(result["result"], "SUCCESS") << result;
    EXPECT_EQ(result["count"], "12");
    const Json tree = get("/common/sites/v1/site-demo").json()["tree"];
    EXPECT_EQ(childOfKind(tree, "BoreholeCollection")["totalItems"], "24") << "the demo's 12 without data, and ours";
}

TEST_F(CheckedInImport, AStreamNotCheckedInFailsTheJob)
{
    const Json session = startUpload(1);
    const std::string stream = session["fcsFiles"][0]["fcsStreamId"];
    const Json command{{"sessionId", session["sessionId"]}, {"fcsStreamIds", {stream}}, {"siteId", "site-demo"}};
    const std::string job = post("/exploration/boreholes/v1", command.dump()).json()["jobId"];
    EXPECT_EQ(hooks.resultOf(job).second["result"], "FAILED: no file was checked in for the stream " + stream +
                                                        "; check the file in to its slot before the import");
}

} // namespace
} // namespace lithmar::local::testing
