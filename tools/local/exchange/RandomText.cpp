#include <tools/local/exchange/RandomText.h>

#include <random>

namespace lithmar::local {

std::string randomHex(std::size_t digits)
{
    // One engine per thread: no lock on the handlers' path, and each engine
    // gets its own seed.
    thread_local std::mt19937_64 engine{std::random_device{}()};
    static constexpr char kDigits[] = "0123456789abcdef";
    std::string text;
    text.reserve(digits);
    while (text.size() < digits) {
        auto bits = engine();
        for (int i = 0; i < 16 && text.size() < digits; ++i, bits >>= 4) {
            text += kDigits[bits & 0xF];
        }
    }
    return text;
}

} // namespace lithmar::local
