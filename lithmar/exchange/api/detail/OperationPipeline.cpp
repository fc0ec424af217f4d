#include <lithmar/exchange/api/detail/OperationPipeline.h>

#include <lithmar/exchange/detail/Refusals.h>
#include <lithmar/exchange/session/SessionCookies.h>
#include <lithmar/runtime/ApiException.h>
#include <lithmar/runtime/JsonBody.h>
#include <lithmar/runtime/MultipartFormData.h>
#include <lithmar/runtime/Utf8.h>

#include <sstream>
#include <stdexcept>

namespace com::vantorel::lithmar::exploration::api::detail {
namespace {

const std::wstring kJson = L"application/json";
const std::wstring kMultipart = L"multipart/form-data";

std::wstring chooseResponseType(const Operation& operation)
{
    const auto& types = operation.responseTypes;
    if (types.empty() || types.count(kJson)) {
        return kJson;
    }
    if (types.count(kMultipart)) {
        return kMultipart;
    }
    throw ApiException(400, L"DataExchangeApi->" + operation.name + L" does not produce any supported media type");
}

struct RequestBody {
    std::shared_ptr<IHttpBody> body;
    std::wstring contentType;
};

RequestBody chooseRequestBody(const Operation& operation)
{
    const auto& types = operation.requestTypes;
    if (types.empty() || types.count(kJson)) {
        if (!operation.hasBody) {
            return {nullptr, kJson};
        }
        return {std::make_shared<JsonBody>(ModelBase::toJson(operation.body)), kJson};
    }
    if (types.count(kMultipart)) {
        auto form = std::make_shared<MultipartFormData>();
        if (operation.body) {
            operation.body->toMultipart(form, L"body");
        }
        return {form, kMultipart + L"; boundary=" + form->getBoundary()};
    }
    throw ApiException(415, L"DataExchangeApi->" + operation.name + L" does not consume any supported media type");
}

std::shared_ptr<std::istream> contentOf(std::string body)
{
    return std::make_shared<std::stringstream>(std::move(body));
}

} // namespace

void requireBody(const std::shared_ptr<ModelBase>& body, const std::wstring& operation)
{
    if (!body) {
        throw ApiException(400, L"Missing required parameter 'body' when calling DataExchangeApi->" + operation);
    }
}

void requireClient(const std::shared_ptr<ApiClient>& apiClient, const std::wstring& operation)
{
    if (!apiClient) {
        throw std::invalid_argument("DataExchangeApi->" + toUtf8(operation) +
                                    ": the API object was built without an ApiClient; construct it with one");
    }
}

pplx::task<Answer> send(const std::shared_ptr<ApiClient>& apiClient, std::wstring* sessionCookie, Operation operation)
{
    requireClient(apiClient, operation.name);
    const auto configuration = apiClient->getConfiguration();
    auto headers = configuration->getDefaultHeaders();
    applySessionCookies(headers, *sessionCookie);

    const std::wstring responseType = chooseResponseType(operation);
    headers[L"Accept"] = responseType;
    const RequestBody request = chooseRequestBody(operation);
    headers[L"Content-Type"] = request.contentType;

    const std::wstring name = operation.name;
    return apiClient
        ->callApiAndRetryOnError(operation.path, operation.method, operation.queryParams, request.body, headers, {},
                                 {}, request.contentType)
        .then([name, responseType, sessionCookie](web::http::http_response response) {
            // Checked once the body is in, so that an error carries the server's words.
            return response.extract_utf8string(true).then([response, name, responseType,
                                                           sessionCookie](std::string body) {
                if (lithmar::detail::isRefusal(response)) {
                    throw lithmar::detail::refusalOf(response, name, std::move(body));
                }
                const auto contentType = response.headers().find("Content-Type");
                if (contentType != response.headers().end() &&
                    contentType->second.find(toUtf8(responseType)) == std::string::npos) {
                    throw ApiException(500,
                                       lithmar::detail::errorCalling(name) + L"unexpected response type: " +
                                           fromUtf8(contentType->second),
                                       contentOf(std::move(body)));
                }
                captureSessionCookies(response, *sessionCookie);
                return Answer{responseType, std::move(body)};
            });
        });
}

void parseInto(ModelBase& result, const Answer& answer, const std::wstring& operation)
{
    if (answer.mediaType != kJson) {
        throw ApiException(500, lithmar::detail::errorCalling(operation) + L"unsupported response type");
    }
    web::json::value json = web::json::value::parse(answer.body);
    result.fromJson(json);
}

} // namespace com::vantorel::lithmar::exploration::api::detail
