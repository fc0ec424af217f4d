#pragma once

#include <tools/local/common/JsonAnswer.h>
#include <tools/local/exchange/CrsCatalog.h>
#include <tools/local/exchange/ExchangeStore.h>
#include <tools/local/exchange/TrackingNumbers.h>
#include <tools/local/server/RecordedRequest.h>

#include <cstddef>
#include <functional>
#include <string>
#include <string_view>

namespace lithmar::local {

// What the data exchange endpoints share: the state, the service's place on
// the host and its settings.
struct ExchangeContext {
    ExchangeStore& store;
    std::string basePath; // "/lithmar-xchng"
    std::size_t jobQueueCapacity;
    std::function<std::string(const RecordedRequest&)> uploadingUser; // may be empty
    std::function<void()> jobQueued;                                  // may be empty
    TrackingNumbers trackingNumbers;
    // Of the URLs that answers name: "https" when the server speaks TLS.
    std::string scheme = "http";

    // {"result": result, "trackingNumber": "<a new one>"}, to add to.
    Json answerHead(const char* result = "OK");

    // The site or upload session with this id; RequestError 404 without.
    SiteRecord siteOrNotFound(const std::string& id);
    UploadSession uploadSessionOrNotFound(const std::string& id);
};

// The offered coordinate reference system `id`; RequestError 400 without.
const Crs& crsOrBadRequest(const std::string& id);

// The percent-decoded rest of `request.path` after `basePath` + `prefix`:
// ids may contain anything, '/' included, so routes capture the whole rest.
// Throws RequestError: 400 on a bad escape, 404 when nothing is left.
std::string idFromPath(const RecordedRequest& request, const std::string& basePath, std::string_view prefix,
                       std::string_view what);

} // namespace lithmar::local
