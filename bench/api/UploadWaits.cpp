// A thousand uploads waiting for their results at once, on one client:
// threads and memory of the process, the latency of getSite meanwhile
// against the same call with nothing waiting, and the time from a result's
// publication on the platform to the completion of its upload's task.
//
//   upload_waits [waits=1000] [samples=12] [getsite-calls=2000]
//
// The local platform runs in a child process in local mode: it serves the
// notification poll endpoint on 127.0.0.1:8080 (which must be free) and runs
// no import jobs, so that results arrive only when the benchmark publishes
// them.

#include <lithmar/exchange/api/DataExchangeApi.h>
#include <lithmar/runtime/Utf8.h>

#include <tools/local/platform/LocalPlatform.h>

#include "../common/Measures.h"
#include "../common/ServerProcess.h"

#include <cpprest/http_client.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <fstream>
#include <random>
#include <set>
#include <string>
#include <thread>
#include <vector>

namespace sdk = com::vantorel::lithmar;
namespace api = sdk::exploration::api;
namespace model = sdk::exploration::model;
namespace local = ::lithmar::local;
using Clock = std::chrono::steady_clock;

namespace {

constexpr const char* kPublishNext = "/_bench/publish-next";
constexpr const char* kQueued = "/_bench/queued";

// The child's route: publishes a result for the oldest job that has none
// yet, stamped with the steady clock (shared by both processes), and
// answers with the stamp.
local::Response publishNext(local::LocalPlatform& platform)
{
    static std::set<std::string> published;
    for (const auto& job : platform.store().jobs().jobs()) {
        if (published.insert(job.id).second) {
            const auto stamp = std::to_string(Clock::now().time_since_epoch().count());
            platform.publish("LOCAL_USER", R"({"result":"IMPORTED","modificationDate":")" + stamp + R"(","jobId":")" +
                                               job.id + "\"}");
            return local::Response::json(200, "\"" + stamp + "\"");
        }
    }
    return local::Response::error(404, "no job left to publish");
}

struct Latency {
    double mean = 0;
    double p50 = 0;
    double p99 = 0;
};

Latency getSiteLatency(api::DataExchangeApi& exchange, int calls)
{
    std::vector<double> micros;
    for (int i = 0; i < calls; ++i) {
        const auto start = Clock::now();
        exchange.getSite(L"site-demo").get();
        micros.push_back(std::chrono::duration<double, std::micro>(Clock::now() - start).count());
    }
    std::sort(micros.begin(), micros.end());
    Latency latency;
    for (double value : micros) {
        latency.mean += value / calls;
    }
    latency.p50 = micros[micros.size() / 2];
    latency.p99 = micros[micros.size() * 99 / 100];
    return latency;
}

} // namespace

