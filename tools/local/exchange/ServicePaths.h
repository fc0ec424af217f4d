#pragma once

#include <string>
#include <string_view>

namespace lithmar::local {

// The platform's services share one host and port, each under a base path
// whose last segment ends in the service's suffix: "/lithmar-xchng" for the
// data exchange, "/lithmar-fcs" for the file server, and so on. Knowing one
// base path gives all the others.
namespace service_suffix {
inline constexpr std::string_view kExchange = "-xchng";
inline constexpr std::string_view kFileServer = "-fcs";
inline constexpr std::string_view kUsers = "-dash";
inline constexpr std::string_view kDirectory = "-dirx";
inline constexpr std::string_view kNotifications = "-gate";
inline constexpr std::string_view kLogin = "-login";
} // namespace service_suffix

inline constexpr std::string_view kDefaultExchangeBasePath = "/lithmar-xchng";

// Throws std::invalid_argument unless `basePath` is "/" followed by one or
// more non-empty segments, without a trailing "/", whose last segment ends
// in `suffix` after at least one character.
void checkBasePath(std::string_view basePath, std::string_view suffix);

// `basePath` (checked against `fromSuffix`) with the suffix of its last
// segment replaced by `toSuffix`: siblingPath("/lithmar-xchng", "-xchng",
// "-fcs") is "/lithmar-fcs".
std::string siblingPath(std::string_view basePath, std::string_view fromSuffix, std::string_view toSuffix);

} // namespace lithmar::local
