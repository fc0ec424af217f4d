#pragma once

#include <cstddef>
#include <string>
#include <string_view>

// Byte-wise text helpers for protocol elements (header names, media types,
// parameters), which HTTP defines as case-insensitive ASCII. Bytes outside
// ASCII pass through untouched, so UTF-8 values are never damaged.
namespace lithmar::local {

char asciiLower(char c);
std::string asciiLower(std::string_view text);
bool equalsIgnoringCase(std::string_view a, std::string_view b);
// Without leading and trailing spaces and tabs.
std::string_view trimmed(std::string_view text);
// For error messages: control bytes escaped (\r, \n, \xNN), cut after
// `maxLength` bytes with "...".
std::string printable(std::string_view text, std::size_t maxLength = 60);

} // namespace lithmar::local
