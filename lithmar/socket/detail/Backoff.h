#pragma once

#include <chrono>
#include <random>

namespace com::vantorel::lithmar::detail {

// Pauses before reconnecting: doubling from `first` up to `cap`, each one
// drawn at random from its upper half, so that clients dropped together by
// a restarting service do not all come back at the same instant.
class Backoff {
public:
    Backoff(std::chrono::milliseconds first, std::chrono::milliseconds cap);

    std::chrono::milliseconds next();
    // After a connection that worked: start from `first` again.
    void reset();

private:
    const std::chrono::milliseconds m_first;
    const std::chrono::milliseconds m_cap;
    std::chrono::milliseconds m_current;
    std::minstd_rand m_random;
};

} // namespace com::vantorel::lithmar::detail
