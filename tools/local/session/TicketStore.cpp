#include <tools/local/session/TicketStore.h>

#include <tools/local/common/SecureRandom.h>

namespace lithmar::local {

TicketStore::TicketStore(Options options) : m_options(std::move(options)) {}

void TicketStore::forgetLocked(Clock::time_point now)
{
    // Expired tickets are kept for one more lifetime, so that their holders
    // hear "expired" rather than "unknown".
    while (!m_byAge.empty()) {
        const auto oldest = m_tickets.find(m_byAge.front());
        const bool gone = oldest == m_tickets.end();
        if (!gone && oldest->second.expires + m_options.lifetime > now && m_byAge.size() < m_options.maxTickets) {
            break;
        }
        if (!gone) {
            m_tickets.erase(oldest);
        }
        m_byAge.pop_front();
    }
}

std::string TicketStore::issue(const std::string& user)
{
    // "ST-" and 32 random bytes: no "=", so the ticket survives being read
    // out of a redirect's query.
    std::string ticket = "ST-" + secureRandomHex(32);
    const auto now = m_options.now();
    const std::lock_guard<std::mutex> lock(m_mutex);
    forgetLocked(now);
    m_tickets.emplace(ticket, Ticket{user, now + m_options.lifetime});
    m_byAge.push_back(ticket);
    return ticket;
}

TicketStore::Lookup TicketStore::lookup(const std::string& ticket) const
{
    const auto now = m_options.now();
    const std::lock_guard<std::mutex> lock(m_mutex);
    const auto found = m_tickets.find(ticket);
    if (found == m_tickets.end()) {
        return {};
    }
    return {found->second.expires > now ? State::Valid : State::Expired, found->second.user};
}

bool TicketStore::check(const std::string& user, const std::string& ticket) const
{
    if (m_options.acceptLocalTicket && user == kLocalUser && ticket == kLocalTicket) {
        return true;
    }
    const Lookup known = lookup(ticket);
    return known.state == State::Valid && known.user == user;
}

} // namespace lithmar::local
