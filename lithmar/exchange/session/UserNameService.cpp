#include <lithmar/exchange/session/UserNameService.h>

#include <lithmar/exchange/session/detail/PlatformCall.h>
#include <lithmar/runtime/Utf8.h>

#include <cpprest/json.h>

namespace com::vantorel::lithmar {

pplx::task<std::wstring> UserNameService::getUser(std::wstring serviceUrl,
                                                  std::shared_ptr<ApiConfiguration> configuration)
{
    const std::wstring operation = L"getUser";
    auto client = detail::platformClient(serviceUrl, configuration, detail::Redirects::Follow, operation);
    return detail::platformGetText(client, operation).then([serviceUrl](const std::string& answer) {
        return userFromAnswer(serviceUrl, answer);
    });
}

std::wstring UserNameService::userFromAnswer(const std::wstring& serviceUrl, const std::string& answer)
{
    if (answer.empty()) {
        return detail::isPlainHttp(serviceUrl) ? L"LOCAL_USER" : L"";
    }
    // A malformed answer is "no user known", not an error: the caller treats
    // an empty name as a session it cannot act for.
    try {
        std::error_code error;
        const auto json = web::json::value::parse(answer, error);
        if (error || !json.is_object() || !json.has_string_field("login")) {
            return L"";
        }
        return fromUtf8(json.at("login").as_string());
    } catch (const std::exception&) {
        return L"";
    }
}

} // namespace com::vantorel::lithmar
