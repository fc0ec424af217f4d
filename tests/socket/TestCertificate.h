#pragma once

#include <string>

namespace com::vantorel::lithmar::testing {

// A self-signed certificate for 127.0.0.1 (as its subject alternative
// name, which clients verify), valid for a day, made on the spot.
struct TestCertificate {
    std::string certificatePem;
    std::string privateKeyPem;
};

TestCertificate makeLoopbackCertificate();

} // namespace com::vantorel::lithmar::testing
