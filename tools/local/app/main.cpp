// lithmar-local: the local platform as a program.

#include "ProgramOptions.h"
#include "StopSignals.h"

#include <tools/local/platform/LocalPlatform.h>

#include <csignal>
#include <exception>
#include <iostream>

int main(int argc, char** argv)
{
    using namespace lithmar::local;
    int exitCode = 0;
    const auto options = app::parseCommandLine(argc, argv, std::cout, std::cerr, exitCode);
    if (!options) {
        return exitCode;
    }
    // Output piped to a reader that has gone (`lithmar-local | head -1`) must
    // not kill the program at its last line: it still has to stop cleanly.
    std::signal(SIGPIPE, SIG_IGN);
    try {
        app::blockStopSignals();
        LocalPlatform platform(*options);
        platform.start();
        // One line, flushed: scripts and tests wait for it before calling.
        std::cout << "lithmar-local listening on " << platform.baseUrl()
                  << " (data exchange: " << platform.exchangeUrl() << ")" << std::endl;
        if (options->platformMode) {
            std::cout << "platform mode: " << platform.users().names().size() << " user(s); sign in at "
                      << platform.signInUrl() << " or with xchng signin" << std::endl;
            std::cout << "HTTPS certificates signed by the local CA " << platform.caCertificate()
                      << ": trust it in clients (xchng --ca-file, or SSL_CERT_FILE for OpenSSL)" << std::endl;
        }
        if (platform.pollPort() != 0) {
            std::cout << "notification poll endpoint on http://127.0.0.1:" << platform.pollPort()
                      << "/notification/api/notification/" << std::endl;
        }
        app::waitForStopSignal();
        platform.stop();
        std::cout << "lithmar-local stopped" << std::endl;
        return 0;
    } catch (const std::exception& e) {
        std::cerr << "lithmar-local: " << e.what() << '\n';
        return 1;
    }
}
