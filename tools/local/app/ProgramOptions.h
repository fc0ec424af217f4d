#pragma once

#include <tools/local/platform/LocalPlatform.h>

#include <optional>
#include <ostream>

namespace lithmar::local::app {

// The platform's options from lithmar-local's command line. nullopt when the
// program should end at once with `exitCode`: after --help (0) or a bad
// command line (the message is on `errors`).
std::optional<LocalPlatformOptions> parseCommandLine(int argc, const char* const* argv, std::ostream& out,
                                                     std::ostream& errors, int& exitCode);

} // namespace lithmar::local::app
