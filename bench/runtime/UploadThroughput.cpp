// Sends a large file as a multipart form through ApiClient and, in the same
// run, through `curl -F`, to the same local server, and reports throughput
// and the client's peak resident memory.
//
//   upload_throughput [size-MiB=1024] [rounds=3]
//
// The server runs in a child process, so that the memory measured is the
// client's alone.

#include <lithmar/runtime/ApiClient.h>
#include <lithmar/runtime/Utf8.h>

#include <tools/local/server/HttpServer.h>

#include "../common/Measures.h"
#include "../common/ServerProcess.h"

#include <sys/resource.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <fstream>
#include <iostream>
#include <string>
#include <vector>

namespace sdk = com::vantorel::lithmar;
namespace local = ::lithmar::local;
using Clock = std::chrono::steady_clock;

namespace {

std::string makeFile(std::uint64_t bytes)
{
    const std::string path =
        (std::getenv("TMPDIR") ? std::getenv("TMPDIR") : "/tmp") + std::string("/upload-bench.bin");
    std::string block(1 << 20, '\0');
    for (std::size_t i = 0; i < block.size(); ++i) {
        block[i] = static_cast<char>((i * 2654435761u) >> 13);
    }
    std::ofstream out(path, std::ios::binary);
    for (std::uint64_t written = 0; written < bytes; written += block.size()) {
        out.write(block.data(), static_cast<std::streamsize>(std::min<std::uint64_t>(block.size(), bytes - written)));
    }
    return path;
}

double sendWithApiClient(sdk::ApiClient& client, const std::string& path, std::uint64_t bytes)
{
    auto file = std::make_shared<sdk::HttpContent>();
    file->setFileName(sdk::fromUtf8(path));
    file->setContentType(L"application/octet-stream");
    file->setData(std::make_shared<std::ifstream>(path, std::ios::binary));
    const auto started = Clock::now();
    auto response = client
                        .callApi(L"/upload", L"POST", {}, nullptr, {}, {{L"__fcs__jobTicket", L"bench"}},
                                 {{L"my-upload", file}}, L"multipart/form-data")
                        .get();
    const std::string answer = response.extract_utf8string(true).get();
    const double seconds = std::chrono::duration<double>(Clock::now() - started).count();
    if (answer != "{\"bytes\":" + std::to_string(bytes) + "}") {
        throw std::runtime_error("the server received something else: " + answer);
    }
    return seconds;
}

double sendWithCurl(const std::string& url, const std::string& path)
{
    const std::string command = "curl -sS -o /dev/null -F __fcs__jobTicket=bench -F 'my-upload=@" + path +
                                ";type=application/octet-stream' " + url;
    const auto started = Clock::now();
    if (std::system(command.c_str()) != 0) {
        throw std::runtime_error("curl failed: " + command);
    }
    return std::chrono::duration<double>(Clock::now() - started).count();
}

} // namespace

int main(int argc, char** argv)
{
    const std::uint64_t mebibytes = argc > 1 ? std::stoull(argv[1]) : 1024;
    const int rounds = argc > 2 ? std::stoi(argv[2]) : 3;
    const std::uint64_t bytes = mebibytes << 20;

    const bench::ServerProcess server([] {
        static local::HttpServer uploads;
        uploads.route("POST", "/upload", [](const local::RecordedRequest& request) {
            const std::uint64_t received = request.parts.empty() ? 0 : request.parts.back().size;
            return local::Response::json(200, "{\"bytes\":" + std::to_string(received) + "}");
        });
        uploads.start();
        return uploads.port();
    });
    const std::string url = "http://127.0.0.1:" + std::to_string(server.port());
    const std::string path = makeFile(bytes);

    auto configuration = std::make_shared<sdk::ApiConfiguration>();
    configuration->setBaseUrl(sdk::fromUtf8(url));
    configuration->getHttpConfig().set_timeout(std::chrono::seconds(600));
    sdk::ApiClient client(configuration);

    std::vector<double> ours;
    std::vector<double> curl;
    for (int round = 0; round < rounds; ++round) {
        ours.push_back(sendWithApiClient(client, path, bytes));
        curl.push_back(sendWithCurl(url + "/upload", path));
    }
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);

    const double gigabytes = static_cast<double>(bytes) / 1e9;
    const double oursRate = gigabytes / bench::median(ours);
    const double curlRate = gigabytes / bench::median(curl);
    std::printf("file: %llu MiB, rounds: %d (medians)\n", static_cast<unsigned long long>(mebibytes), rounds);
    std::printf("ApiClient: %.2f GB/s (%.3f s)\n", oursRate, bench::median(ours));
    std::printf("curl -F:   %.2f GB/s (%.3f s)\n", curlRate, bench::median(curl));
    std::printf("ApiClient / curl: %.0f%%\n", 100.0 * oursRate / curlRate);
    std::printf("client peak RSS: %.1f MiB\n", static_cast<double>(usage.ru_maxrss) / 1024.0);

    std::remove(path.c_str());
    return 0;
}
