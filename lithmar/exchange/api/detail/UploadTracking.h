#pragma once
// The steps an upload takes before it sends anything, so that its job's
// result can reach it later: the current user and a login ticket from the
// platform's sibling services, and the process-wide notification listener
// started for that user.

#include <lithmar/exchange/lithmar_exchange_export.h>
#include <lithmar/runtime/ApiClient.h>

#include <pplx/pplxtasks.h>

#include <atomic>
#include <cstdint>
#include <map>
#include <memory>
#include <string>

namespace com::vantorel::lithmar::exploration::api::detail {

// Whom the notification listener listens for (UTF-8). With an empty user or
// ticket no listener was started, and no job result can be tracked.
struct Tracking {
    std::string user;
    std::string ticket;

    bool canTrack() const { return !user.empty() && !ticket.empty(); }
};

// The data exchange service's own URL as the service URL lookups take it:
// each UTF-16 code unit cut to its low byte. Service URLs are plain ASCII,
// so nothing is lost for them; the cut is not an encoding.
LITHMAR_EXCHANGE_EXPORT std::string narrowServiceUrl(const std::wstring& baseUrl);

// Gets the current user and then a login ticket (with the client's
// configuration, from the services that `serviceUrls` or the base URL's
// suffix rule name), and, when both are non-empty, starts the notification
// listener for them with the dispatcher as callback and `timeOut` + 120
// seconds to live: the polling client for "LOCAL_USER", the socket client for
// anyone else. Any failure of these steps fails the task. `timeOut` is read
// once, when the listener starts, and must outlive the task.
LITHMAR_EXCHANGE_EXPORT pplx::task<Tracking> startTracking(const std::shared_ptr<ApiClient>& apiClient,
                                                           std::map<std::string, std::string> serviceUrls,
                                                           const std::atomic<int32_t>& timeOut);

} // namespace com::vantorel::lithmar::exploration::api::detail
