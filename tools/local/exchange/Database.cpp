#include <tools/local/exchange/Database.h>

#include <sqlite3.h>

#include <limits>

namespace lithmar::local {

Database::Database(const std::string& path)
{
    const int status = sqlite3_open_v2(path.c_str(), &m_handle, SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE, nullptr);
    if (status != SQLITE_OK) {
        const std::string message = m_handle ? sqlite3_errmsg(m_handle) : sqlite3_errstr(status);
        sqlite3_close(m_handle);
        throw DatabaseError("cannot open the database " + path + ": " + message);
    }
    sqlite3_extended_result_codes(m_handle, 1);
    connect().execute("PRAGMA foreign_keys = ON");
}

Database::~Database()
{
    sqlite3_close(m_handle);
}

Database::Connection Database::connect()
{
    return Connection(m_mutex, m_handle);
}

Statement Database::Connection::prepare(std::string_view sql)
{
    return Statement(m_handle, sql);
}

void Database::Connection::execute(const char* sql)
{
    char* error = nullptr;
    if (sqlite3_exec(m_handle, sql, nullptr, nullptr, &error) != SQLITE_OK) {
        const std::string message = error ? error : sqlite3_errmsg(m_handle);
        sqlite3_free(error);
        throw DatabaseError("database statement failed: " + message + " in: " + sql);
    }
}

std::int64_t Database::Connection::changes() const
{
    return sqlite3_changes64(m_handle);
}

Statement::Statement(sqlite3* handle, std::string_view sql) : m_handle(handle)
{
    if (sql.size() > static_cast<std::size_t>(std::numeric_limits<int>::max()) ||
        sqlite3_prepare_v2(m_handle, sql.data(), static_cast<int>(sql.size()), &m_statement, nullptr) != SQLITE_OK) {
        fail("cannot prepare \"" + std::string(sql) + "\"");
    }
}

Statement::~Statement()
{
    sqlite3_finalize(m_statement);
}

Statement::Statement(Statement&& other) noexcept : m_handle(other.m_handle), m_statement(other.m_statement)
{
    other.m_statement = nullptr;
}

Statement& Statement::bind(int index, std::string_view text)
{
    if (sqlite3_bind_text64(m_statement, index, text.data(), text.size(), SQLITE_TRANSIENT, SQLITE_UTF8) != SQLITE_OK) {
        fail("cannot bind parameter " + std::to_string(index));
    }
    return *this;
}

Statement& Statement::bind(int index, std::int64_t number)
{
    if (sqlite3_bind_int64(m_statement, index, number) != SQLITE_OK) {
        fail("cannot bind parameter " + std::to_string(index));
    }
    return *this;
}

Statement& Statement::bindNull(int index)
{
    if (sqlite3_bind_null(m_statement, index) != SQLITE_OK) {
        fail("cannot bind parameter " + std::to_string(index));
    }
    return *this;
}

bool Statement::step()
{
    const int status = sqlite3_step(m_statement);
    if (status == SQLITE_ROW) {
        return true;
    }
    if (status == SQLITE_DONE) {
        return false;
    }
    fail("statement failed");
}

void Statement::run()
{
    while (step()) {
    }
}

std::string Statement::text(int column) const
{
    const auto* bytes = sqlite3_column_text(m_statement, column);
    const int size = sqlite3_column_bytes(m_statement, column);
    return bytes ? std::string(reinterpret_cast<const char*>(bytes), static_cast<std::size_t>(size)) : std::string();
}

std::int64_t Statement::integer(int column) const
{
    return sqlite3_column_int64(m_statement, column);
}

bool Statement::isNull(int column) const
{
    return sqlite3_column_type(m_statement, column) == SQLITE_NULL;
}

void Statement::fail(const std::string& what) const
{
    const char* sql = m_statement ? sqlite3_sql(m_statement) : nullptr;
    throw DatabaseError("database error: " + what + ": " + sqlite3_errmsg(m_handle) +
                        (sql ? std::string(" (in: ") + sql + ")" : std::string()));
}

Transaction::Transaction(Database::Connection& connection) : m_connection(connection)
{
    m_connection.execute("BEGIN IMMEDIATE");
}

Transaction::~Transaction()
{
    if (!m_done) {
        try {
            m_connection.execute("ROLLBACK");
        } catch (const DatabaseError&) {
            // SQLite has already rolled back after the error that got us here.
        }
    }
}

void Transaction::commit()
{
    m_connection.execute("COMMIT");
    m_done = true;
}

} // namespace lithmar::local
