#pragma once

#include <map>
#include <optional>
#include <string>
#include <string_view>

namespace lithmar::local {

// "%XX" sequences replaced by their bytes; with `plusIsSpace` (query
// strings) "+" becomes a space. nullopt when a '%' is not followed by two
// hex digits.
std::optional<std::string> percentDecoded(std::string_view text, bool plusIsSpace);

// The parameters of a query string ("a=1&b=&c"), decoded. A name given twice
// keeps its first value. Throws RequestError (400) on a bad escape.
std::map<std::string, std::string> queryParameters(std::string_view query);

} // namespace lithmar::local
