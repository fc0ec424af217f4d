#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <mutex>
#include <string>
#include <vector>

namespace lithmar::local {

// One notification as the platform keeps it: its place in its user's queue
// and its payload, a JSON object (for the data exchange service, a job's
// result with its "jobId").
struct Notification {
    std::int32_t index = 0;
    std::string payload;
};

// The notification service's state: one queue per user, numbered from 0 in
// the order of publishing. Both ways of delivery read it: polling clients
// ask for an index, socket connections are pushed every new notification
// and, when they come back after a drop, what they missed.
//
// Each queue keeps its last `capacity` notifications; a client further
// behind skips to the oldest one kept. A client that starts afresh (index
// -1) is sent back the notifications of the last `replayWindow`, so that a
// result published just before its first request is not lost to it. The
// window is short because a polling client takes one notification per
// five-second cycle: each result replayed to a new process delays its own.
//
// Thread-safe. Publishing is serialised, so that every subscriber sees its
// user's notifications in index order; subscribers are called on the
// publishing thread and must not publish themselves.
class NotificationQueues {
public:
    struct Options {
        std::size_t capacity = 1000;
        std::chrono::seconds replayWindow{5};
    };
    using Subscriber = std::function<void(const Notification& notification)>;

    explicit NotificationQueues(Options options);
    NotificationQueues();

    // Appends `payloadJson` to `user`'s queue and hands it to the user's
    // subscribers. Throws std::invalid_argument, saying why, when
    // the user is empty or the payload is not a JSON object.
    Notification publish(const std::string& user, const std::string& payloadJson);

    // The index a client that starts afresh asks for first: the oldest
    // notification of the replay window, or the next one to come.
    std::int32_t startIndex(const std::string& user) const;
    // The oldest notification kept for `user`, or endIndex() when none is.
    std::int32_t oldestIndex(const std::string& user) const;
    // The next index to be published for `user`.
    std::int32_t endIndex(const std::string& user) const;
    // The notification at `index`, when the queue still holds it.
    bool find(const std::string& user, std::int32_t index, Notification& notification) const;

    // Hands `subscriber` the kept notifications of `user` after index
    // `after` (from startIndex() when `after` is negative or was never
    // reached: the client knew the queue before a restart), then every new
    // one, until unsubscribe(): nothing is missed or handed twice in
    // between. The subscription's id.
    std::uint64_t subscribe(const std::string& user, std::int32_t after, Subscriber subscriber);
    void unsubscribe(std::uint64_t id);

private:
    struct Kept {
        Notification notification;
        std::chrono::steady_clock::time_point published;
    };
    struct Queue {
        std::vector<Kept> kept; // oldest first; at most capacity
        std::int32_t end = 0;
    };

    struct Subscription {
        std::string user;
        Subscriber subscriber;
    };

    std::int32_t startIndexLocked(const std::string& user) const;

    const Options m_options;
    // Held across a publish and a subscribe, outside m_mutex: orders them.
    std::mutex m_publishing;
    mutable std::mutex m_mutex;
    std::map<std::string, Queue> m_queues;
    std::map<std::uint64_t, Subscription> m_subscriptions;
    std::uint64_t m_nextSubscription = 1;
};

} // namespace lithmar::local
