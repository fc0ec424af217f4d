#pragma once

#include <chrono>
#include <functional>
#include <ostream>
#include <string>

namespace lithmar::xchng {

enum class WaitEnd { Done, Interrupted };

// Shows that xchng is waiting for `what` until `isDone()` turns true or the
// user presses Ctrl+C. On a terminal a turning mark and the seconds gone are
// redrawn on one line; elsewhere (a pipe, a log) one line says what is
// awaited and one how long it took, so that logs stay readable.
// While it runs, Ctrl+C only ends the wait (Interrupted); a second Ctrl+C
// stops the program at once, as usual.
WaitEnd showWhileWaiting(const std::function<bool()>& isDone, const std::string& what, std::ostream& err,
                         bool terminal);

// "7s", "2m05s", "1h00m00s"
std::string elapsedText(std::chrono::seconds elapsed);

} // namespace lithmar::xchng
