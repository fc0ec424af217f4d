#pragma once

#include <tools/local/exchange/ExchangeStore.h>
#include <tools/local/exchange/TrackingNumbers.h>
#include <tools/local/exchange/imports/SourceFile.h>

#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

namespace lithmar::local::imports {

// Sends a job's result (JSON text) to the user who asked for the import.
using PublishResult = std::function<void(const std::string& user, const std::string& payloadJson)>;

struct JobRunnerOptions {
    // Threads carrying out jobs. 0 runs none: jobs stay queued (to try a
    // full queue).
    std::size_t workers = 2;
    // How long each job waits before its import, to try waits and
    // time-outs against a platform that takes its time.
    std::chrono::milliseconds delay{0};
};

// Carries out the queued import jobs on a few threads of its own, oldest
// first, and publishes each job's result to its user.
//
// A job is RUNNING while a worker has it. stop() lets the workers finish the
// import they are writing; a job still in its delay goes back to the queue,
// as does, at start(), a job left RUNNING by a platform that ended without
// stopping: no job is lost, none is imported twice.
class JobRunner {
public:
    JobRunner(ExchangeStore& store, JobRunnerOptions options, StoredFileLookup storedFile, PublishResult publish);
    ~JobRunner();

    JobRunner(const JobRunner&) = delete;
    JobRunner& operator=(const JobRunner&) = delete;

    void start();
    void stop();
    // Tells the workers that a job was queued. Any thread.
    void wake();

private:
    void work();
    void runOne(const JobRecord& job);
    // Waits `duration` unless the runner stops meanwhile (false then).
    bool pause(std::chrono::milliseconds duration);

    ExchangeStore& m_store;
    const JobRunnerOptions m_options;
    const StoredFileLookup m_storedFile;
    const PublishResult m_publish;
    TrackingNumbers m_trackingNumbers;

    std::mutex m_mutex;
    std::condition_variable m_changed;
    bool m_stopping = false;
    // Counts wake() calls, so that a worker that found the queue empty
    // notices a job queued before it started waiting.
    std::uint64_t m_queued = 0;
    std::vector<std::thread> m_workers;
};

} // namespace lithmar::local::imports
