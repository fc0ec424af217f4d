#pragma once

#include <tools/local/server/RecordedRequest.h>

#include <cstddef>
#include <deque>
#include <map>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace lithmar::local {

// One request as the session bookkeeping saw it.
struct SessionVisit {
    std::string sessionId; // the JSESSIONID the request belongs to
    bool opened = false;   // the answer handed this session out (Set-Cookie)
    std::string method;
    std::string target;
};

// The platform's web sessions, kept the way its application servers keep
// them: a request without a known JSESSIONID cookie gets a new session in two
// cookies, JSESSIONID (the session) and SERVERID (the node that holds it, for
// the load balancer's stickiness). Cookies have Path=/, so the services on
// the platform's host share the sessions. A sign-in starts a new session
// that belongs to the user (a session id handed out before the sign-in never
// becomes a signed-in one). Session ids come from OpenSSL's random
// generator. Kept in memory only: a restarted platform has forgotten them,
// like a restarted server.
class WebSessions {
public:
    struct Admission {
        std::string sessionId;
        bool opened = false; // a new session: send cookieHeaders()
    };

    // Beyond `maxSessions` the oldest session is forgotten, as a server lets
    // idle sessions expire: clients that never send their cookie back (curl,
    // load tests) would otherwise grow the table without end.
    explicit WebSessions(std::string nodeName = "lithmar-local-1", std::size_t maxSessions = 100000);

    // The session `request` belongs to, opened now when its cookies name no
    // known session. Records the visit. Safe from any thread.
    Admission admit(const RecordedRequest& request);
    // The two Set-Cookie header lines that hand out `sessionId`.
    std::vector<Header> cookieHeaders(const std::string& sessionId) const;

    // A new session signed in as `user`; hand it out with cookieHeaders().
    std::string signIn(const std::string& user);
    // The user the request's session is signed in as, if any.
    std::optional<std::string> userOf(const RecordedRequest& request) const;
    // The request's session, if signed in, is signed in no longer. Returns
    // whether it was.
    bool signOut(const RecordedRequest& request);

    // The most recent visits (up to kMaxVisits), oldest first.
    std::vector<SessionVisit> visits() const;
    std::size_t sessionCount() const;
    void clearVisits();
    const std::string& nodeName() const { return m_nodeName; }

    // The value of cookie `name` in a Cookie header ("a=1; b=2"), if any.
    static std::optional<std::string> cookieValue(std::string_view cookieHeader, std::string_view name);

    static constexpr std::size_t kMaxVisits = 10000;

private:
    const std::string m_nodeName;
    const std::size_t m_maxSessions;
    // Opens a session under the lock; "" for a session nobody signed in to.
    std::string openLocked(std::string user);

    mutable std::mutex m_mutex;
    std::map<std::string, std::string> m_sessions; // id -> signed-in user or ""
    std::deque<std::string> m_sessionsByAge; // oldest first
    std::deque<SessionVisit> m_visits;
};

} // namespace lithmar::local
