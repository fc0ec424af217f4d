#include "Connection.h"

#include "SessionFile.h"

#include <lithmar/runtime/Utf8.h>

#include <boost/asio/ssl/context.hpp>

#include <fstream>
#include <optional>
#include <stdexcept>

namespace lithmar::xchng {
namespace {

namespace lithmar = com::vantorel::lithmar;
using lithmar::fromUtf8;
using lithmar::exploration::api::DataExchangeApi;

// The cookie `xchng signin` kept for the URL; none when there is no place
// for a session file (no HOME), as for a command run by a service account.
std::optional<std::string> keptSessionCookie(const std::string& url)
{
    try {
        return SessionFile().cookieFor(url);
    } catch (const std::runtime_error&) {
        return std::nullopt;
    }
}

} // namespace

std::shared_ptr<lithmar::ApiConfiguration> configure(const Connection& connection)
{
    auto configuration = std::make_shared<lithmar::ApiConfiguration>();
    configuration->setBaseUrl(fromUtf8(connection.url));
    auto& headers = configuration->getDefaultHeaders();
    for (const auto& header : connection.headers) {
        const auto colon = header.find(':');
        if (colon == std::string::npos || colon == 0) {
            throw std::invalid_argument("--header takes \"Name: value\", not \"" + header + "\"");
        }
        const auto valueStart = header.find_first_not_of(' ', colon + 1);
        headers[fromUtf8(header.substr(0, colon))] =
            fromUtf8(valueStart == std::string::npos ? std::string() : header.substr(valueStart));
    }
    if (headers.count(L"Cookie") == 0) {
        if (const auto cookie = keptSessionCookie(connection.url)) {
            headers[L"Cookie"] = fromUtf8(*cookie);
        }
    }
    configuration->getHttpConfig().set_timeout(
        std::chrono::microseconds(static_cast<long long>(connection.timeoutSeconds * 1e6)));
    if (!connection.caFile.empty()) {
        if (!std::ifstream(connection.caFile)) {
            throw std::invalid_argument("--ca-file: cannot read \"" + connection.caFile + "\"");
        }
        // Trusted besides the system's certificate authorities.
        configuration->getHttpConfig().set_ssl_context_callback(
            [file = connection.caFile](boost::asio::ssl::context& context) { context.load_verify_file(file); });
    }
    return configuration;
}

DataExchangeApi connect(const Connection& connection)
{
    return DataExchangeApi(std::make_shared<lithmar::ApiClient>(configure(connection)));
}

} // namespace lithmar::xchng
