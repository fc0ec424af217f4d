#include <lithmar/exchange/session/GetVM.h>

#include <lithmar/exchange/session/SessionCookies.h>

#include <stdexcept>

namespace com::vantorel::lithmar::exploration::api {

pplx::task<std::wstring> getVM(std::shared_ptr<ApiClient>& apiClient, std::wstring& cookies, std::wstring path)
{
    if (!apiClient) {
        throw std::invalid_argument("getVM needs an ApiClient to send the session-opening request");
    }
    auto headers = apiClient->getConfiguration()->getDefaultHeaders();
    headers[L"Accept"] = L"application/json";
    headers[L"Content-Type"] = L"application/json";
    return apiClient
        ->callApiAndRetryOnError(path + L"?xrequestedwith=xmlhttprequest", L"GET", {}, nullptr, headers, {}, {},
                                 L"application/json")
        .then([cookies](const web::http::http_response& response) {
            std::wstring merged = cookies;
            captureSessionCookies(response, merged);
            return merged;
        });
}

} // namespace com::vantorel::lithmar::exploration::api
