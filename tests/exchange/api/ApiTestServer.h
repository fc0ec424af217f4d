#pragma once

#include <lithmar/exchange/api/DataExchangeApi.h>
#include <lithmar/runtime/ApiException.h>
#include <lithmar/runtime/Utf8.h>

#include <tools/local/platform/LocalPlatform.h>
#include <tools/local/server/HttpServer.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <iterator>
#include <mutex>
#include <thread>

namespace apitest {

namespace sdk = com::vantorel::lithmar;
namespace api = sdk::exploration::api;
namespace model = sdk::exploration::model;
namespace local = ::lithmar::local;
using namespace std::chrono_literals;

// "OK" when `call` returns, else the ApiException's code, message and content (or "<none>").
template <typename Call> std::string outcomeOf(Call&& call)
{
    try {
        call();
        return "OK";
    } catch (const sdk::ApiException& error) {
        const auto content = error.getContent();
        return std::to_string(error.error_code().value()) + " " + sdk::toUtf8(error.getMessage()) + " | " +
               (content ? std::string(std::istreambuf_iterator<char>(*content), {}) : "<none>");
    }
}

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

// A terrain upload of the one file of a session started through `exchange` (on the local platform).
inline std::shared_ptr<model::TerrainUploadCommand> terrain(api::DataExchangeApi exchange, const std::wstring& name)
{
    auto oneFile = std::make_shared<model::StartUploadCommand>();
    oneFile->setNumberOfFiles(1);
    const auto session = exchange.startUpload(oneFile).get();
    auto command = std::make_shared<model::TerrainUploadCommand>();
    command->setSessionId(session->getSessionId());
    command->getFcsStreamIds() = {session->getFcsFiles().at(0)->getFcsStreamId()};
    command->setSiteId(L"site-demo");
    command->setName(name);
    return command;
}

// Whether `condition` holds within 30 s (a poll cycle, a look, and room for a loaded machine).
template <typename Condition> bool eventually(Condition condition)
{
    for (int i = 0; i < 600 && !condition(); ++i) {
        std::this_thread::sleep_for(50ms);
    }
    return condition();
}

inline std::vector<local::JobRecord> queuedJobs(local::LocalPlatform& platform, std::size_t count)
{
    std::vector<local::JobRecord> jobs;
    EXPECT_TRUE(eventually([&] { return (jobs = platform.store().jobs().jobs()).size() >= count; }));
    return jobs;
}

} // namespace apitest
