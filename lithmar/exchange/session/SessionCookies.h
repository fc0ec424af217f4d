#pragma once
// The platform keeps a session in two cookies, JSESSIONID (the application
// server's session) and SERVERID (the load balancer's stickiness). Instead of
// a general cookie jar, every session holder keeps one string of
// "name=value" pieces joined by ";" and feeds it from responses and into
// requests with the functions below. Names are matched as plain,
// case-sensitive substrings of a piece, as the platform's own clients do.

#include <lithmar/exchange/lithmar_exchange_export.h>

#include <cpprest/http_msg.h>

#include <map>
#include <string>

namespace com::vantorel::lithmar::exploration::api {

// Replaces every ";"-separated part of `store` that contains `name` by
// `piece`, or appends `piece` when no part does.
LITHMAR_EXCHANGE_EXPORT void mergeCookie(std::wstring& store, const std::wstring& name, const std::wstring& piece);

// Takes the leading "name=value" of the response's Set-Cookie value into the
// store, under JSESSIONID and/or SERVERID when the value mentions them.
LITHMAR_EXCHANGE_EXPORT void captureSessionCookies(const web::http::http_response& response, std::wstring& store);

// Writes the store into the request's "Cookie" header (creating the header,
// empty, when there is none).
LITHMAR_EXCHANGE_EXPORT void applySessionCookies(std::map<std::wstring, std::wstring>& headers,
                                                 const std::wstring& store);

} // namespace com::vantorel::lithmar::exploration::api
