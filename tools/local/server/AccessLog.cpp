#include <tools/local/server/AccessLog.h>

#include <tools/local/server/AsciiText.h>

#include <cerrno>
#include <cstdio>
#include <chrono>
#include <cstring>
#include <ctime>
#include <stdexcept>

namespace lithmar::local {
namespace {

std::string utcTimestamp()
{
    const auto now = std::chrono::system_clock::now();
    const std::time_t seconds = std::chrono::system_clock::to_time_t(now);
    const auto millis =
        std::chrono::duration_cast<std::chrono::milliseconds>(now.time_since_epoch()).count() % 1000;
    std::tm utc{};
    gmtime_r(&seconds, &utc);
    char text[32];
    const std::size_t length = std::strftime(text, sizeof text, "%Y-%m-%dT%H:%M:%S", &utc);
    char withMillis[48];
    std::snprintf(withMillis, sizeof withMillis, "%.*s.%03dZ", static_cast<int>(length), text,
                  static_cast<int>(millis));
    return withMillis;
}

} // namespace

AccessLog::AccessLog(const std::string& path) : m_file(path, std::ios::app)
{
    if (!m_file) {
        throw std::runtime_error("cannot open the request log file " + path + ": " + std::strerror(errno));
    }
}

void AccessLog::write(const RecordedRequest& request, std::string_view outcome)
{
    std::string line = utcTimestamp() + " " + request.remoteAddress + " " + printable(request.method) + " " +
                       printable(request.target, 2000) + " -> " + std::string(outcome) + " (" +
                       std::to_string(request.bodySize) + " body bytes" + (request.complete ? "" : ", cut off") +
                       ")\n";
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_file << line << std::flush;
}

} // namespace lithmar::local
