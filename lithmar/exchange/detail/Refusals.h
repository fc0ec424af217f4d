#pragma once
// How a service's answer becomes an error, the same for the data exchange
// operations and the session services.

#include <lithmar/runtime/ApiException.h>

#include <cpprest/http_msg.h>

#include <string>

namespace com::vantorel::lithmar::detail {

// The start of every message of a failed call: "error calling <operation>: ".
std::wstring errorCalling(const std::wstring& operation);

// Whether the service refused the call: an answer of status 400 or more.
bool isRefusal(const web::http::http_response& answer);

// The ApiException for a refused call: the answer's status, "error calling
// <operation>: <reason phrase>", and the answer's body as content.
ApiException refusalOf(const web::http::http_response& answer, const std::wstring& operation, std::string body);

} // namespace com::vantorel::lithmar::detail
