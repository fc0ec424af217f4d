#include "Client.h"

#include <lithmar/runtime/ApiClient.h>
#include <lithmar/runtime/JsonBody.h>
#include <lithmar/runtime/Utf8.h>

namespace lithmar::test {

std::shared_ptr<sdk::ApiConfiguration> clientConfiguration(const LocalPlatform& platform)
{
    auto configuration = std::make_shared<sdk::ApiConfiguration>();
    configuration->setBaseUrl(sdk::fromUtf8(platform.exchangeUrl()));
    if (!platform.caCertificate().empty()) {
        trustPlatformCa(*configuration, platform);
    }
    return configuration;
}

void trustPlatformCa(sdk::ApiConfiguration& configuration, const LocalPlatform& platform)
{
    configuration.getHttpConfig().set_ssl_context_callback(
        [ca = platform.caCertificate()](boost::asio::ssl::context& context) { context.load_verify_file(ca); });
}

void signIn(const std::shared_ptr<sdk::ApiConfiguration>& configuration, const LocalPlatform& platform,
            const std::string& user, const std::string& password)
{
    auto signInConfiguration = std::make_shared<sdk::ApiConfiguration>(*configuration);
    signInConfiguration->setBaseUrl(sdk::fromUtf8(platform.signInUrl()));
    web::json::value body;
    body["user"] = web::json::value::string(user);
    body["password"] = web::json::value::string(password);
    const auto response = sdk::ApiClient(signInConfiguration)
                              .callApi(L"", L"POST", {}, std::make_shared<sdk::JsonBody>(body), {}, {}, {},
                                       L"application/json")
                              .get();
    ASSERT_EQ(response.status_code(), 200) << "signing in as " << user;
    const auto cookies = response.headers().find("Set-Cookie");
    ASSERT_NE(cookies, response.headers().end()) << "the sign-in set no cookie";
    configuration->getDefaultHeaders()[L"Cookie"] = sdk::fromUtf8(cookies->second.substr(0, cookies->second.find(';')));
}

} // namespace lithmar::test
