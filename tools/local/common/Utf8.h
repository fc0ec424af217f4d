#pragma once

#include <cstddef>
#include <string_view>

namespace lithmar::local {

// Well-formed UTF-8: no stray continuation bytes, no overlong forms, no
// surrogates, nothing beyond U+10FFFF.
bool isValidUtf8(std::string_view text);

// Code points in well-formed UTF-8 text: limits on names count characters,
// not bytes, so that "Écorce" is as long as "Ecorce".
std::size_t codePointCount(std::string_view utf8);

} // namespace lithmar::local
