#include <tools/local/exchange/JobStore.h>

namespace lithmar::local {

void JobStore::createTables(Database::Connection& connection)
{
    connection.execute(R"(
        CREATE TABLE IF NOT EXISTS jobs (
            id TEXT PRIMARY KEY,
            kind TEXT NOT NULL,
            status TEXT NOT NULL,
            site_id TEXT NOT NULL REFERENCES sites(id),
            name TEXT NOT NULL,
            upload_session_id TEXT NOT NULL REFERENCES upload_sessions(id),
            command TEXT NOT NULL,
            created TEXT NOT NULL);
        CREATE INDEX IF NOT EXISTS jobs_by_status ON jobs(status);)");
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
        .prepare("INSERT INTO jobs (id, kind, status, site_id, name, upload_session_id, command, created) "
                 "VALUES (?1, ?2, ?3, ?4, ?5, ?6, ?7, ?8)")
        .bindAll(job.id, job.kind, kJobQueued, job.siteId, job.name, job.uploadSessionId, job.command, job.created)
        .run();
    transaction.commit();
    return true;
}

std::vector<JobRecord> JobStore::jobs()
{
    auto connection = m_database.connect();
    return connection
        .prepare("SELECT id, kind, status, site_id, name, upload_session_id, command, created FROM jobs ORDER BY rowid")
        .rows([](const Statement& row) {
            return JobRecord{row.text(0), row.text(1), row.text(2), row.text(3),
                             row.text(4), row.text(5), row.text(6), row.text(7)};
        });
}

} // namespace lithmar::local
