#pragma once
// The non-template pieces of the model mapping: how form part names are made
// and where a list field's JSON array comes from.

#include <lithmar/runtime/HttpContent.h>

#include <cpprest/json.h>

#include <memory>
#include <string>
#include <string_view>

namespace com::vantorel::lithmar::exploration::model::detail {

// A field's key as a form part name. Keys are ASCII identifiers (the model
// generator refuses any other), so widening each byte is exact.
std::wstring partName(std::string_view key);

// The prefix put in front of the part names of a model's own fields: the
// caller's prefix with a '.' appended unless it already ends in one; an empty
// prefix stays empty.
std::wstring partPrefix(const std::wstring& namePrefix);

// The elements of the JSON array that a list field reads. Anything but an
// array throws web::json::json_exception naming the key.
web::json::array& arrayUnder(std::string_view key, web::json::value& json);

// The JSON text of a list field's form part, parsed. Text that is not JSON
// throws web::json::json_exception; text that is not UTF-8 throws EncodingError.
web::json::value jsonInPart(std::shared_ptr<HttpContent> part);

} // namespace com::vantorel::lithmar::exploration::model::detail
