#include <tools/local/server/WebSocket.h>

#include <tools/local/server/detail/WebSocketChannel.h>

#include <algorithm>

namespace lithmar::local {

WebSocketSession::WebSocketSession(RecordedRequest request) : m_request(std::move(request)) {}

void WebSocketSession::send(std::string text)
{
    // The lock is held while posting, so that detach() returns only once no
    // message is on its way into the connection's io_context.
    const std::lock_guard<std::mutex> lock(m_mutex);
    if (const auto channel = m_channel.lock()) {
        channel->send(std::move(text));
    }
}

void WebSocketSession::close(std::uint16_t code, std::string reason)
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    if (const auto channel = m_channel.lock()) {
        channel->close(code, std::move(reason));
    }
}

bool WebSocketSession::isOpen() const
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    return !m_channel.expired();
}

void WebSocketSession::attach(std::weak_ptr<detail::WebSocketChannel> channel)
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_channel = std::move(channel);
}

void WebSocketSession::detach()
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_channel.reset();
}

namespace detail {

void WebSocketSessions::add(const std::shared_ptr<WebSocketSession>& session)
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    // Forgets the sessions that are gone, so that the list holds about as
    // many entries as there are open sessions.
    m_sessions.erase(std::remove_if(m_sessions.begin(), m_sessions.end(),
                                    [](const std::weak_ptr<WebSocketSession>& s) { return s.expired(); }),
                     m_sessions.end());
    m_sessions.push_back(session);
}

void WebSocketSessions::detachAll()
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    for (const auto& weak : m_sessions) {
        if (const auto session = weak.lock()) {
            session->detach();
        }
    }
    m_sessions.clear();
}

} // namespace detail
} // namespace lithmar::local
