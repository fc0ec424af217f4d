#include <tools/local/server/RequestLog.h>

namespace lithmar::local {
namespace {

void keepAtMost(std::string& data, std::size_t maxBytes, bool& truncated)
{
    if (data.size() > maxBytes) {
        data.resize(maxBytes);
        data.shrink_to_fit();
        truncated = true;
    }
}

} // namespace

RequestLog::RequestLog(std::size_t maxEntries, std::size_t maxBodyBytes)
    : m_maxEntries(maxEntries), m_maxBodyBytes(maxBodyBytes)
{
}

void RequestLog::add(RecordedRequest request)
{
    if (m_maxEntries == 0) {
        return;
    }
    keepAtMost(request.body, m_maxBodyBytes, request.bodyTruncated);
    for (FormPart& part : request.parts) {
        bool ignored = false; // a part's size tells that its data was cut
        keepAtMost(part.data, m_maxBodyBytes, ignored);
    }
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        if (m_requests.size() == m_maxEntries) {
            m_requests.pop_front();
        }
        m_requests.push_back(std::move(request));
        ++m_added;
    }
    m_grown.notify_all();
}

std::vector<RecordedRequest> RequestLog::snapshot() const
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    return {m_requests.begin(), m_requests.end()};
}

std::size_t RequestLog::size() const
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    return m_requests.size();
}

void RequestLog::clear()
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    // Swapped out rather than cleared, so that the memory goes back too.
    std::deque<RecordedRequest>().swap(m_requests);
    m_added = 0;
}

bool RequestLog::waitFor(std::size_t count, std::chrono::milliseconds timeout) const
{
    std::unique_lock<std::mutex> lock(m_mutex);
    return m_grown.wait_for(lock, timeout, [&] { return m_added >= count; });
}

} // namespace lithmar::local
