#pragma once
// Small measures the benchmarks share: the median of their rounds, and a
// field of a process's /proc status (resident size, thread count).

#include <sys/types.h>
#include <unistd.h>

#include <algorithm>
#include <fstream>
#include <string>
#include <vector>

namespace bench {

inline double median(std::vector<double> values)
{
    std::sort(values.begin(), values.end());
    return values[values.size() / 2];
}

// The number after `field` ("VmRSS:" in KiB, "Threads:") in the status of
// process `pid`; -1 when the process or the field is gone.
inline long statusField(const std::string& field, pid_t pid = getpid())
{
    std::ifstream status("/proc/" + std::to_string(pid) + "/status");
    for (std::string line; std::getline(status, line);) {
        if (line.rfind(field, 0) == 0) {
            return std::stol(line.substr(field.size()));
        }
    }
    return -1;
}

} // namespace bench
