#pragma once

#include <lithmar/runtime/lithmar_runtime_export.h>

#include <cpprest/http_msg.h>

#include <istream>
#include <memory>
#include <string>

namespace com::vantorel::lithmar {

// The one error type of the library. The code is an HTTP status (the
// server's, or 400, 408, 415 or 500 for the library's own failures) and is
// also available as error_code().value(); what() gives the message as UTF-8,
// getMessage() as a wide string. getContent() holds the server's response
// body when there was one, and is null otherwise. Copies share the content
// stream.
class LITHMAR_RUNTIME_EXPORT ApiException : public web::http::http_exception {
public:
    ApiException(int code, const std::wstring& message, std::shared_ptr<std::istream> content = nullptr);
    ApiException(const ApiException& other);
    ApiException& operator=(const ApiException& other);
    ~ApiException() override;

    const std::wstring& getMessage() const;
    std::shared_ptr<std::istream> getContent() const;

private:
    std::wstring m_message;
    std::shared_ptr<std::istream> m_content;
};

} // namespace com::vantorel::lithmar
