#include "StopSignals.h"

#include <csignal>
#include <pthread.h>
#include <system_error>

namespace lithmar::local::app {
namespace {

sigset_t stopSignals()
{
    sigset_t signals;
    sigemptyset(&signals);
    sigaddset(&signals, SIGINT);
    sigaddset(&signals, SIGTERM);
    return signals;
}

} // namespace

void blockStopSignals()
{
    const sigset_t signals = stopSignals();
    if (const int error = pthread_sigmask(SIG_BLOCK, &signals, nullptr); error != 0) {
        throw std::system_error(error, std::generic_category(), "cannot block SIGINT and SIGTERM");
    }
}

int waitForStopSignal()
{
    const sigset_t signals = stopSignals();
    int received = 0;
    if (const int error = sigwait(&signals, &received); error != 0) {
        throw std::system_error(error, std::generic_category(), "cannot wait for SIGINT or SIGTERM");
    }
    return received;
}

} // namespace lithmar::local::app
