#pragma once

#include <lithmar/exchange/api/DataExchangeApi.h>
#include <lithmar/runtime/ApiException.h>
#include <lithmar/runtime/Utf8.h>

#include <tools/local/server/HttpServer.h>

#include <algorithm>
#include <mutex>

namespace apitest {

namespace sdk = com::vantorel::lithmar;
namespace api = sdk::exploration::api;
namespace model = sdk::exploration::model;
namespace local = ::lithmar::local;

// A scripted stand-in for the data exchange service under kBasePath: every request gets `answerWith`'s
// answer. Its siblings (suffix rule) name no user and hand out the local ticket, so uploads track nothing.
class ApiTestServer {
public:
    static constexpr const char* kBasePath = "/svc-xchng";

    ApiTestServer()
    {
        server.route("GET", "/svc-dash/{rest...}", [](const auto&) { return local::Response::json(200, "{}"); });
        server.route("GET", "/svc-dirx/{rest...}",
                     [](const auto&) { return local::Response::json(200, R"({"platforms":[]})"); });
        server.route("*", "/{rest...}", [this](const auto&) {
            std::lock_guard<std::mutex> lock(m_mutex);
            return m_answer;
        });
        server.start();
    }

    void answerWith(local::Response response)
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        m_answer = std::move(response);
    }

    std::shared_ptr<sdk::ApiClient> client() const
    {
        auto configuration = std::make_shared<sdk::ApiConfiguration>();
        configuration->setBaseUrl(sdk::fromUtf8(server.baseUrl() + kBasePath));
        configuration->getDefaultHeaders()[L"X-Host-Application"] = L"modeller 7";
        sdk::RetryPolicy policy;
        policy.initialBackoff = std::chrono::milliseconds(10);
        configuration->setRetryPolicy(policy);
        return std::make_shared<sdk::ApiClient>(configuration);
    }

    // The requests that reached the data exchange service itself.
    std::vector<local::RecordedRequest> exchangeRequests() const
    {
        auto requests = server.requests();
        requests.erase(std::remove_if(requests.begin(), requests.end(),
                                      [](const auto& request) { return request.target.rfind(kBasePath, 0) != 0; }),
                       requests.end());
        return requests;
    }

    local::HttpServer server;

private:
    std::mutex m_mutex;
    local::Response m_answer = local::Response::json(200, "{}");
};

} // namespace apitest
