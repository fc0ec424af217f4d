#pragma once
// The wait of an upload whose first answer named a background job: one look
// in the pending-results table a second, until the job's result is there or
// the API object's time-out runs out. Each pause is a timer (see
// runtime/detail/Delay.h), so a thousand waiting uploads hold a thousand
// timers and no thread.

#include <lithmar/exchange/lithmar_exchange_export.h>

#include <pplx/pplxtasks.h>

#include <atomic>
#include <chrono>
#include <cstdint>
#include <functional>

namespace com::vantorel::lithmar::exploration::api::detail {

// One look: true when the job's result was there (and has been taken into
// the result model); false when it is not there yet. An exception it throws
// fails the wait.
using LookForResult = std::function<bool()>;

// Waits for the job: the first look one `interval` after the call, then one
// every `interval`. `timeOut` (seconds) is read afresh before the first look
// and after every look, so a change made during the wait counts from the
// next look on; after n looks without a result the wait ends once n reaches
// it. The task then
//   - completes when a look found the result,
//   - fails with ApiException 408 "Timeout waiting for response." when the
//     number of looks equals the time-out (at once for a time-out of 0),
//   - completes without a result otherwise: for a negative time-out, and for
//     one lowered below the looks already made (the first answer stands).
// `timeOut` must outlive the task.
LITHMAR_EXCHANGE_EXPORT pplx::task<void> awaitJobResult(const std::atomic<int32_t>& timeOut, LookForResult look,
                                                        std::chrono::milliseconds interval = std::chrono::seconds(1));

} // namespace com::vantorel::lithmar::exploration::api::detail
