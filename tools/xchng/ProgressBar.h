#pragma once

#include <chrono>
#include <cstdint>
#include <mutex>
#include <ostream>
#include <string>
#include <vector>

namespace lithmar::xchng {

// Shows how far each file of a check-in has gone, one file after the other.
// On a terminal, one line per file redrawn in place (bar, percentage, rate,
// time left); elsewhere one plain line per file once it is done, so that
// logs and pipes get no control characters. Updates may come from any
// thread; redrawing is limited to a few times a second.
class ProgressBar {
public:
    ProgressBar(std::ostream& out, std::vector<std::string> names, bool terminal);

    void update(std::size_t file, std::uint64_t sent, std::uint64_t total);
    // Ends the line of the last file.
    void finish();

private:
    using Clock = std::chrono::steady_clock;

    void startFile(std::size_t file);
    void endFile();
    void draw(bool final);

    std::ostream& m_out;
    const std::vector<std::string> m_names;
    const bool m_terminal;
    std::mutex m_mutex;
    std::size_t m_file = 0;
    bool m_started = false;
    std::uint64_t m_sent = 0;
    std::uint64_t m_total = 0;
    Clock::time_point m_fileStart;
    Clock::time_point m_lastDraw;
};

// "1.5 MiB", "730 B": byte counts for people.
std::string humanBytes(double bytes);
// "1:05", "1:02:03": a duration in whole seconds for people.
std::string humanDuration(double seconds);

} // namespace lithmar::xchng
