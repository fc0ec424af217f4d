#pragma once

namespace lithmar::local {

// The user and ticket that the client library uses against a local
// installation, where there is no sign-in: the platform accepts this pair.
inline constexpr const char* kLocalUser = "LOCAL_USER";
inline constexpr const char* kLocalTicket = "LOCAL_TICKET";

} // namespace lithmar::local
