#pragma once

#include <cstdint>
#include <memory>
#include <mutex>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

struct sqlite3;
struct sqlite3_stmt;

namespace lithmar::local {

class DatabaseError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

class Statement;

// The platform's SQLite database: one connection, shared by all handler
// threads, used by one of them at a time.
//
// One connection rather than one per thread: the default database lives in
// memory, and an in-memory database belongs to its connection; SQLite lets
// one writer in at a time anyway; and the local platform's load is a
// developer's test run. Holding the lock over a whole read-check-write also
// makes those steps atomic without retrying on SQLITE_BUSY.
class Database {
public:
    // `path`: a file (created when missing) or ":memory:".
    explicit Database(const std::string& path);
    ~Database();

    Database(const Database&) = delete;
    Database& operator=(const Database&) = delete;

    // The connection, locked for as long as the Connection lives.
    class Connection {
    public:
        Statement prepare(std::string_view sql);
        // Runs statements without parameters or results (schema, pragmas).
        void execute(const char* sql);
        std::int64_t changes() const;

    private:
        friend class Database;
        Connection(std::mutex& mutex, sqlite3* handle) : m_lock(mutex), m_handle(handle) {}

        std::unique_lock<std::mutex> m_lock;
        sqlite3* m_handle;
    };

    Connection connect();

private:
    std::mutex m_mutex;
    sqlite3* m_handle = nullptr;
};

// A prepared statement with its parameters bound by position (?1, ?2...).
class Statement {
public:
    Statement(sqlite3* handle, std::string_view sql);
    ~Statement();
    Statement(Statement&& other) noexcept;
    Statement(const Statement&) = delete;
    Statement& operator=(const Statement&) = delete;
    Statement& operator=(Statement&&) = delete;

    Statement& bind(int index, std::string_view text);
    Statement& bind(int index, std::int64_t number);
    Statement& bindNull(int index);
    // Binds the values to ?1, ?2... in order.
    template <class... Values> Statement& bindAll(const Values&... values)
    {
        int index = 0;
        (bind(++index, values), ...);
        return *this;
    }

    // True when a row is ready to read, false when the statement is done.
    bool step();
    // Steps to the end, for statements that write.
    void run();
    // Every remaining row, as `read` makes it from the statement.
    template <class Read> auto rows(Read read) -> std::vector<decltype(read(std::declval<const Statement&>()))>
    {
        std::vector<decltype(read(std::declval<const Statement&>()))> all;
        while (step()) {
            all.push_back(read(*this));
        }
        return all;
    }
    // The first row as `read` makes it, or nullopt when there is none.
    template <class Read> auto firstRow(Read read) -> std::optional<decltype(read(std::declval<const Statement&>()))>
    {
        if (!step()) {
            return std::nullopt;
        }
        return read(*this);
    }

    std::string text(int column) const;
    std::int64_t integer(int column) const;
    bool isNull(int column) const;

private:
    [[noreturn]] void fail(const std::string& what) const;

    sqlite3* m_handle;
    sqlite3_stmt* m_statement = nullptr;
};

// Commits when commit() is called; otherwise the destructor rolls back, so
// that a handler throwing half-way leaves no half-written rows.
class Transaction {
public:
    explicit Transaction(Database::Connection& connection);
    ~Transaction();
    Transaction(const Transaction&) = delete;
    Transaction& operator=(const Transaction&) = delete;

    void commit();

private:
    Database::Connection& m_connection;
    bool m_done = false;
};

} // namespace lithmar::local
