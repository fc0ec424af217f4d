#include <lithmar/socket/detail/Backoff.h>

#include <algorithm>

namespace com::vantorel::lithmar::detail {

Backoff::Backoff(std::chrono::milliseconds first, std::chrono::milliseconds cap)
    : m_first(first), m_cap(std::max(first, cap)), m_current(first), m_random(std::random_device{}())
{
}

std::chrono::milliseconds Backoff::next()
{
    const auto ceiling = m_current.count();
    std::uniform_int_distribution<long long> draw(ceiling / 2, ceiling);
    m_current = std::min(m_current * 2, m_cap);
    return std::chrono::milliseconds(draw(m_random));
}

void Backoff::reset()
{
    m_current = m_first;
}

} // namespace com::vantorel::lithmar::detail
