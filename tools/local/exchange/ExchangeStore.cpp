#include <tools/local/exchange/ExchangeStore.h>

#include <tools/local/exchange/DemoSite.h>

#include <filesystem>
#include <stdexcept>

namespace lithmar::local {
namespace {

// Bumped when a table changes; a database of an older version is migrated,
// one of a newer version refused rather than misread.
// 2: jobs record their user and result, and may outlive their site; objects
//    carry imported data.
constexpr std::int64_t kSchemaVersion = 2;

std::string databasePath(const std::string& dataDirectory)
{
    if (dataDirectory.empty()) {
        return ":memory:";
    }
    std::error_code error;
    std::filesystem::create_directories(dataDirectory, error);
    if (error) {
        throw std::runtime_error("cannot create the data directory " + dataDirectory + ": " + error.message());
    }
    return (std::filesystem::path(dataDirectory) / ExchangeStore::kFileName).string();
}

void prepareSchema(Database& database, const std::string& where)
{
    auto connection = database.connect();
    Transaction transaction(connection);
    // Read and finalised at once: a statement left open would lock the
    // tables that a migration drops.
    const std::int64_t found = connection.prepare("PRAGMA user_version")
                                   .firstRow([](const Statement& row) { return row.integer(0); })
                                   .value_or(0);
    if (found < 0 || found > kSchemaVersion) {
        throw std::runtime_error("the database " + where + " has schema version " + std::to_string(found) +
                                 ", this lithmar-local reads versions up to " + std::to_string(kSchemaVersion) +
                                 ": use another --data-dir, or delete the file to start afresh");
    }
    SiteStore::createTables(connection);
    UploadStore::createTables(connection);
    if (found == 1) {
        JobStore::migrateFromVersion1(connection, kLocalUser);
    }
    JobStore::createTables(connection);
    connection.execute(("PRAGMA user_version = " + std::to_string(kSchemaVersion)).c_str());
    transaction.commit();
}

} // namespace

ExchangeStore::ExchangeStore(const std::string& dataDirectory) : m_location(databasePath(dataDirectory))
{
    prepareSchema(m_database, m_location);
    addDemoSiteIfMissing(m_sites);
}

} // namespace lithmar::local
