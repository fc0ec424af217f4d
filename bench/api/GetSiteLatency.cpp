// getSite against the local platform: latency of sequential calls on a
// kept-alive connection and throughput of concurrent callers, each next to a
// peer in the same run (curl reusing one connection; wrk with as many
// connections as we have callers).
//
//   getsite_latency [sequential-calls=10000] [callers=32] [seconds=5]
//
// The platform runs in a child process, so that the client and its peers
// meet the same server.

#include <lithmar/exchange/api/DataExchangeApi.h>
#include <lithmar/runtime/Utf8.h>

#include <tools/local/platform/LocalPlatform.h>

#include "../common/ServerProcess.h"

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <fstream>
#include <memory>
#include <string>
#include <thread>
#include <vector>

namespace sdk = com::vantorel::lithmar;
namespace api = sdk::exploration::api;
namespace local = ::lithmar::local;
using Clock = std::chrono::steady_clock;

namespace {

std::string run(const std::string& command)
{
    std::string output;
    FILE* pipe = popen(command.c_str(), "r");
    char buffer[4096];
    while (pipe && fgets(buffer, sizeof buffer, pipe)) {
        output += buffer;
    }
    if (!pipe || pclose(pipe) != 0) {
        throw std::runtime_error("command failed: " + command);
    }
    return output;
}

double seconds(Clock::duration duration)
{
    return std::chrono::duration<double>(duration).count();
}

} // namespace

int main(int argc, char** argv)
{
    const int calls = argc > 1 ? std::stoi(argv[1]) : 10000;
    const int callers = argc > 2 ? std::stoi(argv[2]) : 32;
    const int duration = argc > 3 ? std::stoi(argv[3]) : 5;

    const bench::ServerProcess platform([] {
        static local::LocalPlatform served;
        served.start();
        return served.port();
    });
    const std::string exchangeUrl = "http://127.0.0.1:" + std::to_string(platform.port()) + "/lithmar-xchng";
    const std::string siteUrl = exchangeUrl + "/common/sites/v1/site-demo";

    auto configuration = std::make_shared<sdk::ApiConfiguration>();
    configuration->setBaseUrl(sdk::fromUtf8(exchangeUrl));
    api::DataExchangeApi exchange(std::make_shared<sdk::ApiClient>(configuration));
    exchange.getSite(L"site-demo").get(); // opens the connection and the session

    std::vector<double> latencies;
    latencies.reserve(calls);
    const auto sequentialStart = Clock::now();
    for (int i = 0; i < calls; ++i) {
        const auto started = Clock::now();
        exchange.getSite(L"site-demo").get();
        latencies.push_back(seconds(Clock::now() - started) * 1e6);
    }
    const double oursSequential = seconds(Clock::now() - sequentialStart) / calls * 1e6;
    std::sort(latencies.begin(), latencies.end());

    // cpprestsdk alone, same request, same connection reuse: what the layers
    // below the library cost.
    web::http::client::http_client raw(utility::conversions::to_string_t(exchangeUrl));
    const auto rawStart = Clock::now();
    for (int i = 0; i < calls; ++i) {
        web::http::http_request request(web::http::methods::GET);
        request.set_request_uri("/common/sites/v1/site-demo");
        request.headers().add("Accept", "application/json");
        raw.request(request).then([](web::http::http_response r) { return r.extract_utf8string(true); }).get();
    }
    const double rawSequential = seconds(Clock::now() - rawStart) / calls * 1e6;

    const std::string urls = "/tmp/getsite-urls.cfg";
    {
        std::ofstream list(urls);
        for (int i = 0; i < calls; ++i) {
            list << "url = \"" << siteUrl << "\"\noutput = \"/dev/null\"\n";
        }
    }
    const auto curlStart = Clock::now();
    run("curl -s -H 'Accept: application/json' -K " + urls);
    const double curlSequential = seconds(Clock::now() - curlStart) / calls * 1e6;
    std::remove(urls.c_str());

    std::atomic<bool> stop{false};
    std::atomic<long> done{0};
    std::vector<std::thread> threads;
    const auto concurrentStart = Clock::now();
    for (int caller = 0; caller < callers; ++caller) {
        threads.emplace_back([&] {
            api::DataExchangeApi own(exchange); // each caller keeps its own session cookie
            while (!stop) {
                own.getSite(L"site-demo").get();
                ++done;
            }
        });
    }
    std::this_thread::sleep_for(std::chrono::seconds(duration));
    stop = true;
    for (auto& thread : threads) {
        thread.join();
    }
    const double oursThroughput = static_cast<double>(done) / seconds(Clock::now() - concurrentStart);

    const std::string wrk = run("wrk -t2 -c" + std::to_string(callers) + " -d" + std::to_string(duration) +
                                "s -H 'Accept: application/json' " + siteUrl);
    const auto rateAt = wrk.find("Requests/sec:");
    const double wrkThroughput = rateAt == std::string::npos ? 0 : std::stod(wrk.substr(rateAt + 13));

    std::printf("getSite sequential, %d calls on one connection:\n", calls);
    std::printf("  DataExchangeApi: %.1f us/call (p50 %.1f, p99 %.1f)\n", oursSequential, latencies[calls / 2],
                latencies[calls * 99 / 100]);
    std::printf("  cpprestsdk alone: %.1f us/call\n", rawSequential);
    std::printf("  curl, one connection: %.1f us/call\n", curlSequential);
    std::printf("  ratio: %.2fx curl\n", oursSequential / curlSequential);
    std::printf("getSite concurrent, %d callers, %d s:\n", callers, duration);
    std::printf("  DataExchangeApi: %.0f calls/s\n", oursThroughput);
    std::printf("  wrk -c%d: %.0f requests/s\n", callers, wrkThroughput);
    std::printf("  ratio: %.0f%% of wrk\n", 100.0 * oursThroughput / wrkThroughput);

    return 0;
}
