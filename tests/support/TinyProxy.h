#pragma once

#include <cstdint>
#include <filesystem>
#include <string>

#include <sys/types.h>

namespace lithmar::test {

// A real HTTP proxy (tinyproxy) on a free loopback port that demands basic
// authentication, started for one test and stopped with it.
class TinyProxy {
public:
    static constexpr const char* kUser = "proxyuser";
    static constexpr const char* kPassword = "s3cret";

    // Whether the tinyproxy program is installed (scripts/install-deps.sh).
    static bool available();

    // Throws std::runtime_error when the proxy does not come up.
    explicit TinyProxy(const std::filesystem::path& workDirectory);
    ~TinyProxy();

    TinyProxy(const TinyProxy&) = delete;
    TinyProxy& operator=(const TinyProxy&) = delete;

    // "http://127.0.0.1:<port>"
    std::string url() const;

private:
    std::uint16_t m_port = 0;
    pid_t m_pid = -1;
};

} // namespace lithmar::test
