#pragma once

#include <tools/local/server/RecordedRequest.h>

#include <fstream>
#include <mutex>
#include <string>
#include <string_view>

namespace lithmar::local {

// A file with one line per request, for people watching a running local
// platform (`tail -f`) rather than for tests:
//   2024-05-01T09:30:12.345Z 127.0.0.1:53422 POST /files/v1/upload?x=1 -> 201 (1048576 body bytes)
// Lines are flushed one by one, so that the file is current even when the
// program is killed.
class AccessLog {
public:
    // Appends to `path`; throws std::runtime_error when it cannot be opened.
    explicit AccessLog(const std::string& path);

    // `outcome`: the status sent, or what happened instead ("closed").
    void write(const RecordedRequest& request, std::string_view outcome);

private:
    std::mutex m_mutex;
    std::ofstream m_file;
};

} // namespace lithmar::local
