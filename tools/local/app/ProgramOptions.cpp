#include "ProgramOptions.h"

#include <CLI/CLI.hpp>

#include <chrono>
#include <cstdint>
#include <stdexcept>
#include <string>
#include <vector>

namespace lithmar::local::app {

std::optional<LocalPlatformOptions> parseCommandLine(int argc, const char* const* argv, std::ostream& out,
                                                     std::ostream& errors, int& exitCode)
{
    LocalPlatformOptions options;
    options.port = 8480;

    CLI::App program{"lithmar-local: the Lithmar platform's services on this machine, for developing and testing "
                     "host applications without the real platform. Stop it with Ctrl+C.",
                     "lithmar-local"};
    program
        .add_option("--port", options.port,
                    "TCP port to listen on; 0 picks a free one (the line printed at start names it)")
        ->capture_default_str();
    program
        .add_option("--address", options.address,
                    "Address to listen on; the default accepts connections from this machine only")
        ->capture_default_str();
    program.add_option("--data-dir", options.dataDirectory,
                       "Directory for the platform's state (platform.db), kept across runs; created when "
                       "missing. Without it, the state lives in memory and a fresh demo site awaits each run");
    program.add_option("--request-log", options.requestLogFile, "File to append one line per request to (for tail -f)");
    program
        .add_option("--queue-capacity", options.jobQueueCapacity,
                    "Import jobs that may wait at once; further imports are answered with "
                    "\"jobId\": \"QUEUE_FULL\"")
        ->capture_default_str();

    program
        .add_option("--job-workers", options.jobWorkers,
                    "Threads carrying out import jobs; 0 leaves every job queued (to try a full queue)")
        ->capture_default_str();
    std::int64_t jobDelayMs = 0;
    program
        .add_option("--job-delay", jobDelayMs,
                    "Milliseconds each import job waits before it runs, to try waits and time-outs")
        ->check(CLI::Range(std::int64_t{0}, std::int64_t{24} * 3600 * 1000))
        ->capture_default_str();
    program.add_flag("--platform", options.platformMode,
                     "Play the platform with sign-in: users, web sessions, the current user and login tickets "
                     "(see docs/local-platform.md). Without it, a local installation without sign-in");
    std::vector<std::string> users;
    program.add_option("--user", users, "A user of platform mode, as NAME:PASSWORD; may be given several times")
        ->check([](const std::string& text) {
            try {
                parseUserCredentials(text);
                return std::string();
            } catch (const std::invalid_argument& refused) {
                return std::string(refused.what());
            }
        });
    long long ticketSeconds = options.ticketLifetime.count();
    program.add_option("--ticket-lifetime", ticketSeconds, "Seconds a login ticket stays valid in platform mode")
        ->check(CLI::Range(1LL, 365LL * 24 * 3600))
        ->capture_default_str();
    std::uint16_t pollPort = 8080;
    program
        .add_option("--poll-port", pollPort,
                    "Port on 127.0.0.1 of the notification endpoint that the client library polls for the local "
                    "user; the library asks 8080")
        ->capture_default_str();
    bool noPoll = false;
    program
        .add_flag("--no-poll", noPoll,
                  "Do not serve the poll endpoint (when another program holds port 8080); clients of the local "
                  "user then get no upload results")
        ->excludes("--poll-port");

    try {
        program.parse(argc, argv);
        if (!users.empty() && !options.platformMode) {
            throw CLI::ValidationError("--user", "users sign in to platform mode only: add --platform");
        }
    } catch (const CLI::ParseError& e) {
        exitCode = program.exit(e, out, errors);
        return std::nullopt;
    }
    options.jobDelay = std::chrono::milliseconds(jobDelayMs);
    for (const std::string& user : users) {
        options.users.push_back(parseUserCredentials(user));
    }
    options.ticketLifetime = std::chrono::seconds(ticketSeconds);
    if (!noPoll) {
        options.pollPort = pollPort;
    }
    return options;
}

} // namespace lithmar::local::app
