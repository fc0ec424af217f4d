#pragma once

#include <boost/asio/ssl/context.hpp>

#include <memory>
#include <string>

namespace lithmar::test {

// A self-signed certificate for 127.0.0.1 (its subject and its subject
// alternative name, which clients verify), valid for a day, made on the spot:
// TLS tests need no files.
struct Certificate {
    std::string certificatePem;
    std::string privateKeyPem;
};

Certificate makeLoopbackCertificate();

// A server context presenting `certificate`.
std::shared_ptr<boost::asio::ssl::context> serverTls(const Certificate& certificate = makeLoopbackCertificate());

} // namespace lithmar::test
