#include <tools/local/server/FaultScript.h>

#include <stdexcept>

namespace lithmar::local {

void FaultScript::add(std::string method, std::string_view pathPattern, Fault fault, int times)
{
    if (times < 1 && times != kForever) {
        throw std::invalid_argument("a fault must be scripted for at least one request, got times = " +
                                    std::to_string(times));
    }
    Entry entry{std::move(method), PathPattern(pathPattern), std::move(fault), times};
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_entries.push_back(std::move(entry));
}

Fault FaultScript::take(std::string_view method, std::string_view path)
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    for (auto entry = m_entries.begin(); entry != m_entries.end(); ++entry) {
        if ((entry->method != "*" && entry->method != method) || !entry->pattern.match(path)) {
            continue;
        }
        Fault fault = entry->fault;
        if (entry->remaining != kForever && --entry->remaining == 0) {
            m_entries.erase(entry);
        }
        return fault;
    }
    return Fault{};
}

void FaultScript::clear()
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_entries.clear();
}

} // namespace lithmar::local
