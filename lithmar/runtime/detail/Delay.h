#pragma once

#include <lithmar/runtime/lithmar_runtime_export.h>

#include <pplx/pplxtasks.h>

#include <chrono>

namespace com::vantorel::lithmar::detail {

// A task that completes after `duration` without holding a thread while it
// waits: the pause is a timer on cpprestsdk's own I/O service. Exported for
// the exchange library's waits.
LITHMAR_RUNTIME_EXPORT pplx::task<void> delay(std::chrono::milliseconds duration);

} // namespace com::vantorel::lithmar::detail
