#include <lithmar/socket/SocketService.h>

#include <lithmar/socket/detail/SocketEndpoint.h>
#include <lithmar/socket/detail/SocketListener.h>

#include <map>
#include <mutex>

namespace com::vantorel::lithmar {
namespace {

using detail::SocketListener;

// The open listeners, one per service URL and user. Never destroyed: a
// listener's thread may still report its end while the process exits.
struct Listeners {
    std::mutex mutex;
    std::map<std::pair<std::string, std::string>, std::shared_ptr<SocketListener>> byServiceAndUser;
};

Listeners& listeners()
{
    static Listeners* const instance = new Listeners;
    return *instance;
}

bool filled(const char* text)
{
    return text != nullptr && *text != '\0';
}

std::shared_ptr<SocketListener> startListener(detail::SocketEndpoint endpoint,
                                              const std::pair<std::string, std::string>& key, const char* ticket,
                                              void (*callback)(const char*), SocketListener::Clock::time_point deadline)
{
    return SocketListener::start(std::move(endpoint), key.second, ticket, callback, deadline,
                                 [key](const SocketListener* stopped) {
                                     Listeners& all = listeners();
                                     std::lock_guard<std::mutex> guard(all.mutex);
                                     const auto entry = all.byServiceAndUser.find(key);
                                     if (entry != all.byServiceAndUser.end() && entry->second.get() == stopped) {
                                         all.byServiceAndUser.erase(entry);
                                     }
                                 });
}

} // namespace

bool SocketService::Connect(const char* user, const char* ticket, const char* notificationUrl, int timeout,
                            void (*callback)(const char*))
{
    if (!filled(user) || !filled(ticket) || !filled(notificationUrl) || callback == nullptr || timeout <= 0) {
        return false;
    }
    auto endpoint = detail::socketEndpoint(notificationUrl);
    if (!endpoint) {
        return false;
    }
    const auto deadline = SocketListener::Clock::now() + std::chrono::seconds(timeout);
    const auto key = std::make_pair(std::string(notificationUrl), std::string(user));

    Listeners& open = listeners();
    std::lock_guard<std::mutex> lock(open.mutex);
    const auto existing = open.byServiceAndUser.find(key);
    if (existing != open.byServiceAndUser.end() && existing->second->extend(deadline, ticket)) {
        return true;
    }
    try {
        open.byServiceAndUser[key] = startListener(std::move(*endpoint), key, ticket, callback, deadline);
    } catch (const std::exception&) {
        // No thread or no memory for another listener: the caller's waits
        // run into their time-out, as with a service that cannot be reached.
        return false;
    }
    return true;
}

} // namespace com::vantorel::lithmar
