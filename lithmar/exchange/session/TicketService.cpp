#include <lithmar/exchange/session/TicketService.h>

#include <lithmar/exchange/session/detail/PlatformCall.h>
#include <lithmar/runtime/Utf8.h>

#include <cpprest/json.h>

#if defined(_WIN32) && !defined(CPPREST_FORCE_HTTP_CLIENT_ASIO)
#include <windows.h>
#include <winhttp.h>

#include <iostream>
#endif

namespace com::vantorel::lithmar {
namespace {

const std::wstring kLoginServiceId = L"sentrowe";
const std::wstring kLoginPath = L"/login?service=GATE";

// Platform ids and host names are ASCII; other characters stay as they are.
std::wstring lowerCase(std::wstring text)
{
    for (wchar_t& c : text) {
        if (c >= L'A' && c <= L'Z') {
            c = static_cast<wchar_t>(c - L'A' + L'a');
        }
    }
    return text;
}

std::wstring stringField(const web::json::value& object, const char* key)
{
    return fromUtf8(object.at(key).as_string());
}

} // namespace

pplx::task<std::wstring> TicketService::getTicket(std::wstring serviceUrl,
                                                  std::shared_ptr<ApiConfiguration> configuration)
{
    const std::wstring operation = L"getTicket";
    auto directory = detail::platformClient(serviceUrl, configuration, detail::Redirects::Follow, operation);
    return detail::platformGetText(directory, operation)
        .then([serviceUrl, configuration, operation](const std::string& directoryText) {
            const std::wstring loginUrl = findLoginUrl(serviceUrl, directoryText);
            if (loginUrl.empty()) {
                return pplx::task_from_result(std::wstring());
            }
            auto login = detail::platformClient(loginUrl, configuration, detail::Redirects::ReturnToCaller, operation);
            login->getConfiguration()->getHttpConfig().set_nativehandle_options(&TicketService::disableRedirects);
            return detail::platformGet(login, operation).then([loginUrl](const web::http::http_response& response) {
                return ticketFromRedirect(loginUrl, response);
            });
        });
}

std::wstring TicketService::findLoginUrl(const std::wstring& serviceUrl, const std::string& directoryText)
{
    std::wstring loginUrl = detail::isPlainHttp(serviceUrl) ? serviceUrl : L"";
    if (directoryText.empty()) {
        return loginUrl;
    }
    const auto directory = web::json::value::parse(directoryText);
    const std::wstring lowerServiceUrl = lowerCase(serviceUrl);
    for (const auto& platform : directory.at("platforms").as_array()) {
        if (lowerServiceUrl.rfind(L"https://" + lowerCase(stringField(platform, "id")), 0) != 0) {
            continue;
        }
        for (const auto& service : platform.at("services").as_array()) {
            if (lowerCase(stringField(service, "id")) == kLoginServiceId) {
                return stringField(service, "url") + kLoginPath;
            }
        }
        break; // only the first platform that hosts the service counts
    }
    return loginUrl;
}

std::wstring TicketService::ticketFromRedirect(const std::wstring& loginUrl, const web::http::http_response& response)
{
    const auto headers = response.headers();
    const auto location = headers.find("Location");
    const std::wstring candidate = location == headers.end() ? L"" : fromUtf8(location->second);
    const auto equals = candidate.find(L'=');
    if (equals == std::wstring::npos) {
        return detail::isPlainHttp(loginUrl) ? L"LOCAL_TICKET" : L"";
    }
    return candidate.substr(equals + 1);
}

void TicketService::disableRedirects(web::http::client::native_handle handle)
{
#if defined(_WIN32) && !defined(CPPREST_FORCE_HTTP_CLIENT_ASIO)
    DWORD feature = WINHTTP_DISABLE_REDIRECTS;
    if (!WinHttpSetOption(handle, WINHTTP_OPTION_DISABLE_FEATURE, &feature, sizeof(feature))) {
        std::cerr << "WINHTTP_DISABLE_REDIRECTS failed.\n";
    }
#else
    (void)handle;
#endif
}

} // namespace com::vantorel::lithmar
