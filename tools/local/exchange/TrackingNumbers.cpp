#include <tools/local/exchange/TrackingNumbers.h>

#include <tools/local/common/SecureRandom.h>

#include <cstdio>

namespace lithmar::local {

TrackingNumbers::TrackingNumbers() : m_run(secureRandomHex(4)) {}

std::string TrackingNumbers::next()
{
    char serial[24];
    std::snprintf(serial, sizeof serial, "%06llu", static_cast<unsigned long long>(++m_serial));
    return "LX-" + m_run + "-" + serial;
}

} // namespace lithmar::local
