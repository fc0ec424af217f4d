#pragma once

#include <exception>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace lithmar::xchng {

// Exit codes that scripts can rely on; exitCodesHelp() lists them for
// `xchng --help`, and the README's table says the same.
enum ExitCode : int {
    Ok = 0,
    Unexpected = 1,
    Usage = 2,
    Unreachable = 3,  // no answer: refused, unresolved, timed out, dropped
    ServiceError = 4, // the service answered with an error status
    BadAnswer = 5,    // an answer that is not what the service should send
    LocalError = 6,   // a local file could not be written
    ImportFailed = 7, // the service carried the import out, or refused it, and it did not succeed
    Cancelled = 130,  // the user pressed Ctrl+C, as shells report it
};

// The "Exit codes:" block of `xchng --help`.
std::string exitCodesHelp();

// What became of an upload session that a failure interrupted.
struct SessionAftermath {
    std::string id;
    std::vector<std::string> checkedIn; // the files whose check-in the file server took
    bool finished = false;              // finished with their receipts, so nothing of it stays open
    std::string whyOpen;                // when not finished
};

struct Failure {
    Failure(ExitCode code, std::string text, int answerStatus = 0, std::string words = {})
        : exitCode(code), message(std::move(text)), status(answerStatus), platformMessage(std::move(words))
    {
    }

    ExitCode exitCode;
    std::string message;
    int status = 0;              // the error code of the service's answer; 0 without one
    std::string platformMessage; // the service's own words, when it said any
    std::optional<SessionAftermath> session;
};

// Thrown by the commands besides what the library throws.
// The user pressed Ctrl+C while xchng waited.
struct Interrupted {
    std::string what;
};
// The import's final result is not a success.
struct FailedImport {
    std::string what;   // "the boreholes import"
    std::string result; // as the service words it: "FAILED: ..."
};
// A failure interrupted an upload session, which was then closed as far as
// the service allows.
struct InterruptedSession {
    std::exception_ptr cause;
    SessionAftermath session;
};

// Turns what an operation threw into a message that says what happened and
// what to try next.
Failure describe(std::exception_ptr error, const std::string& serviceUrl);

} // namespace lithmar::xchng
