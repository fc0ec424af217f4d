#pragma once

#include <lithmar/exchange/api/DataExchangeApi.h>
#include <lithmar/runtime/ApiException.h>
#include <lithmar/runtime/Utf8.h>

#include <tools/local/server/HttpServer.h>

#include <memory>
#include <string>
#include <vector>

namespace apitest {

namespace sdk = com::vantorel::lithmar;
namespace api = sdk::exploration::api;
namespace model = sdk::exploration::model;
namespace local = ::lithmar::local;

// A scripted stand-in for the data exchange service: every request under the
// base path gets `answer` unless a test scripts something else, and is logged.
// Its siblings, found by the suffix rule, answer as a platform that names no
// user ("/svc-dash") and hands out the local ticket ("/svc-dirx"): uploads
// then track nothing and start no notification listener.
class ApiTestServer {
public:
    static constexpr const char* kBasePath = "/svc-xchng";

    ApiTestServer()
    {
        server.route("GET", "/svc-dash/{rest...}", [this](const local::RecordedRequest&) {
            std::lock_guard<std::mutex> lock(m_mutex);
            return userAnswer;
        });
        server.route("GET", "/svc-dirx/{rest...}", [this](const local::RecordedRequest&) {
            std::lock_guard<std::mutex> lock(m_mutex);
            return directoryAnswer;
        });
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

    // The current-user service's answer, and the services directory's (also
    // the login answer, since the directory names no login service).
    void answerSessionWith(local::Response user, local::Response directory)
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        userAnswer = std::move(user);
        directoryAnswer = std::move(directory);
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

    // The requests that reached the data exchange service itself.
    std::vector<local::RecordedRequest> exchangeRequests() const
    {
        std::vector<local::RecordedRequest> requests;
        for (auto& request : server.requests()) {
            if (request.target.rfind(kBasePath, 0) == 0) {
                requests.push_back(std::move(request));
            }
        }
        return requests;
    }

    local::RecordedRequest only() const
    {
        const auto requests = exchangeRequests();
        if (requests.size() != 1) {
            throw std::runtime_error("expected one request, got " + std::to_string(requests.size()));
        }
        return requests.front();
    }

    local::HttpServer server;

private:
    std::mutex m_mutex;
    local::Response answer = local::Response::json(200, "{}");
    local::Response userAnswer = local::Response::json(200, "{}");
    local::Response directoryAnswer = local::Response::json(200, R"({"platforms":[]})");
};

} // namespace apitest
