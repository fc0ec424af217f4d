#include <tools/local/exchange/UploadStore.h>

namespace lithmar::local {

void UploadStore::createTables(Database::Connection& connection)
{
    connection.execute(R"(
        CREATE TABLE IF NOT EXISTS upload_sessions (
            id TEXT PRIMARY KEY,
            created TEXT NOT NULL,
            finished TEXT NOT NULL);
        CREATE TABLE IF NOT EXISTS upload_streams (
            id TEXT PRIMARY KEY,
            session_id TEXT NOT NULL REFERENCES upload_sessions(id),
            slot INTEGER NOT NULL,
            ticket TEXT NOT NULL,
            receipt TEXT NOT NULL);
        CREATE INDEX IF NOT EXISTS upload_streams_by_session ON upload_streams(session_id);
        CREATE TABLE IF NOT EXISTS checked_in_files (
            stream_id TEXT PRIMARY KEY REFERENCES upload_streams(id),
            receipt TEXT NOT NULL,
            path TEXT NOT NULL,
            size INTEGER NOT NULL,
            checksum TEXT NOT NULL,
            checked_in TEXT NOT NULL);)");
}

void UploadStore::createSession(const UploadSession& session)
{
    auto connection = m_database.connect();
    Transaction transaction(connection);
    connection.prepare("INSERT INTO upload_sessions (id, created, finished) VALUES (?1, ?2, ?3)")
        .bindAll(session.id, session.created, session.finished)
        .run();
    std::int64_t slot = 0;
    for (const UploadStream& stream : session.streams) {
        connection
            .prepare("INSERT INTO upload_streams (id, session_id, slot, ticket, receipt) VALUES (?1, ?2, ?3, ?4, ?5)")
            .bindAll(stream.id, session.id, slot++, stream.ticket, stream.receipt)
            .run();
    }
    transaction.commit();
}

std::optional<UploadSession> UploadStore::session(const std::string& id)
{
    auto connection = m_database.connect();
    auto header = connection.prepare("SELECT created, finished FROM upload_sessions WHERE id = ?1");
    header.bind(1, id);
    if (!header.step()) {
        return std::nullopt;
    }
    UploadSession session{id, header.text(0), header.text(1), {}};
    session.streams =
        connection.prepare("SELECT id, ticket, receipt FROM upload_streams WHERE session_id = ?1 ORDER BY slot")
            .bind(1, id)
            .rows([](const Statement& row) {
                return UploadStream{row.text(0), row.text(1), row.text(2)};
            });
    return session;
}

bool UploadStore::finish(const std::string& sessionId, const std::string& when,
                         const std::map<std::string, std::string>& receipts)
{
    auto connection = m_database.connect();
    Transaction transaction(connection);
    connection.prepare("UPDATE upload_sessions SET finished = ?2 WHERE id = ?1 AND finished = ''")
        .bind(1, sessionId)
        .bind(2, when)
        .run();
    if (connection.changes() == 0) {
        return false;
    }
    for (const auto& [streamId, receipt] : receipts) {
        connection.prepare("UPDATE upload_streams SET receipt = ?3 WHERE id = ?1 AND session_id = ?2")
            .bindAll(streamId, sessionId, receipt)
            .run();
    }
    transaction.commit();
    return true;
}

std::optional<StreamSlot> UploadStore::slot(const std::string& streamId)
{
    auto connection = m_database.connect();
    return connection
        .prepare("SELECT s.session_id, s.ticket, u.finished FROM upload_streams s "
                 "JOIN upload_sessions u ON u.id = s.session_id WHERE s.id = ?1")
        .bind(1, streamId)
        .firstRow([](const Statement& row) {
            return StreamSlot{row.text(0), row.text(1), row.text(2)};
        });
}

bool UploadStore::recordCheckin(const CheckedInFile& file)
{
    auto connection = m_database.connect();
    connection
        .prepare("INSERT OR IGNORE INTO checked_in_files (stream_id, receipt, path, size, checksum, checked_in) "
                 "VALUES (?1, ?2, ?3, ?4, ?5, ?6)")
        .bindAll(file.streamId, file.receipt, file.path, static_cast<std::int64_t>(file.size), file.checksum,
                 file.checkedIn)
        .run();
    return connection.changes() == 1;
}

void UploadStore::forgetCheckin(const std::string& streamId)
{
    auto connection = m_database.connect();
    connection.prepare("DELETE FROM checked_in_files WHERE stream_id = ?1").bind(1, streamId).run();
}

std::optional<CheckedInFile> UploadStore::checkin(const std::string& streamId)
{
    auto connection = m_database.connect();
    return connection
        .prepare("SELECT receipt, path, size, checksum, checked_in FROM checked_in_files WHERE stream_id = ?1")
        .bind(1, streamId)
        .firstRow([&streamId](const Statement& row) {
            return CheckedInFile{streamId,    row.text(0), row.text(1), static_cast<std::uint64_t>(row.integer(2)),
                                 row.text(3), row.text(4)};
        });
}

} // namespace lithmar::local
