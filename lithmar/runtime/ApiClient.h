#pragma once

#include <lithmar/runtime/ApiConfiguration.h>
#include <lithmar/runtime/HttpContent.h>
#include <lithmar/runtime/IHttpBody.h>
#include <lithmar/runtime/lithmar_runtime_export.h>

#include <cpprest/http_client.h>

#include <cstdint>
#include <map>
#include <memory>
#include <string>

namespace com::vantorel::lithmar {

namespace detail {
class Connections;
}

// Sends requests to the service named by its configuration's base URL.
//
// Connections: one cpprestsdk client (with its connection pool) per origin,
// made on first use and shared by every call of this ApiClient and its
// copies, concurrent ones included.
//
// Bodies stream: a body is read chunk by chunk as it goes to the socket, with
// a Content-Length whenever its size is known (multipart forms of seekable
// parts, files included), and is produced again from the start for every
// attempt.
//
// Redirects: followed up to the configuration's max_redirects() (10 unless
// set). A redirect to another origin (scheme, host or port) never carries
// the Cookie and Authorization headers along. 303, and 301/302 after a POST,
// continue with a GET without body; 307 and 308 resend the same request. A
// redirect that cannot be followed fails the task with an ApiException whose
// code is the 3xx status: "too many redirects" beyond max_redirects(),
// "redirect without a location", and a Location that is not an http or https
// URL. max_redirects(0) switches following off for the client: every answer,
// 3xx included, comes back as it is, for callers that read the redirect
// itself (the login ticket is in one).
//
// Responses of every status come back as responses; transport failures fail
// the task with cpprestsdk's web::http::http_exception.
class LITHMAR_RUNTIME_EXPORT ApiClient {
public:
    explicit ApiClient(std::shared_ptr<ApiConfiguration> configuration = std::make_shared<ApiConfiguration>());
    virtual ~ApiClient();

    std::shared_ptr<ApiConfiguration> getConfiguration() const;

    // One attempt. `path` is appended to the base URL; characters that cannot
    // stand in a URL path are percent-encoded, "/" and existing escapes are
    // kept. Query values are percent-encoded. With no body but form or file
    // parameters, the form is sent as multipart/form-data when `contentType`
    // asks for it or there are files, otherwise URL-encoded.
    pplx::task<web::http::http_response> callApi(const std::wstring& path, const std::wstring& method,
                                                 const std::map<std::wstring, std::wstring>& queryParams,
                                                 const std::shared_ptr<IHttpBody> postBody,
                                                 const std::map<std::wstring, std::wstring>& headerParams,
                                                 const std::map<std::wstring, std::wstring>& formParams,
                                                 const std::map<std::wstring, std::shared_ptr<HttpContent>>& fileParams,
                                                 const std::wstring& contentType) const;

    // As callApi, repeated under the configuration's RetryPolicy (see
    // RetryPolicy.h for which failures are repeated and how long it waits).
    pplx::task<web::http::http_response> callApiAndRetryOnError(
        const std::wstring& path, const std::wstring& method, const std::map<std::wstring, std::wstring>& queryParams,
        const std::shared_ptr<IHttpBody> postBody, const std::map<std::wstring, std::wstring>& headerParams,
        const std::map<std::wstring, std::wstring>& formParams,
        const std::map<std::wstring, std::shared_ptr<HttpContent>>& fileParams, const std::wstring& contentType) const;

    static std::wstring parameterToString(std::wstring value);
    static std::wstring parameterToString(int32_t value);
    static std::wstring parameterToString(int64_t value);

private:
    std::shared_ptr<ApiConfiguration> m_configuration;
    std::shared_ptr<detail::Connections> m_connections;
};

} // namespace com::vantorel::lithmar
