#include "ProgressBar.h"

#include <algorithm>
#include <cmath>
#include <cstdio>

namespace lithmar::xchng {
namespace {

constexpr std::chrono::milliseconds kRedrawInterval{100};
constexpr int kBarWidth = 24;

double secondsBetween(std::chrono::steady_clock::time_point from, std::chrono::steady_clock::time_point to)
{
    return std::chrono::duration<double>(to - from).count();
}

} // namespace

std::string humanBytes(double bytes)
{
    static const char* const units[] = {"B", "KiB", "MiB", "GiB", "TiB"};
    int unit = 0;
    while (bytes >= 1024 && unit < 4) {
        bytes /= 1024;
        ++unit;
    }
    char text[32];
    std::snprintf(text, sizeof text, unit == 0 ? "%.0f %s" : "%.1f %s", bytes, units[unit]);
    return text;
}

std::string humanDuration(double seconds)
{
    const long long whole = std::llround(std::max(0.0, seconds));
    char text[32];
    if (whole >= 3600) {
        std::snprintf(text, sizeof text, "%lld:%02lld:%02lld", whole / 3600, whole / 60 % 60, whole % 60);
    } else {
        std::snprintf(text, sizeof text, "%lld:%02lld", whole / 60, whole % 60);
    }
    return text;
}

ProgressBar::ProgressBar(std::ostream& out, std::vector<std::string> names, bool terminal)
    : m_out(out), m_names(std::move(names)), m_terminal(terminal)
{
}

void ProgressBar::update(std::size_t file, std::uint64_t sent, std::uint64_t total)
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    if (!m_started || file != m_file) {
        if (m_started) {
            endFile();
        }
        m_file = file;
        startFile(file);
    }
    if (sent < m_sent) {
        m_fileStart = Clock::now(); // a new attempt starts over
    }
    m_sent = sent;
    m_total = total;
    if (m_terminal && Clock::now() - m_lastDraw >= kRedrawInterval) {
        draw(false);
    }
}

void ProgressBar::finish()
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    if (m_started) {
        endFile();
        m_started = false;
    }
}

void ProgressBar::startFile(std::size_t file)
{
    m_started = true;
    m_file = file;
    m_sent = 0;
    m_total = 0;
    m_fileStart = Clock::now();
    m_lastDraw = Clock::time_point{};
}

void ProgressBar::endFile()
{
    draw(true);
}

void ProgressBar::draw(bool final)
{
    const auto now = Clock::now();
    m_lastDraw = now;
    const double elapsed = secondsBetween(m_fileStart, now);
    const double rate = elapsed > 0 ? static_cast<double>(m_sent) / elapsed : 0;
    const std::string& name = m_file < m_names.size() ? m_names[m_file] : std::string("?");
    if (!m_terminal) {
        if (final) {
            m_out << name << ": " << humanBytes(static_cast<double>(m_sent)) << " in " << humanDuration(elapsed) << " ("
                  << humanBytes(rate) << "/s)\n";
        }
        return;
    }
    const double fraction = m_total > 0 ? static_cast<double>(m_sent) / static_cast<double>(m_total) : 1.0;
    const int filled = static_cast<int>(fraction * kBarWidth);
    const double left = rate > 0 ? static_cast<double>(m_total - std::min(m_sent, m_total)) / rate : 0;
    char percent[8];
    std::snprintf(percent, sizeof percent, "%3d%%", static_cast<int>(fraction * 100));
    m_out << "\r\x1b[K" << name << " [" << std::string(static_cast<std::size_t>(filled), '#')
          << std::string(static_cast<std::size_t>(kBarWidth - filled), '.') << "] " << percent << "  "
          << humanBytes(rate) << "/s  " << (final ? humanDuration(elapsed) : humanDuration(left) + " left");
    if (final) {
        m_out << '\n';
    }
    m_out.flush();
}

} // namespace lithmar::xchng
