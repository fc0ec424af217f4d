#include <tools/local/common/Utf8.h>

namespace lithmar::local {
namespace {

bool isContinuation(unsigned char byte)
{
    return (byte & 0xC0) == 0x80;
}

} // namespace

bool isValidUtf8(std::string_view text)
{
    std::size_t i = 0;
    while (i < text.size()) {
        const auto lead = static_cast<unsigned char>(text[i]);
        std::size_t length = 0;
        // The smallest second byte and the largest, which rule out overlong
        // forms, surrogates (U+D800..U+DFFF) and code points past U+10FFFF.
        unsigned char low = 0x80;
        unsigned char high = 0xBF;
        if (lead < 0x80) {
            ++i;
            continue;
        } else if (lead >= 0xC2 && lead <= 0xDF) {
            length = 2;
        } else if (lead >= 0xE0 && lead <= 0xEF) {
            length = 3;
            low = lead == 0xE0 ? 0xA0 : 0x80;
            high = lead == 0xED ? 0x9F : 0xBF;
        } else if (lead >= 0xF0 && lead <= 0xF4) {
            length = 4;
            low = lead == 0xF0 ? 0x90 : 0x80;
            high = lead == 0xF4 ? 0x8F : 0xBF;
        } else {
            return false;
        }
        if (i + length > text.size()) {
            return false;
        }
        const auto second = static_cast<unsigned char>(text[i + 1]);
        if (second < low || second > high) {
            return false;
        }
        for (std::size_t k = 2; k < length; ++k) {
            if (!isContinuation(static_cast<unsigned char>(text[i + k]))) {
                return false;
            }
        }
        i += length;
    }
    return true;
}

std::size_t codePointCount(std::string_view utf8)
{
    std::size_t count = 0;
    for (const char c : utf8) {
        if (!isContinuation(static_cast<unsigned char>(c))) {
            ++count;
        }
    }
    return count;
}

} // namespace lithmar::local
