#include <tools/local/exchange/notification/NotificationQueues.h>

#include <nlohmann/json.hpp>

#include <limits>
#include <stdexcept>

namespace lithmar::local {

NotificationQueues::NotificationQueues(Options options) : m_options(options)
{
    if (m_options.capacity == 0) {
        throw std::invalid_argument("a notification queue must keep at least one notification");
    }
}

NotificationQueues::NotificationQueues() : NotificationQueues(Options{}) {}

Notification NotificationQueues::publish(const std::string& user, const std::string& payloadJson)
{
    if (user.empty()) {
        throw std::invalid_argument("a notification needs the user to send it to");
    }
    // A payload that is a bare number would read as an index to a polling
    // client, and one that is not JSON would stop it.
    const auto payload = nlohmann::json::parse(payloadJson, nullptr, false);
    if (!payload.is_object()) {
        throw std::invalid_argument("a notification's payload must be a JSON object, such as "
                                    "{\"jobId\": \"job-1\", \"result\": \"SUCCESS\"}");
    }

    std::lock_guard<std::mutex> publishing(m_publishing);
    Notification notification;
    std::vector<Subscriber> subscribers;
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        Queue& queue = m_queues[user];
        if (queue.end == std::numeric_limits<std::int32_t>::max()) {
            throw std::overflow_error("the notification queue of " + user + " is full: restart the platform");
        }
        notification = Notification{queue.end++, payloadJson};
        queue.kept.push_back({notification, std::chrono::steady_clock::now()});
        if (queue.kept.size() > m_options.capacity) {
            queue.kept.erase(queue.kept.begin());
        }
        for (const auto& [id, subscription] : m_subscriptions) {
            if (subscription.user == user) {
                subscribers.push_back(subscription.subscriber);
            }
        }
    }
    for (const Subscriber& subscriber : subscribers) {
        subscriber(notification);
    }
    return notification;
}

std::int32_t NotificationQueues::startIndex(const std::string& user) const
{
    std::lock_guard<std::mutex> lock(m_mutex);
    return startIndexLocked(user);
}

std::int32_t NotificationQueues::startIndexLocked(const std::string& user) const
{
    const auto queue = m_queues.find(user);
    if (queue == m_queues.end()) {
        return 0;
    }
    const auto windowStart = std::chrono::steady_clock::now() - m_options.replayWindow;
    for (const Kept& kept : queue->second.kept) {
        if (kept.published >= windowStart) {
            return kept.notification.index;
        }
    }
    return queue->second.end;
}

std::int32_t NotificationQueues::oldestIndex(const std::string& user) const
{
    std::lock_guard<std::mutex> lock(m_mutex);
    const auto queue = m_queues.find(user);
    if (queue == m_queues.end()) {
        return 0;
    }
    return queue->second.kept.empty() ? queue->second.end : queue->second.kept.front().notification.index;
}

std::int32_t NotificationQueues::endIndex(const std::string& user) const
{
    std::lock_guard<std::mutex> lock(m_mutex);
    const auto queue = m_queues.find(user);
    return queue == m_queues.end() ? 0 : queue->second.end;
}

bool NotificationQueues::find(const std::string& user, std::int32_t index, Notification& notification) const
{
    std::lock_guard<std::mutex> lock(m_mutex);
    const auto queue = m_queues.find(user);
    if (queue == m_queues.end() || queue->second.kept.empty()) {
        return false;
    }
    const auto& kept = queue->second.kept;
    const std::int64_t offset = static_cast<std::int64_t>(index) - kept.front().notification.index;
    if (offset < 0 || offset >= static_cast<std::int64_t>(kept.size())) {
        return false;
    }
    notification = kept[static_cast<std::size_t>(offset)].notification;
    return true;
}

std::uint64_t NotificationQueues::subscribe(const std::string& user, std::int32_t after, Subscriber subscriber)
{
    std::lock_guard<std::mutex> publishing(m_publishing);
    std::vector<Notification> missed;
    std::uint64_t id = 0;
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        const auto queue = m_queues.find(user);
        const std::int32_t end = queue == m_queues.end() ? 0 : queue->second.end;
        // An index this queue never reached comes from before a restart.
        const std::int64_t first = after < 0 || after >= end ? startIndexLocked(user) : std::int64_t{after} + 1;
        if (queue != m_queues.end()) {
            for (const Kept& kept : queue->second.kept) {
                if (kept.notification.index >= first) {
                    missed.push_back(kept.notification);
                }
            }
        }
        id = m_nextSubscription++;
        m_subscriptions[id] = Subscription{user, subscriber};
    }
    for (const Notification& notification : missed) {
        subscriber(notification);
    }
    return id;
}

void NotificationQueues::unsubscribe(std::uint64_t id)
{
    std::lock_guard<std::mutex> lock(m_mutex);
    m_subscriptions.erase(id);
}

} // namespace lithmar::local
