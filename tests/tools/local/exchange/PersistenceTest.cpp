// With a data directory the state outlives the platform. (Each platform in
// memory has its own state: see EndpointsTest.)

#include <tests/support/Platform.h>
#include <tests/support/TemporaryDirectory.h>

#include <tools/local/exchange/Database.h>

#include <gmock/gmock.h>

namespace lithmar::test {
namespace {

namespace fs = std::filesystem;

LocalPlatformOptions storedIn(const fs::path& directory)
{
    LocalPlatformOptions options = endpointsOnly();
    options.dataDirectory = directory.string();
    return options;
}

TEST(Persistence, ARestartedPlatformKeepsItsSitesUploadsAndJobsAndOneDemoSite)
{
    TemporaryDirectory directory;
    const fs::path data = directory.path() / "created" / "on demand";
    std::string siteId, uploadId;
    {
        LocalPlatform platform(storedIn(data));
        platform.start();
        siteId = exchangePost(platform.port(), "/common/sites/v1", R"({"siteName":"Kept"})").json().value("id", "");
        const Json upload = exchangePost(platform.port(), "/upload/v1/start", R"({"numberOfFiles":1})").json();
        uploadId = upload["sessionId"];
        const Json command{
            {"sessionId", uploadId}, {"fcsStreamIds", {upload["fcsFiles"][0]["fcsStreamId"]}}, {"siteId", siteId}};
        ASSERT_EQ(exchangePost(platform.port(), "/exploration/boreholes/v1", command.dump()).status, 200);
    }
    EXPECT_TRUE(fs::exists(data / "platform.db"));

    LocalPlatform restarted(storedIn(data));
    restarted.start();
    Json sites = exchangeGet(restarted.port(), "/common/sites/v1").json()["sites"];
    EXPECT_EQ(Json({sites.size(), sites[0]["id"], sites[1]["id"], sites[1]["name"]}),
              Json({2, "site-demo", siteId, "Kept"}));
    EXPECT_TRUE(restarted.store().uploads().session(uploadId));
    ASSERT_EQ(restarted.store().jobs().jobs().size(), 1u);
    EXPECT_EQ(restarted.store().jobs().jobs()[0].siteId, siteId);
}

TEST(Persistence, SaysWhyADataDirectoryCannotBeUsed)
{
    TemporaryDirectory directory;
    local::Database((directory.path() / "platform.db").string()).connect().execute("PRAGMA user_version = 99");
    const fs::path file = directory.write("a file", "x");
    for (const auto& [data, reason] : {std::pair{directory.path(), "schema version 99"},
                                       std::pair{file / "below", "cannot create the data directory"}}) {
        try {
            LocalPlatform platform(storedIn(data));
            ADD_FAILURE() << "started with " << data;
        } catch (const std::runtime_error& e) {
            EXPECT_THAT(e.what(), ::testing::HasSubstr(reason));
        }
    }
}

} // namespace
} // namespace lithmar::test
