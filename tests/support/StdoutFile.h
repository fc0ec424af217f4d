#pragma once

#include <chrono>
#include <cstdio>
#include <fstream>
#include <sstream>
#include <stdexcept>
#include <string>
#include <thread>

#include <unistd.h>

namespace lithmar::test {

// Sends this process's standard output to a temporary file while it lives,
// so that a test can read what the library printed, also while it runs.
class StdoutFile {
public:
    StdoutFile()
    {
        char path[] = "/tmp/lithmar-stdout-XXXXXX";
        const int file = mkstemp(path);
        if (file < 0) {
            throw std::runtime_error("cannot create a file for standard output in /tmp");
        }
        m_path = path;
        std::fflush(stdout);
        m_saved = dup(STDOUT_FILENO);
        dup2(file, STDOUT_FILENO);
        close(file);
    }

    ~StdoutFile()
    {
        std::fflush(stdout);
        dup2(m_saved, STDOUT_FILENO);
        close(m_saved);
        unlink(m_path.c_str());
    }

    StdoutFile(const StdoutFile&) = delete;
    StdoutFile& operator=(const StdoutFile&) = delete;

    std::string text() const
    {
        std::fflush(stdout);
        std::ifstream file(m_path);
        std::ostringstream content;
        content << file.rdbuf();
        return content.str();
    }

    // Whether `part` appeared within `timeout`.
    bool waitFor(const std::string& part, std::chrono::milliseconds timeout) const
    {
        const auto giveUp = std::chrono::steady_clock::now() + timeout;
        while (text().find(part) == std::string::npos) {
            if (std::chrono::steady_clock::now() > giveUp) {
                return false;
            }
            std::this_thread::sleep_for(std::chrono::milliseconds(50));
        }
        return true;
    }

private:
    std::string m_path;
    int m_saved = -1;
};

} // namespace lithmar::test
