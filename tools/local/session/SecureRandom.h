#pragma once

#include <cstddef>
#include <string>

namespace lithmar::local {

// `bytes` bytes from OpenSSL's random generator, as 2 * `bytes` lower-case
// hex digits: secrets that a client must not be able to guess from others it
// has seen (web session ids, login tickets, password salts). Safe from any
// thread. Throws std::runtime_error when the generator fails.
std::string secureRandomHex(std::size_t bytes);

} // namespace lithmar::local
