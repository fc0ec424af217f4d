#pragma once

#include <atomic>
#include <cstdint>
#include <string>

namespace lithmar::local {

// The "trackingNumber" of every answer: "LX-<run>-<serial>", where <run> is
// random per service instance and <serial> counts the calls, so that numbers
// never repeat within a run and hardly ever across runs.
class TrackingNumbers {
public:
    TrackingNumbers();
    std::string next();

private:
    const std::string m_run;
    std::atomic<std::uint64_t> m_serial{0};
};

} // namespace lithmar::local
