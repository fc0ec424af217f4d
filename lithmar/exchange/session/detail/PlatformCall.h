#pragma once
// The request that the platform's session services (current user, services
// directory, login) share: a GET to a full URL, on a configuration and
// client of its own so that the caller's client, its connections and its
// settings stay untouched.

#include <lithmar/runtime/ApiClient.h>
#include <lithmar/runtime/ApiConfiguration.h>

#include <cpprest/http_msg.h>

#include <memory>
#include <string>

namespace com::vantorel::lithmar::detail {

enum class Redirects { Follow, ReturnToCaller };

// A fresh client for `url` that carries the caller's HTTP settings (proxy
// and its credentials, server credentials, TLS settings), retry policy and
// "Cookie" default header, with a request time-out of 20 minutes. With
// Redirects::ReturnToCaller a 3xx answer comes back as it is. Throws
// ApiException 400, naming `operation`, when there is no caller
// configuration.
std::shared_ptr<ApiClient> platformClient(const std::wstring& url, const std::shared_ptr<ApiConfiguration>& caller,
                                          Redirects redirects, const std::wstring& operation);

// GET on the client's base URL itself, with Content-Type and the accepted
// type "application/json". An answer of status 400 or more fails the task
// with ApiException (its status, "error calling <operation>: <reason>", the
// body as content); transport failures fail it as the runtime reports them.
pplx::task<web::http::http_response> platformGet(const std::shared_ptr<ApiClient>& client,
                                                 const std::wstring& operation);

// The body of an accepted answer as text.
pplx::task<std::string> platformGetText(const std::shared_ptr<ApiClient>& client, const std::wstring& operation);

// Whether `url` starts with "http://" (exactly, at its start): the mark of
// a local installation without the platform's sign-in.
bool isPlainHttp(const std::wstring& url);

} // namespace com::vantorel::lithmar::detail
