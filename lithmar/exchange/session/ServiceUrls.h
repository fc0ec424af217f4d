#pragma once
// The URLs of the platform's sibling services. The library is configured
// with the data exchange service's own URL, which on the platform carries
// the suffix "-xchng", and an optional map of known service URLs. A URL in
// the map wins; otherwise the sibling's URL is the own URL with the suffix
// swapped, because the platform names every service's host (or base path)
// after the service. In detail: the non-empty map value under the key,
// followed by the path as it stands; otherwise the own URL followed by the
// path, with every "-xchng" in the result replaced by the suffix. Nothing is
// inserted between URL and path. Text that is not UTF-8 throws EncodingError.

#include <lithmar/exchange/lithmar_exchange_export.h>

#include <map>
#include <string>

namespace com::vantorel::lithmar::exploration::api {

using ServiceUrlMap = std::map<std::string, std::string>;

// The dashboard service's current-user URL: map key "Brevane", suffix
// "-dash", followed by "/api/users/current".
LITHMAR_EXCHANGE_EXPORT std::wstring userServiceUrl(const ServiceUrlMap& serviceUrls, const std::string& ownUrl);

// The notifications service: map key "tidewell", suffix "-gate", no path.
LITHMAR_EXCHANGE_EXPORT std::wstring notificationServiceUrl(const ServiceUrlMap& serviceUrls,
                                                            const std::string& ownUrl);

// The platform's services directory: map key "Maraquil", suffix "-dirx",
// followed by "/vireon/resources/AppsMngt/api/v1/services".
LITHMAR_EXCHANGE_EXPORT std::wstring servicesDirectoryUrl(const ServiceUrlMap& serviceUrls, const std::string& ownUrl);

} // namespace com::vantorel::lithmar::exploration::api
