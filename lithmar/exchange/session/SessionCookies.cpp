#include <lithmar/exchange/session/SessionCookies.h>

#include <lithmar/runtime/Utf8.h>

namespace com::vantorel::lithmar::exploration::api {
namespace {

const std::wstring kSessionCookie = L"JSESSIONID";
const std::wstring kServerCookie = L"SERVERID";

void appendPart(std::wstring& result, const std::wstring& part)
{
    if (!result.empty()) {
        result += L';';
    }
    result += part;
}

} // namespace

void mergeCookie(std::wstring& store, const std::wstring& name, const std::wstring& piece)
{
    std::wstring result;
    std::size_t start = 0;
    while (true) {
        const std::size_t end = store.find(L';', start);
        const std::wstring part = store.substr(start, end == std::wstring::npos ? std::wstring::npos : end - start);
        appendPart(result, part.find(name) != std::wstring::npos ? piece : part);
        if (end == std::wstring::npos) {
            break;
        }
        start = end + 1;
    }
    if (result.find(name) == std::wstring::npos) {
        appendPart(result, piece);
    }
    store = std::move(result);
}

void captureSessionCookies(const web::http::http_response& response, std::wstring& store)
{
    const auto& headers = response.headers();
    const auto found = headers.find("Set-Cookie");
    if (found == headers.end()) {
        return;
    }
    const std::wstring value = fromUtf8(found->second);
    const std::wstring piece = value.substr(0, value.find(L"; "));
    if (value.find(kSessionCookie) != std::wstring::npos) {
        mergeCookie(store, kSessionCookie, piece);
    }
    if (value.find(kServerCookie) != std::wstring::npos) {
        mergeCookie(store, kServerCookie, piece);
    }
}

void applySessionCookies(std::map<std::wstring, std::wstring>& headers, const std::wstring& store)
{
    std::wstring& cookie = headers[L"Cookie"];
    if (!store.empty()) {
        mergeCookie(cookie, kSessionCookie, store);
    }
}

} // namespace com::vantorel::lithmar::exploration::api
