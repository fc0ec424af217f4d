#pragma once

#include <istream>
#include <ostream>
#include <string>
#include <vector>

namespace lithmar::xchng {

// Runs one xchng command line (without the program name) and returns the
// process exit code; normal output goes to `out`, messages to `err`.
int run(const std::vector<std::string>& args, std::ostream& out, std::ostream& err);
// The same, with answers to prompts (signin) read from `in`; the version
// above reads them from standard input.
int run(const std::vector<std::string>& args, std::istream& in, std::ostream& out, std::ostream& err);

} // namespace lithmar::xchng
