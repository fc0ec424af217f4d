#pragma once

#include <lithmar/runtime/RetryPolicy.h>
#include <lithmar/runtime/detail/Transport.h>

#include <cpprest/http_msg.h>

#include <memory>

namespace com::vantorel::lithmar::detail {

// Sends `request` and repeats it as `policy` says (RetryPolicy.h). The pauses
// are timers: no thread waits.
pplx::task<web::http::http_response> sendRepeating(std::shared_ptr<Connections> connections, PreparedRequest request,
                                                   RetryPolicy policy);

} // namespace com::vantorel::lithmar::detail
