#pragma once

#include <lithmar/runtime/RetryPolicy.h>
#include <lithmar/runtime/lithmar_runtime_export.h>

#include <cpprest/http_client.h>

#include <map>
#include <string>

namespace com::vantorel::lithmar {

// Settings of an ApiClient: the service's base URL, headers sent with every
// request, cpprestsdk's client settings (time-out, proxy, redirects, TLS) and
// the retry policy. The client reads them when it first talks to a base URL
// and keeps one connection pool per base URL from then on, so settle them
// before the first call.
class LITHMAR_RUNTIME_EXPORT ApiConfiguration {
public:
    ApiConfiguration();
    virtual ~ApiConfiguration();

    std::wstring getBaseUrl() const;
    void setBaseUrl(std::wstring baseUrl);

    std::map<std::wstring, std::wstring>& getDefaultHeaders();
    const std::map<std::wstring, std::wstring>& getDefaultHeaders() const;

    web::http::client::http_client_config& getHttpConfig();
    const web::http::client::http_client_config& getHttpConfig() const;

    const RetryPolicy& getRetryPolicy() const;
    void setRetryPolicy(const RetryPolicy& policy);

private:
    std::wstring m_baseUrl;
    std::map<std::wstring, std::wstring> m_defaultHeaders;
    web::http::client::http_client_config m_httpConfig;
    RetryPolicy m_retryPolicy;
};

} // namespace com::vantorel::lithmar
