#include <lithmar/exchange/session/detail/PlatformCall.h>

#include <lithmar/runtime/ApiException.h>
#include <lithmar/runtime/Utf8.h>

#include <chrono>
#include <sstream>

namespace com::vantorel::lithmar::detail {
namespace {

constexpr std::chrono::microseconds kRequestTimeout{1'200'000'000}; // 20 minutes
const std::wstring kJson = L"application/json";

} // namespace

std::shared_ptr<ApiClient> platformClient(const std::wstring& url, const std::shared_ptr<ApiConfiguration>& caller,
                                          Redirects redirects, const std::wstring& operation)
{
    if (!caller) {
        throw ApiException(400, operation + L" needs the caller's ApiConfiguration for its HTTP settings");
    }
    auto configuration = std::make_shared<ApiConfiguration>();
    configuration->getHttpConfig() = caller->getHttpConfig();
    configuration->getHttpConfig().set_timeout(kRequestTimeout);
    if (redirects == Redirects::ReturnToCaller) {
        configuration->getHttpConfig().set_max_redirects(0);
    }
    configuration->setRetryPolicy(caller->getRetryPolicy());
    configuration->setBaseUrl(url);
    const auto& callerHeaders = caller->getDefaultHeaders();
    const auto cookie = callerHeaders.find(L"Cookie");
    if (cookie != callerHeaders.end()) {
        configuration->getDefaultHeaders()[L"Cookie"] = cookie->second;
    }
    return std::make_shared<ApiClient>(configuration);
}

pplx::task<web::http::http_response> platformGet(const std::shared_ptr<ApiClient>& client,
                                                 const std::wstring& operation)
{
    auto headers = client->getConfiguration()->getDefaultHeaders();
    headers[L"Content-Type"] = kJson;
    // The client rides along: it owns the connection the answer arrives on.
    return client->callApiAndRetryOnError(L"", L"GET", {}, nullptr, headers, {}, {}, kJson)
        .then([client, operation](web::http::http_response response) {
            if (response.status_code() < 400) {
                return pplx::task_from_result(response);
            }
            return response.extract_utf8string(true).then([response, operation](const std::string& body) {
                throw ApiException(response.status_code(),
                                   L"error calling " + operation + L": " + fromUtf8(response.reason_phrase()),
                                   std::make_shared<std::istringstream>(body));
                return response;
            });
        });
}

pplx::task<std::string> platformGetText(const std::shared_ptr<ApiClient>& client, const std::wstring& operation)
{
    return platformGet(client, operation).then([](web::http::http_response response) {
        return response.extract_utf8string(true);
    });
}

bool isPlainHttp(const std::wstring& url)
{
    return url.rfind(L"http://", 0) == 0;
}

} // namespace com::vantorel::lithmar::detail
