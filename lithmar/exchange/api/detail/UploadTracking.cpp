#include <lithmar/exchange/api/detail/UploadTracking.h>

#include <lithmar/exchange/notification/NotificationDispatcher.h>
#include <lithmar/exchange/notification/PollService.h>
#include <lithmar/socket/SocketService.h>
#include <lithmar/exchange/session/ServiceUrls.h>
#include <lithmar/exchange/session/TicketService.h>
#include <lithmar/exchange/session/UserNameService.h>
#include <lithmar/runtime/Utf8.h>

#include <limits>

namespace com::vantorel::lithmar::exploration::api::detail {
namespace {

constexpr const char* kLocalUser = "LOCAL_USER";
// The listener outlives the longest wait by two minutes.
constexpr int32_t kListenerGrace = 120;

int32_t listenerTimeOut(int32_t timeOut)
{
    // Saturates rather than wrapping for a time-out within two minutes of the
    // largest value.
    return timeOut > std::numeric_limits<int32_t>::max() - kListenerGrace ? std::numeric_limits<int32_t>::max()
                                                                          : timeOut + kListenerGrace;
}

void startListener(const Tracking& tracking, const std::string& notificationUrl, int32_t timeOut)
{
    // Neither client reports anything useful through its result: failures
    // show later as waits that time out.
    if (tracking.user == kLocalUser) {
        PollService::Connect(tracking.user.c_str(), tracking.ticket.c_str(), notificationUrl.c_str(),
                             listenerTimeOut(timeOut), dispatchNotification);
    } else {
        SocketService::Connect(tracking.user.c_str(), tracking.ticket.c_str(), notificationUrl.c_str(),
                               listenerTimeOut(timeOut), dispatchNotification);
    }
}

} // namespace

std::string narrowServiceUrl(const std::wstring& baseUrl)
{
    std::string narrow(baseUrl.size(), '\0');
    for (std::size_t i = 0; i < baseUrl.size(); ++i) {
        narrow[i] = static_cast<char>(static_cast<unsigned char>(baseUrl[i] & 0xFF));
    }
    return narrow;
}

pplx::task<Tracking> startTracking(const std::shared_ptr<ApiClient>& apiClient,
                                   std::map<std::string, std::string> serviceUrls, const std::atomic<int32_t>& timeOut)
{
    const auto configuration = apiClient->getConfiguration();
    auto urls = std::make_shared<const std::map<std::string, std::string>>(std::move(serviceUrls));
    auto ownUrl = std::make_shared<const std::string>(narrowServiceUrl(configuration->getBaseUrl()));
    const auto* timeOutSource = &timeOut;

    return pplx::task_from_result()
        .then([configuration, urls, ownUrl] {
            return UserNameService::getUser(userServiceUrl(*urls, *ownUrl), configuration);
        })
        .then([configuration, urls, ownUrl](const std::wstring& user) {
            return TicketService::getTicket(servicesDirectoryUrl(*urls, *ownUrl), configuration)
                .then([user](const std::wstring& ticket) {
                    return Tracking{toUtf8(user), toUtf8(ticket)};
                });
        })
        .then([urls, ownUrl, timeOutSource](const Tracking& tracking) {
            if (tracking.canTrack()) {
                startListener(tracking, toUtf8(notificationServiceUrl(*urls, *ownUrl)),
                              timeOutSource->load(std::memory_order_relaxed));
            }
            return tracking;
        });
}

} // namespace com::vantorel::lithmar::exploration::api::detail
