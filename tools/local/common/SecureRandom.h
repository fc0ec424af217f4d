#pragma once

#include <cstddef>
#include <string>

namespace lithmar::local {

// `bytes` bytes from OpenSSL's random generator, as 2 * `bytes` lower-case
// hex digits: every id and secret the platform hands out (web session ids,
// login tickets, password salts, upload sessions, streams, jobs, receipts,
// sites, tracking numbers), none of which a client may guess from others it
// has seen, nor repeat across runs. Safe from any thread. Throws
// std::runtime_error when the generator fails.
std::string secureRandomHex(std::size_t bytes);

} // namespace lithmar::local
