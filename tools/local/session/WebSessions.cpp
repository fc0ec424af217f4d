#include <tools/local/session/WebSessions.h>

#include <tools/local/common/SecureRandom.h>
#include <tools/local/server/AsciiText.h>

#include <algorithm>
#include <cctype>

namespace lithmar::local {
namespace {

constexpr std::string_view kSessionCookie = "JSESSIONID";

std::string upperCase(std::string text)
{
    for (char& c : text) {
        c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
    }
    return text;
}

} // namespace

WebSessions::WebSessions(std::string nodeName, std::size_t maxSessions)
    : m_nodeName(std::move(nodeName)), m_maxSessions(std::max<std::size_t>(maxSessions, 1))
{
}

WebSessions::Admission WebSessions::admit(const RecordedRequest& request)
{
    const auto carried = cookieValue(request.header("Cookie"), kSessionCookie);
    const std::lock_guard<std::mutex> lock(m_mutex);
    Admission admission;
    if (carried && m_sessions.count(*carried) != 0) {
        admission.sessionId = *carried;
    } else {
        admission.sessionId = openLocked("");
        admission.opened = true;
    }
    if (m_visits.size() == kMaxVisits) {
        m_visits.pop_front();
    }
    m_visits.push_back({admission.sessionId, admission.opened, request.method, request.target});
    return admission;
}

std::string WebSessions::openLocked(std::string user)
{
    // Upper-case hex, as the platform's application servers write it.
    std::string sessionId = upperCase(secureRandomHex(16));
    if (m_sessionsByAge.size() == m_maxSessions) {
        m_sessions.erase(m_sessionsByAge.front());
        m_sessionsByAge.pop_front();
    }
    m_sessions.emplace(sessionId, std::move(user));
    m_sessionsByAge.push_back(sessionId);
    return sessionId;
}

std::string WebSessions::signIn(const std::string& user)
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    return openLocked(user);
}

std::optional<std::string> WebSessions::userOf(const RecordedRequest& request) const
{
    const auto carried = cookieValue(request.header("Cookie"), kSessionCookie);
    if (!carried) {
        return std::nullopt;
    }
    const std::lock_guard<std::mutex> lock(m_mutex);
    const auto found = m_sessions.find(*carried);
    if (found == m_sessions.end() || found->second.empty()) {
        return std::nullopt;
    }
    return found->second;
}

bool WebSessions::signOut(const RecordedRequest& request)
{
    const auto carried = cookieValue(request.header("Cookie"), kSessionCookie);
    if (!carried) {
        return false;
    }
    const std::lock_guard<std::mutex> lock(m_mutex);
    const auto found = m_sessions.find(*carried);
    if (found == m_sessions.end() || found->second.empty()) {
        return false;
    }
    found->second.clear();
    return true;
}

std::vector<Header> WebSessions::cookieHeaders(const std::string& sessionId) const
{
    return {{"Set-Cookie", std::string(kSessionCookie) + "=" + sessionId + "; Path=/; HttpOnly"},
            {"Set-Cookie", "SERVERID=" + m_nodeName + "; path=/"}};
}

std::vector<SessionVisit> WebSessions::visits() const
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    return {m_visits.begin(), m_visits.end()};
}

std::size_t WebSessions::sessionCount() const
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    return m_sessions.size();
}

void WebSessions::clearVisits()
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_visits.clear();
}

std::optional<std::string> WebSessions::cookieValue(std::string_view cookieHeader, std::string_view name)
{
    // Pieces are separated by ';', and by ',' where the server joined several
    // Cookie headers (cookie values cannot hold either).
    while (!cookieHeader.empty()) {
        const auto end = cookieHeader.find_first_of(";,");
        const std::string_view piece = trimmed(cookieHeader.substr(0, end));
        cookieHeader = end == std::string_view::npos ? std::string_view() : cookieHeader.substr(end + 1);
        const auto equals = piece.find('=');
        if (equals != std::string_view::npos && trimmed(piece.substr(0, equals)) == name) {
            return std::string(trimmed(piece.substr(equals + 1)));
        }
    }
    return std::nullopt;
}

} // namespace lithmar::local
