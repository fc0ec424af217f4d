#include <lithmar/exchange/session/detail/PlatformCall.h>

#include <lithmar/exchange/detail/PerCallClient.h>
#include <lithmar/exchange/detail/Refusals.h>
#include <lithmar/runtime/ApiException.h>

namespace com::vantorel::lithmar::detail {
namespace {

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
    return perCallClient(configuration);
}

pplx::task<web::http::http_response> platformGet(const std::shared_ptr<ApiClient>& client,
                                                 const std::wstring& operation)
{
    auto headers = client->getConfiguration()->getDefaultHeaders();
    headers[L"Content-Type"] = kJson;
    // The client rides along: it owns the connection the answer arrives on.
    return client->callApiAndRetryOnError(L"", L"GET", {}, nullptr, headers, {}, {}, kJson)
        .then([client, operation](web::http::http_response response) {
            if (!isRefusal(response)) {
                return pplx::task_from_result(response);
            }
            return response.extract_utf8string(true).then([response, operation](std::string body) {
                throw refusalOf(response, operation, std::move(body));
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
