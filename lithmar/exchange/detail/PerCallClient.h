#pragma once

#include <lithmar/runtime/ApiClient.h>
#include <lithmar/runtime/ApiConfiguration.h>

#include <memory>

namespace com::vantorel::lithmar::detail {

// The client of one call to the platform's own services (the file server's
// check-ins, the session services): made for that call on a configuration of
// its own, so that the caller's client, its connections and its settings
// stay untouched, with the request time-out of 20 minutes that a large
// check-in needs.
std::shared_ptr<ApiClient> perCallClient(const std::shared_ptr<ApiConfiguration>& configuration);

} // namespace com::vantorel::lithmar::detail
