#pragma once

#include <boost/asio/ssl/context.hpp>

#include <filesystem>
#include <memory>
#include <string>
#include <vector>

namespace lithmar::local {

// The certificates of a platform that serves HTTPS on a developer's machine:
// a local certificate authority, and a server certificate that it signs for
// the names and addresses the server is reached at. Clients trust the CA
// certificate (ca.pem) and so every server certificate it signs.
//
// In a directory that holds them already, the CA is kept (hosts that trust
// it go on trusting it) and the server certificate too while it covers the
// same names and has a week left; otherwise a new one is signed. Private keys
// are written owner-only (0600).
class LocalCertificates {
public:
    // Makes or reuses the certificates in `directory` (created 0700 when
    // missing) for `names`: IP addresses and DNS names, as the server
    // certificate's subject alternative names. Throws std::runtime_error
    // saying which step failed, std::filesystem::filesystem_error when the
    // files cannot be written.
    LocalCertificates(std::filesystem::path directory, std::vector<std::string> names);

    // The names a server listening on `address` is reached at: the address
    // itself (or, for a wildcard address, the machine's host name),
    // "localhost", 127.0.0.1 and ::1.
    static std::vector<std::string> namesFor(const std::string& address);

    const std::filesystem::path& caCertificate() const { return m_caCertificate; }
    const std::filesystem::path& serverCertificate() const { return m_serverCertificate; }
    const std::filesystem::path& serverKey() const { return m_serverKey; }

    // A TLS server context with the server certificate (TLS 1.2 and later).
    std::shared_ptr<boost::asio::ssl::context> serverContext() const;

private:
    std::filesystem::path m_caCertificate;
    std::filesystem::path m_serverCertificate;
    std::filesystem::path m_serverKey;
};

} // namespace lithmar::local
