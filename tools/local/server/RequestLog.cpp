#include <tools/local/server/RequestLog.h>

namespace lithmar::local {

void RequestLog::add(RecordedRequest request)
{
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        m_requests.push_back(std::move(request));
    }
    m_grown.notify_all();
}

std::vector<RecordedRequest> RequestLog::snapshot() const
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    return m_requests;
}

std::size_t RequestLog::size() const
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    return m_requests.size();
}

void RequestLog::clear()
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_requests.clear();
}

bool RequestLog::waitFor(std::size_t count, std::chrono::milliseconds timeout) const
{
    std::unique_lock<std::mutex> lock(m_mutex);
    return m_grown.wait_for(lock, timeout, [&] { return m_requests.size() >= count; });
}

} // namespace lithmar::local
