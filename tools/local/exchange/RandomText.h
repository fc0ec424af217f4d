#pragma once

#include <cstddef>
#include <string>

namespace lithmar::local {

// `digits` random hex digits, lower case: ids, tickets and session keys
// that must not repeat across runs and must not be guessable in sequence.
// Safe to call from any thread.
std::string randomHex(std::size_t digits);

} // namespace lithmar::local
