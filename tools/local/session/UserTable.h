#pragma once

#include <map>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace lithmar::local {

// A user the platform knows, with the password in clear: only on its way in
// (command line, control endpoint), never stored.
struct UserCredentials {
    std::string name;
    std::string password;
};

// "NAME:PASSWORD", split at the first ':' (a password may hold ':').
// Throws std::invalid_argument, saying what is wrong, for text without ':'
// or with a name or password that checkUser() refuses.
UserCredentials parseUserCredentials(std::string_view text);

// Throws std::invalid_argument unless the name is 1 to 64 characters of
// letters, digits, '.', '_', '-' and '@', and the password is not empty.
void checkUser(const UserCredentials& user);

// The platform's users. Passwords are kept as PBKDF2-HMAC-SHA256 hashes with
// a random salt per user, and compared in constant time; a sign-in for an
// unknown user costs a hash too, so that timing does not tell which names
// exist. Kept in memory: users come from the command line or the control
// endpoint at each start. Safe from any thread.
class UserTable {
public:
    // Hashing costs `iterations` rounds; tests lower it.
    explicit UserTable(unsigned iterations = 100000);

    // Adds the user, or sets a new password for a known one. Throws
    // std::invalid_argument as checkUser() does. Returns whether the user
    // is new.
    bool add(const UserCredentials& user);
    bool verify(const std::string& name, const std::string& password) const;
    bool contains(const std::string& name) const;
    std::vector<std::string> names() const;

private:
    struct Hashed {
        std::string salt;
        std::string hash;
    };
    std::string hash(const std::string& password, const std::string& salt) const;

    const unsigned m_iterations;
    const std::string m_unknownUserSalt;
    mutable std::mutex m_mutex;
    std::map<std::string, Hashed> m_users;
};

} // namespace lithmar::local
