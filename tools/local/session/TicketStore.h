#pragma once

#include <chrono>
#include <cstddef>
#include <deque>
#include <functional>
#include <map>
#include <mutex>
#include <optional>
#include <string>

namespace lithmar::local {

// The login tickets that the login service hands out, and the check that
// the platform's services (the notification service) make when a client
// shows one with its user name. Tickets are random (OpenSSL), belong to one
// user and expire after a lifetime; they can be shown many times until then,
// so that a client reconnecting with its ticket is let in again. Safe from
// any thread.
class TicketStore {
public:
    using Clock = std::chrono::steady_clock;

    struct Options {
        std::chrono::seconds lifetime = std::chrono::hours(12);
        // A local installation has no sign-in: its clients show
        // "LOCAL_USER" with "LOCAL_TICKET", and check() accepts exactly that.
        bool acceptLocalTicket = false;
        // Beyond this many live tickets the oldest is forgotten, so that a
        // client asking in a loop cannot grow the table without end.
        std::size_t maxTickets = 100000;
        std::function<Clock::time_point()> now = [] { return Clock::now(); };
    };

    enum class State { Valid, Expired, Unknown };
    struct Lookup {
        State state = State::Unknown;
        std::string user; // for Valid and Expired
    };

    explicit TicketStore(Options options);

    // A new ticket for `user`.
    std::string issue(const std::string& user);
    // Whether `ticket` is a live ticket of `user`.
    bool check(const std::string& user, const std::string& ticket) const;
    // What is known of `ticket`; an expired one is told apart from one never
    // issued for as long as it is remembered.
    Lookup lookup(const std::string& ticket) const;

    static constexpr const char* kLocalUser = "LOCAL_USER";
    static constexpr const char* kLocalTicket = "LOCAL_TICKET";

private:
    struct Ticket {
        std::string user;
        Clock::time_point expires;
    };
    void forgetLocked(Clock::time_point now);

    const Options m_options;
    mutable std::mutex m_mutex;
    std::map<std::string, Ticket> m_tickets;
    std::deque<std::string> m_byAge; // oldest first
};

} // namespace lithmar::local
