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
    CLI::Option* requestLog =
        program
            .add_option("--request-log", options.requestLogFile,
                        "Keep the latest requests for GET /_control/requests (off by default, so that a server "
                        "left running holds no per-request state); with FILE, also append one line per request "
                        "to it (for tail -f)")
            ->expected(0, 1)
            ->type_name("[FILE]");
    std::size_t requestLogEntries = 1000;
    program.add_option("--request-log-entries", requestLogEntries, "Requests the request log keeps (the oldest go)")
        ->check(CLI::Range(std::size_t{1}, std::size_t{1000000}))
        ->capture_default_str();
    std::size_t requestLogBodyBytes = 64 * 1024;
    program
        .add_option("--request-log-body-bytes", requestLogBodyBytes,
                    "Bytes of each body (and multipart part) that the request log keeps")
        ->capture_default_str();
    double headTimeout = 30;
    double bodyTimeout = 30;
    double idleTimeout = 60;
    const auto seconds = CLI::Range(0.01, 86400.0);
    program.add_option("--head-timeout", headTimeout, "Seconds a request head may take to arrive in full")
        ->check(seconds)
        ->capture_default_str();
    program.add_option("--body-timeout", bodyTimeout, "Seconds a request body may pause between bytes")
        ->check(seconds)
        ->capture_default_str();
    program
        .add_option("--idle-timeout", idleTimeout,
                    "Seconds a kept-alive connection may wait for its next request (and a client may take to "
                    "read an answer)")
        ->check(seconds)
        ->capture_default_str();
    program
        .add_option("--max-connections", options.maxConnections,
                    "Connections open at once; further ones wait until others close")
        ->check(CLI::Range(std::size_t{1}, std::size_t{1000000}))
        ->capture_default_str();
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
    options.requestLogEntries = requestLog->count() > 0 ? requestLogEntries : 0;
    options.requestLogBodyBytes = requestLogBodyBytes;
    const auto milliseconds = [](double s) { return std::chrono::milliseconds(static_cast<std::int64_t>(s * 1000)); };
    options.headTimeout = milliseconds(headTimeout);
    options.bodyTimeout = milliseconds(bodyTimeout);
    options.idleTimeout = milliseconds(idleTimeout);
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
