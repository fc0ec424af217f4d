#pragma once

// The client library against the in-process local platform, configured as a
// host application would configure it.

#include <tests/support/Platform.h>

#include <lithmar/runtime/ApiConfiguration.h>

#include <memory>
#include <string>

namespace lithmar::test {

namespace sdk = com::vantorel::lithmar;

// Base URL: the platform's data exchange service; trusts the platform's CA
// when it serves HTTPS.
std::shared_ptr<sdk::ApiConfiguration> clientConfiguration(const LocalPlatform& platform);

void trustPlatformCa(sdk::ApiConfiguration& configuration, const LocalPlatform& platform);

// Signs in through the client runtime and keeps the web session's cookie as
// the configuration's "Cookie" default header. Fails the test when the
// sign-in does.
void signIn(const std::shared_ptr<sdk::ApiConfiguration>& configuration, const LocalPlatform& platform,
            const std::string& user = "ada", const std::string& password = "s3cret");

} // namespace lithmar::test
