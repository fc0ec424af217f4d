#pragma once
// The request/response pipeline that every operation of DataExchangeApi runs:
// build the request on the caller's thread, send it through
// callApiAndRetryOnError, then check status and content type, capture the
// session cookies and parse the answer on the task pool.

#include <lithmar/exchange/lithmar_exchange_export.h>
#include <lithmar/runtime/ApiClient.h>
#include <lithmar/runtime/ModelBase.h>

#include <cpprest/json.h>

#include <map>
#include <memory>
#include <string>
#include <unordered_set>

namespace com::vantorel::lithmar::exploration::api::detail {

using MediaTypes = std::unordered_set<std::wstring>;

struct Operation {
    Operation(std::wstring operationName, std::wstring httpMethod, std::wstring relativePath)
        : name(std::move(operationName)), method(std::move(httpMethod)), path(std::move(relativePath))
    {
    }

    std::wstring name;  // as it appears in messages: "createSite"
    std::wstring method;
    std::wstring path;  // relative to the base URL, path parameters already in place
    std::map<std::wstring, std::wstring> queryParams;
    // Whether the operation sends a body model at all; a body-carrying
    // operation passes its model on even when it is null.
    bool hasBody = false;
    std::shared_ptr<ModelBase> body;
    MediaTypes responseTypes{L"application/json"};
    MediaTypes requestTypes{L"application/json"};
};

// What the first continuation hands on: the answer's text and the media type
// that was asked for.
struct Answer {
    std::wstring mediaType;
    std::string body;
};

// Throws ApiException 400 "Missing required parameter 'body' ..." for a null model.
void requireBody(const std::shared_ptr<ModelBase>& body, const std::wstring& operation);

// Throws std::invalid_argument for an API object built without a client.
LITHMAR_EXCHANGE_EXPORT void requireClient(const std::shared_ptr<ApiClient>& apiClient, const std::wstring& operation);

// Exported although internal: the pipeline's tests drive it with media types
// that no operation uses.
//
// Sends the operation's request. Faults found while building it are thrown
// here; faults of the answer (status 400 or more, a content type other than
// the one asked for) fail the task. Cookies of accepted answers go into
// `sessionCookie`, which must outlive the task.
LITHMAR_EXCHANGE_EXPORT pplx::task<Answer> send(const std::shared_ptr<ApiClient>& apiClient, std::wstring* sessionCookie, Operation operation);

// Parses an answer into `result`; fails with ApiException 500 for any media
// type but JSON, and with the parser's or the model's exception for bad JSON.
LITHMAR_EXCHANGE_EXPORT void parseInto(ModelBase& result, const Answer& answer, const std::wstring& operation);

template <typename Result>
pplx::task<std::shared_ptr<Result>> sendAndParse(const std::shared_ptr<ApiClient>& apiClient,
                                                 std::wstring* sessionCookie, Operation operation)
{
    const std::wstring name = operation.name;
    return send(apiClient, sessionCookie, std::move(operation)).then([name](const Answer& answer) {
        auto result = std::make_shared<Result>();
        parseInto(*result, answer, name);
        return result;
    });
}

} // namespace com::vantorel::lithmar::exploration::api::detail
