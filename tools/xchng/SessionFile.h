#pragma once

#include <filesystem>
#include <optional>
#include <string>

namespace lithmar::xchng {

// The platform session cookies that `xchng signin` keeps for the commands
// that follow, one line per service URL ("<url> <cookie>"), in
// $XDG_CONFIG_HOME/lithmar/sessions (or ~/.config/lithmar/sessions). The
// cookies let anyone who reads them act as the user, so the file is readable
// by its owner only (0600, in a 0700 directory), whatever the umask.
class SessionFile {
public:
    // The standard place; throws std::runtime_error when neither
    // XDG_CONFIG_HOME nor HOME is set.
    SessionFile();
    explicit SessionFile(std::filesystem::path path);

    std::optional<std::string> cookieFor(const std::string& serviceUrl) const;
    // Replaces the service's cookie, or with nullopt forgets it. Throws
    // std::filesystem::filesystem_error when the file cannot be written.
    void store(const std::string& serviceUrl, const std::optional<std::string>& cookie) const;

    const std::filesystem::path& path() const { return m_path; }

private:
    std::filesystem::path m_path;
};

} // namespace lithmar::xchng
