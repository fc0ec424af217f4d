#include <lithmar/exchange/detail/Refusals.h>

#include <lithmar/runtime/Utf8.h>

#include <sstream>

namespace com::vantorel::lithmar::detail {

std::wstring errorCalling(const std::wstring& operation)
{
    return L"error calling " + operation + L": ";
}

bool isRefusal(const web::http::http_response& answer)
{
    return answer.status_code() >= 400;
}

ApiException refusalOf(const web::http::http_response& answer, const std::wstring& operation, std::string body)
{
    return ApiException(answer.status_code(), errorCalling(operation) + fromUtf8(answer.reason_phrase()),
                        std::make_shared<std::istringstream>(std::move(body)));
}

} // namespace com::vantorel::lithmar::detail
