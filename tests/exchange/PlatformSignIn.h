#pragma once

// Client tests against the local platform in platform mode: one user, HTTPS
// with the platform's own CA, and a client configuration that trusts that CA
// and carries the signed-in web session, as a host application's would.

#include <lithmar/runtime/ApiClient.h>
#include <lithmar/runtime/ApiConfiguration.h>
#include <lithmar/runtime/JsonBody.h>
#include <lithmar/runtime/Utf8.h>

#include <tools/local/exchange/LocalPlatform.h>

#include <gtest/gtest.h>

#include <memory>

namespace lithmar::test {

// Few hash iterations: sign-ins are many and their strength is not tested.
inline local::LocalPlatformOptions platformModeWithOneUser()
{
    local::LocalPlatformOptions options;
    options.platformMode = true;
    options.users = {{"ada", "s3cret"}};
    options.passwordHashIterations = 1000;
    return options;
}

inline void trustPlatformCa(com::vantorel::lithmar::ApiConfiguration& configuration,
                            const local::LocalPlatform& platform)
{
    configuration.getHttpConfig().set_ssl_context_callback(
        [ca = platform.caCertificate()](boost::asio::ssl::context& context) { context.load_verify_file(ca); });
}

// Signs in as "ada" and keeps the session cookie in the configuration's "Cookie"
// default header.
inline void signIn(const std::shared_ptr<com::vantorel::lithmar::ApiConfiguration>& configuration,
                   const local::LocalPlatform& platform)
{
    namespace sdk = com::vantorel::lithmar;
    auto signIn = std::make_shared<sdk::ApiConfiguration>(*configuration);
    signIn->setBaseUrl(sdk::fromUtf8(platform.signInUrl()));
    const auto body = web::json::value::parse(R"({"user":"ada","password":"s3cret"})");
    const auto response =
        sdk::ApiClient(signIn)
            .callApi(L"", L"POST", {}, std::make_shared<sdk::JsonBody>(body), {}, {}, {}, L"application/json")
            .get();
    ASSERT_EQ(response.status_code(), 200);
    const std::string cookies = response.headers().find("Set-Cookie")->second;
    configuration->getDefaultHeaders()[L"Cookie"] = sdk::fromUtf8(cookies.substr(0, cookies.find(';')));
}

} // namespace lithmar::test
