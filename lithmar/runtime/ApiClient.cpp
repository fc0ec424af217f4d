#include <lithmar/runtime/ApiClient.h>

#include <lithmar/runtime/ModelBase.h>
#include <lithmar/runtime/MultipartFormData.h>
#include <lithmar/runtime/Utf8.h>
#include <lithmar/runtime/detail/RetryLoop.h>
#include <lithmar/runtime/detail/Transport.h>

#include <boost/algorithm/string/predicate.hpp>

namespace com::vantorel::lithmar {

namespace {

using StringMap = std::map<std::wstring, std::wstring>;
using FileMap = std::map<std::wstring, std::shared_ptr<HttpContent>>;

class UrlEncodedForm final : public IHttpBody {
public:
    explicit UrlEncodedForm(const StringMap& fields)
    {
        for (const auto& [name, value] : fields) {
            m_text += (m_text.empty() ? "" : "&") + web::uri::encode_data_string(toUtf8(name)) + "=" +
                      web::uri::encode_data_string(toUtf8(value));
        }
    }
    void writeTo(std::ostream& stream) override { stream << m_text; }

private:
    std::string m_text;
};

// The path may carry a query of its own ("/x?a=b"); its two halves are
// encoded each by its own rules and the query parameters are added after it.
std::string joinUrl(const std::wstring& baseUrl, const std::wstring& path)
{
    std::string base = toUtf8(baseUrl);
    const std::string relative = toUtf8(path);
    const std::size_t queryStart = relative.find('?');
    std::string encoded = web::uri::encode_uri(relative.substr(0, queryStart), web::uri::components::path);
    if (queryStart != std::string::npos) {
        encoded += "?" + web::uri::encode_uri(relative.substr(queryStart + 1), web::uri::components::query);
    }
    if (!base.empty() && base.back() == '/' && !encoded.empty() && encoded.front() == '/') {
        base.pop_back();
    }
    return base + encoded;
}

detail::PreparedRequest prepare(const ApiConfiguration& configuration, const std::wstring& path,
                                const std::wstring& method, const StringMap& queryParams,
                                std::shared_ptr<IHttpBody> body, const StringMap& headerParams,
                                const StringMap& formParams, const FileMap& fileParams, const std::wstring& contentType)
{
    detail::PreparedRequest request;
    request.method = toUtf8(method);
    web::uri_builder target(joinUrl(configuration.getBaseUrl(), path));
    for (const auto& [name, value] : queryParams) {
        target.append_query(toUtf8(name), toUtf8(value), true);
    }
    request.target = target.to_uri();
    request.contentType = toUtf8(contentType);
    for (const auto& [name, value] : headerParams) {
        request.headers.emplace_back(toUtf8(name), toUtf8(value));
    }

    const bool multipart = !fileParams.empty() || boost::istarts_with(contentType, L"multipart/form-data");
    if (body) {
        request.body = std::move(body);
    } else if (multipart && (!formParams.empty() || !fileParams.empty())) {
        auto form = std::make_shared<MultipartFormData>();
        for (const auto& [name, value] : formParams) {
            form->add(ModelBase::toHttpContent(name, value));
        }
        for (const auto& [name, content] : fileParams) {
            form->add(ModelBase::toHttpContent(name, content));
        }
        request.contentType = "multipart/form-data; boundary=" + toUtf8(form->getBoundary());
        request.headers.emplace_back("Content-Type", request.contentType);
        request.body = std::move(form);
    } else if (!formParams.empty()) {
        request.contentType = "application/x-www-form-urlencoded";
        request.headers.emplace_back("Content-Type", request.contentType);
        request.body = std::make_shared<UrlEncodedForm>(formParams);
    }
    return request;
}

} // namespace

ApiClient::ApiClient(std::shared_ptr<ApiConfiguration> configuration)
    : m_configuration(std::move(configuration)), m_connections(std::make_shared<detail::Connections>(m_configuration))
{
}

ApiClient::~ApiClient() = default;

std::shared_ptr<ApiConfiguration> ApiClient::getConfiguration() const
{
    return m_configuration;
}

pplx::task<web::http::http_response> ApiClient::callApi(const std::wstring& path, const std::wstring& method,
                                                        const StringMap& queryParams,
                                                        const std::shared_ptr<IHttpBody> postBody,
                                                        const StringMap& headerParams, const StringMap& formParams,
                                                        const FileMap& fileParams,
                                                        const std::wstring& contentType) const
{
    return detail::send(m_connections, prepare(*m_configuration, path, method, queryParams, postBody, headerParams,
                                               formParams, fileParams, contentType));
}

pplx::task<web::http::http_response> ApiClient::callApiAndRetryOnError(
    const std::wstring& path, const std::wstring& method, const StringMap& queryParams,
    const std::shared_ptr<IHttpBody> postBody, const StringMap& headerParams, const StringMap& formParams,
    const FileMap& fileParams, const std::wstring& contentType) const
{
    return detail::sendRepeating(m_connections,
                                 prepare(*m_configuration, path, method, queryParams, postBody, headerParams,
                                         formParams, fileParams, contentType),
                                 m_configuration->getRetryPolicy());
}

std::wstring ApiClient::parameterToString(std::wstring value)
{
    return value;
}

std::wstring ApiClient::parameterToString(int32_t value)
{
    return std::to_wstring(value);
}

std::wstring ApiClient::parameterToString(int64_t value)
{
    return std::to_wstring(value);
}

} // namespace com::vantorel::lithmar
