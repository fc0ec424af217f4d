#include <tools/local/common/SecureRandom.h>

#include <openssl/err.h>
#include <openssl/rand.h>

#include <stdexcept>
#include <vector>

namespace lithmar::local {

std::string secureRandomHex(std::size_t bytes)
{
    std::vector<unsigned char> random(bytes);
    if (bytes != 0 && RAND_bytes(random.data(), static_cast<int>(bytes)) != 1) {
        throw std::runtime_error("OpenSSL's random generator failed (error " + std::to_string(ERR_get_error()) +
                                 "); no secret can be made");
    }
    static constexpr char kDigits[] = "0123456789abcdef";
    std::string text;
    text.reserve(2 * bytes);
    for (unsigned char byte : random) {
        text += kDigits[byte >> 4];
        text += kDigits[byte & 0xF];
    }
    return text;
}

} // namespace lithmar::local
