#include <tools/local/exchange/JobStore.h>

namespace lithmar::local {
namespace {

constexpr const char* kJobColumns =
    "id, kind, status, site_id, name, upload_session_id, command, created, user, result, finished";

JobRecord readJob(const Statement& row)
{
    return JobRecord{row.text(0), row.text(1), row.text(2), row.text(3), row.text(4), row.text(5),
                     row.text(6), row.text(7), row.text(8), row.text(9), row.text(10)};
}

// A job keeps no reference to its site: a site may go while its jobs wait,
// and the job then ends FAILED, its record saying why.
constexpr const char* kJobTable = R"(
    id TEXT PRIMARY KEY,
    kind TEXT NOT NULL,
    status TEXT NOT NULL,
    site_id TEXT NOT NULL,
    name TEXT NOT NULL,
    upload_session_id TEXT NOT NULL REFERENCES upload_sessions(id),
    command TEXT NOT NULL,
    created TEXT NOT NULL,
    user TEXT NOT NULL,
    result TEXT NOT NULL,
    finished TEXT NOT NULL)";

} // namespace

void JobStore::createTables(Database::Connection& connection)
{
    connection.execute(("CREATE TABLE IF NOT EXISTS jobs (" + std::string(kJobTable) +
                        ");\n"
                        "CREATE INDEX IF NOT EXISTS jobs_by_status ON jobs(status);")
                           .c_str());
}

void JobStore::migrateFromVersion1(Database::Connection& connection, const std::string& defaultUser)
{
    connection.execute(("CREATE TABLE jobs_migrated (" + std::string(kJobTable) + ")").c_str());
    connection
        .prepare("INSERT INTO jobs_migrated (id, kind, status, site_id, name, upload_session_id, command, created, "
                 "user, result, finished) "
                 "SELECT id, kind, status, site_id, name, upload_session_id, command, created, ?1, '', '' "
                 "FROM jobs ORDER BY rowid")
        .bind(1, defaultUser)
        .run();
    connection.execute("DROP TABLE jobs; ALTER TABLE jobs_migrated RENAME TO jobs;");
    createTables(connection);
}

bool JobStore::enqueue(const JobRecord& job, std::size_t capacity)
{
    auto connection = m_database.connect();
    Transaction transaction(connection);
    auto queued = connection.prepare("SELECT COUNT(*) FROM jobs WHERE status = ?1");
    queued.bind(1, kJobQueued);
    queued.step();
    if (static_cast<std::size_t>(queued.integer(0)) >= capacity) {
        return false;
    }
    connection
        .prepare(std::string("INSERT INTO jobs (") + kJobColumns +
                 ") VALUES (?1, ?2, ?3, ?4, ?5, ?6, ?7, ?8, ?9, '', '')")
        .bindAll(job.id, job.kind, kJobQueued, job.siteId, job.name, job.uploadSessionId, job.command, job.created,
                 job.user)
        .run();
    transaction.commit();
    return true;
}

std::vector<JobRecord> JobStore::jobs()
{
    auto connection = m_database.connect();
    return connection.prepare(std::string("SELECT ") + kJobColumns + " FROM jobs ORDER BY rowid").rows(readJob);
}

std::optional<JobRecord> JobStore::job(const std::string& id)
{
    auto connection = m_database.connect();
    return connection.prepare(std::string("SELECT ") + kJobColumns + " FROM jobs WHERE id = ?1")
        .bind(1, id)
        .firstRow(readJob);
}

std::optional<JobRecord> JobStore::claimNext()
{
    auto connection = m_database.connect();
    Transaction transaction(connection);
    auto next =
        connection.prepare(std::string("SELECT ") + kJobColumns + " FROM jobs WHERE status = ?1 ORDER BY rowid LIMIT 1")
            .bind(1, kJobQueued)
            .firstRow(readJob);
    if (!next) {
        return std::nullopt;
    }
    connection.prepare("UPDATE jobs SET status = ?1 WHERE id = ?2").bindAll(kJobRunning, next->id).run();
    transaction.commit();
    next->status = kJobRunning;
    return next;
}

std::size_t JobStore::requeueRunning()
{
    auto connection = m_database.connect();
    connection.prepare("UPDATE jobs SET status = ?1 WHERE status = ?2").bindAll(kJobQueued, kJobRunning).run();
    return static_cast<std::size_t>(connection.changes());
}

void JobStore::finish(Database::Connection& connection, const std::string& id, const char* status,
                      const std::string& result, const std::string& when)
{
    connection.prepare("UPDATE jobs SET status = ?1, result = ?2, finished = ?3 WHERE id = ?4 AND status = ?5")
        .bindAll(status, result, when, id, kJobRunning)
        .run();
}

} // namespace lithmar::local
