#include "WaitIndicator.h"

#include <atomic>
#include <csignal>
#include <cstdio>
#include <thread>

namespace lithmar::xchng {
namespace {

using Clock = std::chrono::steady_clock;

std::atomic<bool> interrupted{false};

extern "C" void onInterrupt(int)
{
    interrupted = true;
    // The next Ctrl+C gets the default action: the user insists.
    std::signal(SIGINT, SIG_DFL);
}

// Catches Ctrl+C for its lifetime and puts the previous handler back.
class InterruptCatcher {
public:
    InterruptCatcher()
    {
        interrupted = false;
        struct sigaction action {};
        action.sa_handler = onInterrupt;
        sigemptyset(&action.sa_mask);
        sigaction(SIGINT, &action, &m_previous);
    }
    ~InterruptCatcher() { sigaction(SIGINT, &m_previous, nullptr); }

    InterruptCatcher(const InterruptCatcher&) = delete;
    InterruptCatcher& operator=(const InterruptCatcher&) = delete;

private:
    struct sigaction m_previous {};
};

std::chrono::seconds since(Clock::time_point start)
{
    return std::chrono::duration_cast<std::chrono::seconds>(Clock::now() - start);
}

} // namespace

std::string elapsedText(std::chrono::seconds elapsed)
{
    const long long total = elapsed.count();
    char text[32];
    if (total < 60) {
        std::snprintf(text, sizeof text, "%llds", total);
    } else if (total < 3600) {
        std::snprintf(text, sizeof text, "%lldm%02llds", total / 60, total % 60);
    } else {
        std::snprintf(text, sizeof text, "%lldh%02lldm%02llds", total / 3600, total / 60 % 60, total % 60);
    }
    return text;
}

WaitEnd showWhileWaiting(const std::function<bool()>& isDone, const std::string& what, std::ostream& err, bool terminal)
{
    static const char kMarks[] = {'|', '/', '-', '\\'};
    const InterruptCatcher catcher;
    const auto start = Clock::now();
    if (!terminal) {
        err << "waiting for " << what << " (Ctrl+C to stop waiting)" << std::endl;
    }
    WaitEnd end = WaitEnd::Done;
    for (unsigned frame = 0; !isDone(); ++frame) {
        if (interrupted) {
            end = WaitEnd::Interrupted;
            break;
        }
        if (terminal) {
            err << '\r' << kMarks[frame % 4] << " waiting for " << what << "  " << elapsedText(since(start))
                << "  (Ctrl+C to stop waiting)" << std::flush;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(100));
    }
    if (terminal) {
        err << "\r\033[K";
    }
    err << (end == WaitEnd::Done ? "waited " : "stopped waiting after ") << elapsedText(since(start)) << " for " << what
        << std::endl;
    return end;
}

} // namespace lithmar::xchng
