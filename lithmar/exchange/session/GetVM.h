#pragma once
// The session-opening request. Its name is the one host applications and
// the platform's other clients already call (docs/decisions/0011).

#include <lithmar/exchange/lithmar_exchange_export.h>
#include <lithmar/runtime/ApiClient.h>

#include <memory>
#include <string>

namespace com::vantorel::lithmar::exploration::api {

// GET `path` + "?xrequestedwith=xmlhttprequest" with JSON Accept and
// Content-Type headers. Yields a copy of `cookies` (as they were at the call)
// with the response's session cookies merged in; the caller's string is left
// alone.
LITHMAR_EXCHANGE_EXPORT pplx::task<std::wstring> getVM(std::shared_ptr<ApiClient>& apiClient, std::wstring& cookies,
                                                       std::wstring path);

} // namespace com::vantorel::lithmar::exploration::api
