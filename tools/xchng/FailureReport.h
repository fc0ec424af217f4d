#pragma once

#include "Failure.h"

#include <ostream>
#include <string>

namespace lithmar::xchng {

// Prints a failure of `command` ("upload boreholes") on `err`: lines for
// people, or with `json` one JSON object on one line, the same shape for
// every failure so that scripts parse one thing. Returns its exit code.
int report(const Failure& failure, const std::string& command, bool json, std::ostream& err);

} // namespace lithmar::xchng
