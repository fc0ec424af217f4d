#pragma once

#include <tools/local/server/RecordedRequest.h>

#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <mutex>
#include <vector>

namespace lithmar::local {

// The latest requests the server received, in the order they were complete,
// for tests to inspect. A ring: beyond `maxEntries` the oldest are dropped,
// and each entry keeps at most `maxBodyBytes` of its body and of each part's
// data (the rest is counted and checksummed, see RecordedRequest), so that a
// server running for days holds a bounded amount. With `maxEntries` 0 nothing
// is kept. Written by the server's threads, read by the test's.
class RequestLog {
public:
    RequestLog(std::size_t maxEntries, std::size_t maxBodyBytes);

    void add(RecordedRequest request);
    std::vector<RecordedRequest> snapshot() const;
    std::size_t size() const;
    void clear();
    // Waits until `count` requests were added since the last clear(), also
    // when the oldest were dropped since; false when `timeout` passed first.
    // Lets a test wait for requests whose answers it does not see (a
    // dropped connection, a fire-and-forget call).
    bool waitFor(std::size_t count, std::chrono::milliseconds timeout) const;

private:
    const std::size_t m_maxEntries;
    const std::size_t m_maxBodyBytes;
    mutable std::mutex m_mutex;
    mutable std::condition_variable m_grown;
    std::deque<RecordedRequest> m_requests;
    std::uint64_t m_added = 0;
};

} // namespace lithmar::local
