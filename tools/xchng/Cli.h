#pragma once

#include <ostream>
#include <string>
#include <vector>

namespace lithmar::xchng {

// Runs one xchng command line (without the program name) and returns the
// process exit code; normal output goes to `out`, messages to `err`.
int run(const std::vector<std::string>& args, std::ostream& out, std::ostream& err);

} // namespace lithmar::xchng
