#include <tools/local/session/UserTable.h>

#include <tools/local/common/SecureRandom.h>

#include <openssl/crypto.h>
#include <openssl/evp.h>

#include <stdexcept>

namespace lithmar::local {
namespace {

constexpr std::size_t kSaltBytes = 16;
constexpr std::size_t kHashBytes = 32;
constexpr std::size_t kMaxNameLength = 64;

bool isNameCharacter(char c)
{
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '.' || c == '_' ||
           c == '-' || c == '@';
}

} // namespace

void checkUser(const UserCredentials& user)
{
    if (user.name.empty() || user.name.size() > kMaxNameLength) {
        throw std::invalid_argument("a user name has 1 to " + std::to_string(kMaxNameLength) + " characters");
    }
    for (char c : user.name) {
        if (!isNameCharacter(c)) {
            throw std::invalid_argument("the user name \"" + user.name +
                                        "\" may hold only letters, digits, '.', '_', '-' and '@'");
        }
    }
    if (user.password.empty()) {
        throw std::invalid_argument("the user \"" + user.name + "\" needs a password that is not empty");
    }
}

UserCredentials parseUserCredentials(std::string_view text)
{
    const auto colon = text.find(':');
    if (colon == std::string_view::npos) {
        throw std::invalid_argument("a user is given as NAME:PASSWORD, and \"" + std::string(text.substr(0, 64)) +
                                    "\" has no ':'");
    }
    UserCredentials user{std::string(text.substr(0, colon)), std::string(text.substr(colon + 1))};
    checkUser(user);
    return user;
}

UserTable::UserTable(unsigned iterations)
    : m_iterations(iterations == 0 ? 1 : iterations), m_unknownUserSalt(secureRandomHex(kSaltBytes))
{
}

std::string UserTable::hash(const std::string& password, const std::string& salt) const
{
    std::string out(kHashBytes, '\0');
    if (PKCS5_PBKDF2_HMAC(password.data(), static_cast<int>(password.size()),
                          reinterpret_cast<const unsigned char*>(salt.data()), static_cast<int>(salt.size()),
                          static_cast<int>(m_iterations), EVP_sha256(), static_cast<int>(out.size()),
                          reinterpret_cast<unsigned char*>(out.data())) != 1) {
        throw std::runtime_error("OpenSSL could not hash a password (PBKDF2)");
    }
    return out;
}

bool UserTable::add(const UserCredentials& user)
{
    checkUser(user);
    Hashed hashed;
    hashed.salt = secureRandomHex(kSaltBytes);
    hashed.hash = hash(user.password, hashed.salt);
    const std::lock_guard<std::mutex> lock(m_mutex);
    return m_users.insert_or_assign(user.name, std::move(hashed)).second;
}

bool UserTable::verify(const std::string& name, const std::string& password) const
{
    std::optional<Hashed> known;
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        const auto found = m_users.find(name);
        if (found != m_users.end()) {
            known = found->second;
        }
    }
    const std::string computed = hash(password, known ? known->salt : m_unknownUserSalt);
    return known && CRYPTO_memcmp(computed.data(), known->hash.data(), kHashBytes) == 0;
}

bool UserTable::contains(const std::string& name) const
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    return m_users.count(name) != 0;
}

std::vector<std::string> UserTable::names() const
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    std::vector<std::string> names;
    for (const auto& [name, hashed] : m_users) {
        names.push_back(name);
    }
    return names;
}

} // namespace lithmar::local
