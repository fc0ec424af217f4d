// A database of the first schema version opens with its data kept and
// its jobs ready for the runner.

#include "ImportFixture.h"

#include <tools/local/exchange/Database.h>

namespace lithmar::local::testing {
namespace {

TEST(SchemaMigration, KeepsTheSitesAndJobsOfAVersion1Database)
{
    TemporaryDirectory directory;
    {
        Database database((directory.path() / "platform.db").string());
        database.connect().execute(R"(
            CREATE TABLE sites (id TEXT PRIMARY KEY, name TEXT NOT NULL UNIQUE, description TEXT NOT NULL,
                                crs TEXT NOT NULL, unit_of_measure TEXT NOT NULL, modified TEXT NOT NULL);
            CREATE TABLE site_objects (id TEXT PRIMARY KEY, site_id TEXT NOT NULL REFERENCES sites(id),
                                       parent_id TEXT NOT NULL, kind TEXT NOT NULL, name TEXT NOT NULL,
                                       modified TEXT NOT NULL, details TEXT NOT NULL);
            CREATE TABLE upload_sessions (id TEXT PRIMARY KEY, created TEXT NOT NULL, finished TEXT NOT NULL);
            CREATE TABLE upload_streams (id TEXT PRIMARY KEY, session_id TEXT NOT NULL REFERENCES upload_sessions(id),
                                         slot INTEGER NOT NULL, ticket TEXT NOT NULL, receipt TEXT NOT NULL);
            CREATE TABLE jobs (id TEXT PRIMARY KEY, kind TEXT NOT NULL, status TEXT NOT NULL,
                               site_id TEXT NOT NULL REFERENCES sites(id), name TEXT NOT NULL,
                               upload_session_id TEXT NOT NULL REFERENCES upload_sessions(id),
                               command TEXT NOT NULL, created TEXT NOT NULL);
            INSERT INTO sites VALUES ('site-old', 'Old', '', 'EPSG:32633', 'metre', '2024-01-01T00:00:00Z');
            INSERT INTO upload_sessions VALUES ('upl-old', '2024-01-01T00:00:00Z', '');
            INSERT INTO jobs VALUES ('job-b', 'terrain', 'QUEUED', 'site-old', 'T', 'upl-old', '{}',
                                     '2024-01-01T00:00:01Z');
            INSERT INTO jobs VALUES ('job-a', 'geo', 'QUEUED', 'site-old', 'G', 'upl-old', '{}',
                                     '2024-01-01T00:00:02Z');
            PRAGMA user_version = 1;)");
    }
    LocalPlatformOptions options;
    options.dataDirectory = directory.path().string();
    options.jobWorkers = 0;
    LocalPlatform platform(options);

    const auto jobs = platform.store().jobs().jobs();
    ASSERT_EQ(jobs.size(), 2u);
    EXPECT_EQ(jobs[0].id, "job-b") << "in their order";
    EXPECT_EQ(jobs[0].user, "LOCAL_USER");
    EXPECT_EQ(jobs[0].status, "QUEUED");
    EXPECT_EQ(jobs[1].command, "{}");
    EXPECT_TRUE(platform.store().sites().site("site-old"));
    EXPECT_TRUE(platform.store().sites().deleteSite("site-old")) << "jobs no longer hold their site";
    EXPECT_EQ(platform.store().jobs().jobs().size(), 2u);

    auto version = platform.store().database().connect().prepare("PRAGMA user_version");
    ASSERT_TRUE(version.step());
    EXPECT_EQ(version.integer(0), 2);
}

} // namespace
} // namespace lithmar::local::testing
