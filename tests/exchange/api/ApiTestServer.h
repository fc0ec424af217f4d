#pragma once

#include <lithmar/exchange/api/DataExchangeApi.h>
#include <lithmar/runtime/ApiException.h>
#include <lithmar/runtime/Utf8.h>

#include <tools/local/server/HttpServer.h>

#include <memory>
#include <string>

namespace apitest {

namespace sdk = com::vantorel::lithmar;
namespace api = sdk::exploration::api;
namespace model = sdk::exploration::model;
namespace local = ::lithmar::local;

// A scripted stand-in for the data exchange service: every request under the
// base path gets `answer` unless a test scripts something else, and is logged.
class ApiTestServer {
public:
    static constexpr const char* kBasePath = "/svc-xchng";

    ApiTestServer()
    {
        server.route("*", "/{rest...}", [this](const local::RecordedRequest&) {
            std::lock_guard<std::mutex> lock(m_mutex);
            return answer;
        });
        server.start();
    }

    void answerWith(local::Response response)
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        answer = std::move(response);
    }

    std::shared_ptr<sdk::ApiClient> client(std::chrono::milliseconds timeout = std::chrono::seconds(5)) const
    {
        auto configuration = std::make_shared<sdk::ApiConfiguration>();
        configuration->setBaseUrl(sdk::fromUtf8(server.baseUrl() + kBasePath));
        configuration->getDefaultHeaders()[L"X-Host-Application"] = L"modeller 7";
        configuration->getHttpConfig().set_timeout(timeout);
        sdk::RetryPolicy policy;
        policy.initialBackoff = std::chrono::milliseconds(10);
        configuration->setRetryPolicy(policy);
        return std::make_shared<sdk::ApiClient>(configuration);
    }

    local::RecordedRequest only() const
    {
        const auto requests = server.requests();
        if (requests.size() != 1) {
            throw std::runtime_error("expected one request, got " + std::to_string(requests.size()));
        }
        return requests.front();
    }

    local::HttpServer server;

private:
    std::mutex m_mutex;
    local::Response answer = local::Response::json(200, "{}");
};

} // namespace apitest
