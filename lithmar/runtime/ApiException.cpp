#include <lithmar/runtime/ApiException.h>

#include <boost/locale/encoding_utf.hpp>

namespace com::vantorel::lithmar {
namespace {

// An error must always be constructible, so a message holding characters
// that are not valid Unicode loses them here instead of throwing.
std::string messageText(const std::wstring& message)
{
    return boost::locale::conv::utf_to_utf<char>(message, boost::locale::conv::skip);
}

} // namespace

ApiException::ApiException(int code, const std::wstring& message, std::shared_ptr<std::istream> content)
    : web::http::http_exception(code, messageText(message)), m_message(message), m_content(std::move(content))
{
}

ApiException::ApiException(const ApiException& other) = default;
ApiException& ApiException::operator=(const ApiException& other) = default;
ApiException::~ApiException() = default;

const std::wstring& ApiException::getMessage() const
{
    return m_message;
}

std::shared_ptr<std::istream> ApiException::getContent() const
{
    return m_content;
}

} // namespace com::vantorel::lithmar
