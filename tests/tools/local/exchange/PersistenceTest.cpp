// With a data directory the state outlives the platform; without one, it
// does not.

#include "PlatformTest.h"

#include <tools/local/exchange/Database.h>
#include <tools/local/exchange/DemoSite.h>

#include <gmock/gmock.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>

namespace lithmar::local::testing {
namespace {

namespace fs = std::filesystem;

// A fresh directory under the system's temporary one, removed afterwards.
class TemporaryDirectory {
public:
    TemporaryDirectory()
    {
        std::string pattern = (fs::temp_directory_path() / "lithmar-local-XXXXXX").string();
        if (mkdtemp(pattern.data()) == nullptr) {
            throw std::runtime_error("cannot create a temporary directory");
        }
        m_path = pattern;
    }
    ~TemporaryDirectory()
    {
        std::error_code ignored;
        fs::remove_all(m_path, ignored);
    }
    const fs::path& path() const { return m_path; }

private:
    fs::path m_path;
};

LocalPlatformOptions storedIn(const fs::path& directory)
{
    LocalPlatformOptions options;
    options.dataDirectory = directory.string();
    return options;
}

Json sitesOf(LocalPlatform& platform)
{
    return exchangeGet(platform.port(), "/common/sites/v1").json()["sites"];
}

TEST(Persistence, ARestartedPlatformKeepsItsSitesUploadsAndJobsAndOneDemoSite)
{
    TemporaryDirectory directory;
    const fs::path data = directory.path() / "created" / "on demand";
    std::string siteId;
    {
        LocalPlatform platform(storedIn(data));
        platform.start();
        siteId =
            exchangePost(platform.port(), "/common/sites/v1", R"({"siteName":"Kept"})").json()["id"].get<std::string>();
        const Json upload = exchangePost(platform.port(), "/upload/v1/start", R"({"numberOfFiles":1})").json();
        const std::string command =
            "{\"sessionId\":\"" + upload["sessionId"].get<std::string>() + "\",\"fcsStreamIds\":[\"" +
            upload["fcsFiles"][0]["fcsStreamId"].get<std::string>() + "\"],\"siteId\":\"" + siteId + "\"}";
        ASSERT_EQ(exchangePost(platform.port(), "/exploration/boreholes/v1", command).status, 200);
    }
    EXPECT_TRUE(fs::exists(data / "platform.db"));

    LocalPlatform restarted(storedIn(data));
    restarted.start();
    const Json sites = sitesOf(restarted);
    ASSERT_EQ(sites.size(), 2u) << sites;
    EXPECT_EQ(sites[0]["id"], kDemoSiteId);
    EXPECT_EQ(sites[1]["id"], siteId);
    EXPECT_EQ(sites[1]["name"], "Kept");
    EXPECT_EQ(exchangeGet(restarted.port(), "/common/sites/v1/" + siteId).status, 200);
    ASSERT_EQ(restarted.store().jobs().jobs().size(), 1u);
    EXPECT_EQ(restarted.store().jobs().jobs()[0].siteId, siteId);
}

TEST(Persistence, WithoutADataDirectoryEveryPlatformStartsFresh)
{
    {
        LocalPlatform platform;
        platform.start();
        exchangePost(platform.port(), "/common/sites/v1", R"({"siteName":"Gone"})");
        EXPECT_EQ(sitesOf(platform).size(), 2u);
    }
    LocalPlatform fresh;
    fresh.start();
    EXPECT_EQ(sitesOf(fresh).size(), 1u);
}

TEST(Persistence, StopAndStartKeepThePortAndTheState)
{
    LocalPlatform platform;
    platform.start();
    const auto port = platform.port();
    exchangePost(port, "/common/sites/v1", R"({"siteName":"Across a restart"})");
    platform.stop();
    EXPECT_THROW(httpCall(port, "GET", "/lithmar-xchng/common/crs/v1"), std::exception) << "the platform is down";
    platform.start();
    EXPECT_EQ(platform.port(), port);
    EXPECT_EQ(sitesOf(platform).size(), 2u);
}

TEST(Persistence, RefusesADatabaseOfAnotherSchemaVersion)
{
    TemporaryDirectory directory;
    {
        Database database((directory.path() / "platform.db").string());
        database.connect().execute("PRAGMA user_version = 99");
    }
    try {
        LocalPlatform platform(storedIn(directory.path()));
        FAIL() << "a database of version 99 must be refused";
    } catch (const std::runtime_error& e) {
        EXPECT_THAT(e.what(), ::testing::HasSubstr("schema version 99"));
    }
}

TEST(Persistence, SaysWhyADataDirectoryCannotBeUsed)
{
    TemporaryDirectory directory;
    const fs::path file = directory.path() / "a file";
    {
        std::ofstream(file) << "x";
    }
    try {
        LocalPlatform platform(storedIn(file / "below"));
        FAIL() << "a directory below a file cannot be created";
    } catch (const std::runtime_error& e) {
        EXPECT_THAT(e.what(), ::testing::HasSubstr("cannot create the data directory"));
    }
}

} // namespace
} // namespace lithmar::local::testing
