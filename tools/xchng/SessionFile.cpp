#include "SessionFile.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <fstream>
#include <map>
#include <stdexcept>
#include <system_error>

namespace lithmar::xchng {
namespace {

namespace fs = std::filesystem;

fs::path standardPath()
{
    const char* config = std::getenv("XDG_CONFIG_HOME");
    if (config && *config) {
        return fs::path(config) / "lithmar" / "sessions";
    }
    const char* home = std::getenv("HOME");
    if (home && *home) {
        return fs::path(home) / ".config" / "lithmar" / "sessions";
    }
    throw std::runtime_error("cannot tell where to keep the session: set HOME or XDG_CONFIG_HOME");
}

std::map<std::string, std::string> readAll(const fs::path& path)
{
    std::map<std::string, std::string> cookies;
    std::ifstream in(path);
    std::string line;
    while (std::getline(in, line)) {
        const auto space = line.find(' ');
        if (space != std::string::npos && space != 0) {
            cookies[line.substr(0, space)] = line.substr(space + 1);
        }
    }
    return cookies;
}

[[noreturn]] void fail(const char* what, const fs::path& path)
{
    throw fs::filesystem_error(what, path, std::error_code(errno, std::generic_category()));
}

} // namespace

SessionFile::SessionFile() : m_path(standardPath()) {}

SessionFile::SessionFile(fs::path path) : m_path(std::move(path)) {}

std::optional<std::string> SessionFile::cookieFor(const std::string& serviceUrl) const
{
    const auto cookies = readAll(m_path);
    const auto found = cookies.find(serviceUrl);
    return found == cookies.end() ? std::nullopt : std::optional<std::string>(found->second);
}

void SessionFile::store(const std::string& serviceUrl, const std::optional<std::string>& cookie) const
{
    auto cookies = readAll(m_path);
    if (cookie) {
        cookies[serviceUrl] = *cookie;
    } else {
        cookies.erase(serviceUrl);
    }
    const fs::path directory = m_path.parent_path();
    if (!directory.empty() && !fs::exists(directory)) {
        fs::create_directories(directory);
        fs::permissions(directory, fs::perms::owner_all);
    }
    // Written beside the file and renamed over it: a reader never sees half
    // a file, and the new file is created owner-only from its first byte.
    const fs::path temporary = m_path.string() + ".new";
    const int descriptor = ::open(temporary.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600);
    if (descriptor < 0) {
        fail("cannot write the session file", temporary);
    }
    ::fchmod(descriptor, 0600);
    std::string text;
    for (const auto& [url, value] : cookies) {
        text += url + " " + value + "\n";
    }
    const bool written = ::write(descriptor, text.data(), text.size()) == static_cast<ssize_t>(text.size());
    const bool closed = ::close(descriptor) == 0;
    if (!written || !closed) {
        fail("cannot write the session file", temporary);
    }
    fs::rename(temporary, m_path);
}

} // namespace lithmar::xchng
