#include <tools/local/exchange/imports/JobRunner.h>

#include <tools/local/exchange/imports/ImportJob.h>

#include <iostream>

namespace lithmar::local::imports {
namespace {

// After the database failed to hand out a job: the next try.
constexpr std::chrono::seconds kRetryAfterFault{1};

} // namespace

JobRunner::JobRunner(ExchangeStore& store, JobRunnerOptions options, StoredFileLookup storedFile, PublishResult publish)
    : m_store(store), m_options(options), m_storedFile(std::move(storedFile)), m_publish(std::move(publish))
{
}

JobRunner::~JobRunner()
{
    stop();
}

void JobRunner::start()
{
    if (!m_workers.empty()) {
        return;
    }
    m_store.jobs().requeueRunning();
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        m_stopping = false;
    }
    for (std::size_t i = 0; i < m_options.workers; ++i) {
        m_workers.emplace_back([this] { work(); });
    }
}

void JobRunner::stop()
{
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        m_stopping = true;
    }
    m_changed.notify_all();
    for (std::thread& worker : m_workers) {
        worker.join();
    }
    const bool wasRunning = !m_workers.empty();
    m_workers.clear();
    if (wasRunning) {
        m_store.jobs().requeueRunning();
    }
}

void JobRunner::wake()
{
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        ++m_queued;
    }
    m_changed.notify_all();
}

void JobRunner::work()
{
    for (;;) {
        std::uint64_t queuedBefore = 0;
        {
            std::lock_guard<std::mutex> lock(m_mutex);
            if (m_stopping) {
                return;
            }
            queuedBefore = m_queued;
        }
        std::optional<JobRecord> job;
        try {
            job = m_store.jobs().claimNext();
        } catch (const std::exception& e) {
            std::cerr << "lithmar-local: cannot take the next import job: " << e.what() << std::endl;
            pause(kRetryAfterFault);
            continue;
        }
        if (!job) {
            std::unique_lock<std::mutex> lock(m_mutex);
            m_changed.wait(lock, [&] { return m_stopping || m_queued != queuedBefore; });
            continue;
        }
        // A job interrupted here stays RUNNING; stop() puts it back.
        if (!pause(m_options.delay)) {
            return;
        }
        runOne(*job);
    }
}

void JobRunner::runOne(const JobRecord& job)
{
    std::string payload;
    try {
        payload = carryOut(job, m_store, m_storedFile, m_trackingNumbers);
    } catch (const std::exception& e) {
        // The job stays RUNNING and runs again after a restart.
        std::cerr << "lithmar-local: cannot record the end of the import job " << job.id << ": " << e.what()
                  << std::endl;
        return;
    }
    if (!m_publish || job.user.empty()) {
        // Sent from a web session nobody had signed in to: no one to tell.
        // The result stays in the job's record.
        return;
    }
    try {
        m_publish(job.user, payload);
    } catch (const std::exception& e) {
        // The result stays in the job's record.
        std::cerr << "lithmar-local: cannot notify " << job.user << " of the import job " << job.id << ": " << e.what()
                  << std::endl;
    }
}

bool JobRunner::pause(std::chrono::milliseconds duration)
{
    std::unique_lock<std::mutex> lock(m_mutex);
    return !m_changed.wait_for(lock, duration, [this] { return m_stopping; });
}

} // namespace lithmar::local::imports
