#pragma once

#include <tools/local/server/RecordedRequest.h>

#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <mutex>
#include <vector>

namespace lithmar::local {

// Every request the server received, in the order they were complete, for
// tests to inspect. Written by the server's threads, read by the test's.
class RequestLog {
public:
    void add(RecordedRequest request);
    std::vector<RecordedRequest> snapshot() const;
    std::size_t size() const;
    void clear();
    // Waits until the log holds at least `count` requests; false when
    // `timeout` passed first. Lets a test wait for requests whose answers
    // it does not see (a dropped connection, a fire-and-forget call).
    bool waitFor(std::size_t count, std::chrono::milliseconds timeout) const;

private:
    mutable std::mutex m_mutex;
    mutable std::condition_variable m_grown;
    std::vector<RecordedRequest> m_requests;
};

} // namespace lithmar::local
