#pragma once

#include <exception>
#include <string>

namespace lithmar::xchng {

// Exit codes that scripts can rely on.
enum ExitCode : int {
    Ok = 0,
    Unexpected = 1,
    Usage = 2,
    Unreachable = 3,   // no answer: refused, unresolved, timed out, dropped
    ServiceError = 4,  // the service answered with an error status
    BadAnswer = 5,     // an answer that is not what the service should send
    LocalError = 6,    // a local file could not be written
    Cancelled = 130,   // the user pressed Ctrl+C, as shells report it
};

struct Failure {
    ExitCode exitCode;
    std::string message;
};

// Turns what an operation threw into a message that says what happened and
// what to try next.
Failure describe(std::exception_ptr error, const std::string& serviceUrl);

} // namespace lithmar::xchng
