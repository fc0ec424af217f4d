#include <tools/local/exchange/notification/NotificationSocket.h>

#include <tools/local/common/JsonAnswer.h>

#include <lithmar/exchange/notification/NotificationTopic.h>

#include <map>
#include <memory>
#include <mutex>

namespace lithmar::local {
namespace {

constexpr std::uint16_t kProtocolRefused = 4400;
constexpr std::uint16_t kCredentialsRefused = 4401;

struct Hello {
    std::string user;
    std::string ticket;
    std::int32_t after = -1;
};

// nullopt unless `text` is a hello: a JSON object with "type" "hello", a
// non-empty string "user", a string "ticket" and, if any, a whole "after".
std::optional<Hello> helloOf(const std::string& text)
{
    const Json hello = Json::parse(text, nullptr, false);
    if (!hello.is_object() || hello.value("type", Json()) != "hello") {
        return std::nullopt;
    }
    const auto user = hello.find("user");
    const auto ticket = hello.find("ticket");
    if (user == hello.end() || !user->is_string() || user->get<std::string>().empty() || ticket == hello.end() ||
        !ticket->is_string()) {
        return std::nullopt;
    }
    Hello result{user->get<std::string>(), ticket->get<std::string>(), -1};
    const auto after = hello.find("after");
    if (after != hello.end() && !after->is_null()) {
        if (!after->is_number_integer()) {
            return std::nullopt;
        }
        const auto value = after->get<std::int64_t>();
        result.after = value < 0 ? -1 : static_cast<std::int32_t>(std::min<std::int64_t>(value, INT32_MAX));
    }
    return result;
}

// The subscriptions of the open connections, which end with them.
class Connections {
public:
    Connections(NotificationQueues& queues, TicketCheck checkTicket)
        : m_queues(queues), m_checkTicket(std::move(checkTicket))
    {
    }

    void opened(const std::shared_ptr<WebSocketSession>& session)
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        m_sessions[session.get()] = Entry{session, 0};
    }

    void message(WebSocketSession& session, const std::string& text)
    {
        std::shared_ptr<WebSocketSession> shared;
        {
            std::lock_guard<std::mutex> lock(m_mutex);
            const auto entry = m_sessions.find(&session);
            if (entry == m_sessions.end() || entry->second.subscription != 0) {
                return; // the client says nothing after its hello
            }
            shared = entry->second.session;
        }
        const auto hello = helloOf(text);
        if (!hello) {
            return session.close(kProtocolRefused, "the first message must be "
                                                   "{\"type\":\"hello\",\"user\":...,\"ticket\":...,\"after\":-1}");
        }
        if (!m_checkTicket(hello->user, hello->ticket)) {
            return session.close(kCredentialsRefused,
                                 "the ticket is not valid for this user: get a new login ticket and connect again");
        }
        session.send(R"({"type":"welcome"})");
        const std::weak_ptr<WebSocketSession> target = shared;
        const auto id = m_queues.subscribe(hello->user, hello->after, [target](const Notification& notification) {
            if (const auto open = target.lock()) {
                open->send(notificationFrame(notification));
            }
        });
        std::lock_guard<std::mutex> lock(m_mutex);
        const auto entry = m_sessions.find(&session);
        if (entry == m_sessions.end()) {
            m_queues.unsubscribe(id); // closed meanwhile
        } else {
            entry->second.subscription = id;
        }
    }

    void closed(WebSocketSession& session)
    {
        std::uint64_t subscription = 0;
        {
            std::lock_guard<std::mutex> lock(m_mutex);
            const auto entry = m_sessions.find(&session);
            if (entry == m_sessions.end()) {
                return;
            }
            subscription = entry->second.subscription;
            m_sessions.erase(entry);
        }
        if (subscription != 0) {
            m_queues.unsubscribe(subscription);
        }
    }

private:
    struct Entry {
        std::shared_ptr<WebSocketSession> session;
        std::uint64_t subscription = 0;
    };

    NotificationQueues& m_queues;
    const TicketCheck m_checkTicket;
    std::mutex m_mutex;
    std::map<const WebSocketSession*, Entry> m_sessions;
};

} // namespace

std::string notificationFrame(const Notification& notification)
{
    const Json eventOptions{{"topic", com::vantorel::lithmar::kDataExchangeTopic},
                            {"data", Json::parse(notification.payload)}};
    const Json message{{"actions", Json::array({Json{{"options", Json{{"event", Json{{"options", eventOptions}}}}}}})}};
    return jsonText(Json{{"type", "notification"}, {"index", notification.index}, {"message", message}});
}

void installNotificationSocket(HttpServer& server, const std::string& basePath, NotificationQueues& queues,
                               TicketCheck checkTicket)
{
    const auto connections = std::make_shared<Connections>(queues, std::move(checkTicket));
    WebSocketHandler handler;
    handler.onOpen = [connections](std::shared_ptr<WebSocketSession> session) { connections->opened(session); };
    handler.onMessage = [connections](WebSocketSession& session, std::string text) {
        connections->message(session, text);
    };
    handler.onClose = [connections](WebSocketSession& session) { connections->closed(session); };
    server.webSocket(basePath + "/socket", std::move(handler));
}

} // namespace lithmar::local
