#include <lithmar/runtime/ApiClient.h>

#include <lithmar/runtime/ApiException.h>
#include <lithmar/runtime/ModelBase.h>
#include <lithmar/runtime/MultipartFormData.h>
#include <lithmar/runtime/Utf8.h>
#include <lithmar/runtime/detail/Delay.h>
#include <lithmar/runtime/detail/Transport.h>

#include <boost/algorithm/string/predicate.hpp>

#include <random>

namespace com::vantorel::lithmar {

namespace {

using Clock = std::chrono::steady_clock;
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

double unitRandom()
{
    thread_local std::mt19937_64 generator{std::random_device{}()};
    return std::uniform_real_distribution<double>(0.0, 1.0)(generator);
}

struct RetryState {
    std::shared_ptr<detail::Connections> connections;
    detail::PreparedRequest request;
    RetryPolicy policy;
    Clock::time_point started = Clock::now();
    int attempt = 1;

    // The pause before the next attempt, or nothing when the policy gives up.
    std::optional<std::chrono::milliseconds> nextPause(AttemptOutcome outcome,
                                                       std::optional<std::chrono::milliseconds> retryAfter) const
    {
        if (!mayRepeat(outcome, request.method) || attempt >= policy.maxAttempts) {
            return std::nullopt;
        }
        const auto pause = retryAfter.value_or(backoffDelay(policy, attempt + 1, unitRandom()));
        if (Clock::now() + pause - started > policy.totalBudget) {
            return std::nullopt;
        }
        return pause;
    }
};

pplx::task<web::http::http_response> attempt(std::shared_ptr<RetryState> state)
{
    return detail::send(state->connections, state->request).then([state](pplx::task<web::http::http_response> sent) {
        std::optional<std::chrono::milliseconds> pause;
        web::http::http_response response;
        try {
            response = sent.get();
            std::optional<std::chrono::milliseconds> retryAfter;
            const auto header = response.headers().find("Retry-After");
            if (header != response.headers().end()) {
                retryAfter = parseRetryAfter(header->second, std::chrono::system_clock::now());
            }
            pause = state->nextPause(classifyStatus(response.status_code()), retryAfter);
            if (!pause) {
                return pplx::task_from_result(response);
            }
        } catch (const ApiException&) {
            throw; // the answer came, and was refused: sending it again changes nothing
        } catch (const web::http::http_exception& failure) {
            pause = state->nextPause(classifyTransportError(failure.error_code().value(), failure.what()), std::nullopt);
            if (!pause) {
                throw;
            }
        }
        ++state->attempt;
        return detail::delay(*pause).then([state] { return attempt(state); });
    });
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
    auto state = std::make_shared<RetryState>();
    state->connections = m_connections;
    state->request =
        prepare(*m_configuration, path, method, queryParams, postBody, headerParams, formParams, fileParams, contentType);
    state->policy = m_configuration->getRetryPolicy();
    return attempt(std::move(state));
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
