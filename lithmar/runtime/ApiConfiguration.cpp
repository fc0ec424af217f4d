#include <lithmar/runtime/ApiConfiguration.h>

namespace com::vantorel::lithmar {

ApiConfiguration::ApiConfiguration() = default;
ApiConfiguration::~ApiConfiguration() = default;

std::wstring ApiConfiguration::getBaseUrl() const { return m_baseUrl; }
void ApiConfiguration::setBaseUrl(std::wstring baseUrl) { m_baseUrl = std::move(baseUrl); }

std::map<std::wstring, std::wstring>& ApiConfiguration::getDefaultHeaders() { return m_defaultHeaders; }
const std::map<std::wstring, std::wstring>& ApiConfiguration::getDefaultHeaders() const { return m_defaultHeaders; }

web::http::client::http_client_config& ApiConfiguration::getHttpConfig() { return m_httpConfig; }
const web::http::client::http_client_config& ApiConfiguration::getHttpConfig() const { return m_httpConfig; }

const RetryPolicy& ApiConfiguration::getRetryPolicy() const { return m_retryPolicy; }
void ApiConfiguration::setRetryPolicy(const RetryPolicy& policy) { m_retryPolicy = policy; }

} // namespace com::vantorel::lithmar
