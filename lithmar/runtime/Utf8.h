#pragma once
// The one place where the library converts between its wide-string API and
// the UTF-8 text that goes over the wire (cpprestsdk's string type on Linux).

#include <lithmar/runtime/lithmar_runtime_export.h>

#include <stdexcept>
#include <string>

namespace com::vantorel::lithmar {

// Thrown when text cannot be converted: bytes that are not UTF-8, or wide
// characters that are not Unicode scalar values (lone surrogates, values past
// U+10FFFF). The message says where the bad input starts.
class LITHMAR_RUNTIME_EXPORT EncodingError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

LITHMAR_RUNTIME_EXPORT std::string toUtf8(const std::wstring& text);
LITHMAR_RUNTIME_EXPORT std::wstring fromUtf8(const std::string& text);

} // namespace com::vantorel::lithmar
