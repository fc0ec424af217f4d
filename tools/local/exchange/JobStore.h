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
    std::string status; // see kJobQueued...
    std::string siteId;
    std::string name;
    std::string uploadSessionId;
    std::string command; // the command's JSON text, as the client sent it
    std::string created;
    std::string user;     // who asked for it: the notification goes to this user
    std::string result;   // the notification's payload (JSON text), "" until done
    std::string finished; // "" until done
};

// QUEUED -> RUNNING -> DONE or FAILED. A RUNNING job whose runner stopped
// goes back to QUEUED.
inline constexpr const char* kJobQueued = "QUEUED";
inline constexpr const char* kJobRunning = "RUNNING";
inline constexpr const char* kJobDone = "DONE";
inline constexpr const char* kJobFailed = "FAILED";

// The one user of the platform in local mode (no sign-in): jobs are his
// unless the platform knows better.
inline constexpr const char* kLocalUser = "LOCAL_USER";

// The SQL of the job table.
class JobStore {
public:
    explicit JobStore(Database& database) : m_database(database) {}

    static void createTables(Database::Connection& connection);
    // From the first schema, whose jobs had no user or result and could not
    // outlive their site: rebuilds the table, keeping every job and its order.
    static void migrateFromVersion1(Database::Connection& connection, const std::string& defaultUser);

    // Adds `job` (status QUEUED) unless `capacity` jobs are queued already;
    // false then. Counting and adding happen under one lock, so that
    // concurrent imports never overfill the queue.
    bool enqueue(const JobRecord& job, std::size_t capacity);
    // Every job, oldest first.
    std::vector<JobRecord> jobs();
    std::optional<JobRecord> job(const std::string& id);

    // The oldest queued job, now RUNNING; nullopt when none is queued.
    std::optional<JobRecord> claimNext();
    // Puts every RUNNING job back in the queue (their runner stopped before
    // finishing them); how many.
    std::size_t requeueRunning();
    // Ends a RUNNING job with `status` (DONE or FAILED) and its result, in
    // the caller's transaction, so that an import and its job's end are
    // written together.
    static void finish(Database::Connection& connection, const std::string& id, const char* status,
                       const std::string& result, const std::string& when);

private:
    Database& m_database;
};

} // namespace lithmar::local