int main(int argc, char** argv)
{
    const int waits = argc > 1 ? std::stoi(argv[1]) : 1000;
    const int samples = argc > 2 ? std::stoi(argv[2]) : 12;
    const int calls = argc > 3 ? std::stoi(argv[3]) : 2000;

    const bench::ServerProcess platform([waits] {
        local::LocalPlatformOptions options;
        options.pollPort = 8080;
        options.jobWorkers = 0;
        options.jobQueueCapacity = static_cast<std::size_t>(waits) + 10;
        static local::LocalPlatform served(options);
        served.server().route("POST", kPublishNext, [](const local::RecordedRequest&) { return publishNext(served); });
        served.server().route("GET", kQueued, [](const local::RecordedRequest&) {
            return local::Response::json(200, std::to_string(served.store().jobs().jobs().size()));
        });
        served.start();
        return served.port();
    });
    const std::string baseUrl = "http://127.0.0.1:" + std::to_string(platform.port());

    auto configuration = std::make_shared<sdk::ApiConfiguration>();
    configuration->setBaseUrl(sdk::fromUtf8(baseUrl + "/lithmar-xchng"));
    api::DataExchangeApi exchange(std::make_shared<sdk::ApiClient>(configuration));

    auto oneFile = std::make_shared<model::StartUploadCommand>();
    oneFile->setNumberOfFiles(1);
    const auto session = exchange.startUpload(oneFile).get();
    getSiteLatency(exchange, 200); // warm: connections, session, task pool

    const Latency idle = getSiteLatency(exchange, calls);
    const long threadsIdle = bench::statusField("Threads:");
    const long rssIdle = bench::statusField("VmRSS:");

    std::vector<pplx::task<std::shared_ptr<model::UploadTerrainResult>>> uploads;
    const auto firing = Clock::now();
    for (int i = 0; i < waits; ++i) {
        auto command = std::make_shared<model::TerrainUploadCommand>();
        command->setSessionId(session->getSessionId());
        command->getFcsStreamIds() = {session->getFcsFiles().at(0)->getFcsStreamId()};
        command->setSiteId(L"site-demo");
        command->setName(L"terrain " + std::to_wstring(i));
        uploads.push_back(exchange.uploadTerrain(command));
    }
    // Every upload waits once the platform has queued its job and its first
    // answer has had a moment to arrive.
    web::http::client::http_client control(baseUrl);
    while (control.request(web::http::methods::GET, kQueued).get().extract_json().get().as_integer() < waits) {
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
    }
    const double firedSeconds = std::chrono::duration<double>(Clock::now() - firing).count();
    std::this_thread::sleep_for(std::chrono::seconds(1));
    const long endedEarly = std::count_if(uploads.begin(), uploads.end(), [](auto& task) { return task.is_done(); });

    const Latency busy = getSiteLatency(exchange, calls);
    const long threadsBusy = bench::statusField("Threads:");
    const long rssBusy = bench::statusField("VmRSS:");

    std::vector<double> deliveries;
    std::vector<bool> seen(uploads.size(), false);
    // Results are published at random moments of the polling client's
    // five-second cycle, as job completions would fall.
    std::mt19937 random(42);
    std::uniform_int_distribution<int> offset(0, 4999);
    for (int sample = 0; sample < samples; ++sample) {
        std::this_thread::sleep_for(std::chrono::milliseconds(offset(random)));
        const auto answer = control.request(web::http::methods::POST, kPublishNext).get();
        if (answer.status_code() != 200) {
            break;
        }
        const auto published = Clock::time_point(Clock::duration(std::stoll(answer.extract_json().get().as_string())));
        bool found = false;
        while (!found) {
            for (std::size_t i = 0; i < uploads.size() && !found; ++i) {
                if (!seen[i] && uploads[i].is_done()) {
                    seen[i] = true;
                    found = true;
                }
            }
            if (!found) {
                std::this_thread::sleep_for(std::chrono::milliseconds(2));
            }
        }
        deliveries.push_back(std::chrono::duration<double>(Clock::now() - published).count());
    }

    // Below the looks already made: every wait ends at its next look.
    exchange.setAsyncResponseTimeOut(0);
    for (auto& upload : uploads) {
        upload.wait();
    }

    std::printf("%d uploads waiting at once (all queued %.1f s after the first call; %ld ended early)\n", waits,
                firedSeconds, endedEarly);
    std::printf("  threads: %ld idle, %ld with the waits\n", threadsIdle, threadsBusy);
    std::printf("  resident memory: %ld KiB idle, %ld KiB with the waits (%.1f KiB a wait)\n", rssIdle, rssBusy,
                static_cast<double>(rssBusy - rssIdle) / waits);
    std::printf("getSite, %d sequential calls:\n", calls);
    std::printf("  idle:       mean %.0f us, p50 %.0f us, p99 %.0f us\n", idle.mean, idle.p50, idle.p99);
    std::printf("  with waits: mean %.0f us, p50 %.0f us, p99 %.0f us\n", busy.mean, busy.p50, busy.p99);
    std::printf("  ratio: %.2fx (mean), %.2fx (p50)\n", busy.mean / idle.mean, busy.p50 / idle.p50);
    std::sort(deliveries.begin(), deliveries.end());
    if (!deliveries.empty()) {
        std::printf("result published -> task completed, %zu samples (5 s polls, 1 s looks):\n", deliveries.size());
        std::printf("  min %.2f s, p50 %.2f s, max %.2f s\n", deliveries.front(), deliveries[deliveries.size() / 2],
                    deliveries.back());
    }
    return 0;
}
