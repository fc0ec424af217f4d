#include <tools/local/server/AsciiText.h>

#include <cstdio>

namespace lithmar::local {

char asciiLower(char c)
{
    return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}

std::string asciiLower(std::string_view text)
{
    std::string lower(text);
    for (char& c : lower) {
        c = asciiLower(c);
    }
    return lower;
}

bool equalsIgnoringCase(std::string_view a, std::string_view b)
{
    if (a.size() != b.size()) {
        return false;
    }
    for (std::size_t i = 0; i < a.size(); ++i) {
        if (asciiLower(a[i]) != asciiLower(b[i])) {
            return false;
        }
    }
    return true;
}

std::string_view trimmed(std::string_view text)
{
    const auto first = text.find_first_not_of(" \t");
    if (first == std::string_view::npos) {
        return {};
    }
    const auto last = text.find_last_not_of(" \t");
    return text.substr(first, last - first + 1);
}

std::string printable(std::string_view text, std::size_t maxLength)
{
    std::string shown;
    for (const char c : text.substr(0, maxLength)) {
        if (c == '\r') {
            shown += "\\r";
        } else if (c == '\n') {
            shown += "\\n";
        } else if (static_cast<unsigned char>(c) < 0x20 || c == 0x7f) {
            char escaped[8];
            std::snprintf(escaped, sizeof escaped, "\\x%02x", static_cast<unsigned>(static_cast<unsigned char>(c)));
            shown += escaped;
        } else {
            shown += c;
        }
    }
    if (text.size() > maxLength) {
        shown += "...";
    }
    return shown;
}

} // namespace lithmar::local
