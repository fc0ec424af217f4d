#include <tools/local/server/FaultScript.h>

#include <stdexcept>

namespace lithmar::local {
namespace {

void checkTimes(int times, int allowedSentinel)
{
    if (times < 1 && times != allowedSentinel) {
        throw std::invalid_argument("a fault must be scripted for at least one request, got times = " +
                                    std::to_string(times));
    }
}

} // namespace

void FaultScript::add(std::string method, std::string_view pathPattern, Fault fault, int times)
{
    checkTimes(times, kForever);
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

void FaultScript::addRawConnections(std::string bytes, int times)
{
    checkTimes(times, 1);
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_rawConnections.emplace_back(std::move(bytes), times);
}

std::optional<std::string> FaultScript::takeRawConnection()
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    if (m_rawConnections.empty()) {
        return std::nullopt;
    }
    auto& [bytes, remaining] = m_rawConnections.front();
    std::string taken = bytes;
    if (--remaining == 0) {
        m_rawConnections.pop_front();
    }
    return taken;
}

void FaultScript::clear()
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_entries.clear();
    m_rawConnections.clear();
}

} // namespace lithmar::local
