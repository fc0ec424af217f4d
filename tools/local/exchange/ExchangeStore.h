#pragma once

#include <tools/local/exchange/Database.h>
#include <tools/local/exchange/JobStore.h>
#include <tools/local/exchange/SiteStore.h>
#include <tools/local/exchange/UploadStore.h>

#include <string>

namespace lithmar::local {

// The data exchange service's state: in memory, or in
// <dataDirectory>/platform.db so that it outlives the program. A fresh
// database gets the tables and the demo site.
class ExchangeStore {
public:
    // "" keeps everything in memory. Creates the directory when missing;
    // throws std::runtime_error saying what failed.
    explicit ExchangeStore(const std::string& dataDirectory);

    // The file name inside the data directory.
    static constexpr const char* kFileName = "platform.db";

    SiteStore& sites() { return m_sites; }
    UploadStore& uploads() { return m_uploads; }
    JobStore& jobs() { return m_jobs; }
    // For writes that span the stores in one transaction (an import and
    // its job's end).
    Database& database() { return m_database; }

private:
    const std::string m_location; // the file, or ":memory:"
    Database m_database{m_location};
    SiteStore m_sites{m_database};
    UploadStore m_uploads{m_database};
    JobStore m_jobs{m_database};
};

} // namespace lithmar::local
