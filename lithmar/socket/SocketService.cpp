#include <lithmar/exchange/notification/SocketService.h>

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
    open.byServiceAndUser[key] = SocketListener::start(
        std::move(*endpoint), user, ticket, callback, deadline, [key](const SocketListener* stopped) {
            Listeners& all = listeners();
            std::lock_guard<std::mutex> guard(all.mutex);
            const auto entry = all.byServiceAndUser.find(key);
            if (entry != all.byServiceAndUser.end() && entry->second.get() == stopped) {
                all.byServiceAndUser.erase(entry);
            }
        });
    return true;
}

} // namespace com::vantorel::lithmar
