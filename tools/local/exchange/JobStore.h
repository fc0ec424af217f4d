#pragma once

#include <tools/local/exchange/Database.h>

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

namespace lithmar::local {

// An import that a client asked for. The service queues it and answers at
// once; a job runner takes queued jobs, carries them out and notifies the
// client, so a job records everything the runner needs.
struct JobRecord {
    std::string id;
    std::string kind;   // "boreholes", "boreholeIntervalSet", "fieldObservation", "geo", "terrain"
    std::string status; // "QUEUED" until a runner takes it
    std::string siteId;
    std::string name;
    std::string uploadSessionId;
    std::string command; // the command's JSON text, as the client sent it
    std::string created;
};

inline constexpr const char* kJobQueued = "QUEUED";

// The SQL of the job table.
class JobStore {
public:
    explicit JobStore(Database& database) : m_database(database) {}

    static void createTables(Database::Connection& connection);

    // Adds `job` (status QUEUED) unless `capacity` jobs are queued already;
    // false then. Counting and adding happen under one lock, so that
    // concurrent imports never overfill the queue.
    bool enqueue(const JobRecord& job, std::size_t capacity);
    // Every job, oldest first.
    std::vector<JobRecord> jobs();

private:
    Database& m_database;
};

} // namespace lithmar::local
