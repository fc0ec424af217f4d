#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace lithmar::local {

// A header value of the form `main; name=value; name="quoted value"`, as in
// Content-Type and Content-Disposition.
//
// Quoted values are taken literally up to the next double quote: multipart
// senders following RFC 7578 (browsers, curl, our client) percent-encode a
// quote inside a name as %22 rather than escaping it with a backslash, and a
// Windows path in a file name must keep its backslashes. Values are returned
// as sent, percent-escapes and UTF-8 bytes included.
struct HeaderParameters {
    std::string value;                                           // the part before the first ';', trimmed
    std::vector<std::pair<std::string, std::string>> parameters; // names lower-cased

    static HeaderParameters parse(std::string_view text);
    // The first parameter of that name (case-insensitive).
    std::optional<std::string> parameter(std::string_view name) const;
};

} // namespace lithmar::local
