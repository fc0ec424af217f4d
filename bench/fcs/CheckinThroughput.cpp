// Checks a large file in to the local platform's file server with
// FcsService::checkin and, in the same run, with `curl -F` into slots of
// the same server; reports throughput, the client's peak resident memory and
// the file server's CPU time per byte.
//
//   checkin_throughput [size-MiB=1024] [rounds=3]
//
// The platform runs in a child process, so that the memory measured is the
// client's alone and the server's CPU time can be read apart. Each stored
// file is deleted after its round, so the disk holds one copy at a time.

#include <lithmar/exchange/api/DataExchangeApi.h>
#include <lithmar/exchange/fcs/FcsService.h>
#include <lithmar/runtime/Utf8.h>

#include <tools/local/platform/LocalPlatform.h>

#include "../common/Measures.h"
#include "../common/ServerProcess.h"

#include <sys/resource.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

namespace sdk = com::vantorel::lithmar;
namespace model = sdk::exploration::model;
namespace local = ::lithmar::local;
using Clock = std::chrono::steady_clock;

namespace {

std::filesystem::path workDirectory()
{
    const char* tmp = std::getenv("TMPDIR");
    return std::filesystem::path(tmp ? tmp : "/tmp") / ("checkin-bench-" + std::to_string(::getpid()));
}

std::string makeFile(const std::filesystem::path& path, std::uint64_t bytes)
{
    std::string block(1 << 20, '\0');
    for (std::size_t i = 0; i < block.size(); ++i) {
        block[i] = static_cast<char>((i * 2654435761u) >> 13);
    }
    std::ofstream out(path, std::ios::binary);
    for (std::uint64_t written = 0; written < bytes; written += block.size()) {
        out.write(block.data(), static_cast<std::streamsize>(std::min<std::uint64_t>(block.size(), bytes - written)));
    }
    return path.string();
}

// User plus system CPU seconds of a process so far.
double cpuSeconds(pid_t pid)
{
    std::ifstream stat("/proc/" + std::to_string(pid) + "/stat");
    std::string text((std::istreambuf_iterator<char>(stat)), std::istreambuf_iterator<char>());
    std::istringstream fields(text.substr(text.rfind(')') + 2));
    std::string skipped;
    for (int i = 3; i < 14; ++i) {
        fields >> skipped;
    }
    double user = 0;
    double system = 0;
    fields >> user >> system;
    return (user + system) / static_cast<double>(::sysconf(_SC_CLK_TCK));
}

std::shared_ptr<model::FcsFile> newSlot(sdk::exploration::api::DataExchangeApi& exchange)
{
    auto command = std::make_shared<model::StartUploadCommand>();
    command->setNumberOfFiles(1);
    return exchange.startUpload(command).get()->getFcsFiles().at(0);
}

void expectStored(const std::string& receipt, std::uint64_t bytes)
{
    if (receipt.find("\"size\":" + std::to_string(bytes)) == std::string::npos) {
        throw std::runtime_error("the file server did not store the whole file: " + receipt);
    }
}

double checkinWithFcsService(const std::shared_ptr<model::FcsFile>& slot, const std::string& path, std::uint64_t bytes)
{
    const auto started = Clock::now();
    const auto receipt = sdk::FcsService::checkin(slot, sdk::fromUtf8(path)).get();
    const double seconds = std::chrono::duration<double>(Clock::now() - started).count();
    expectStored(sdk::toUtf8(receipt->getFcsReciept()), bytes);
    return seconds;
}

double checkinWithCurl(const std::shared_ptr<model::FcsFile>& slot, const std::string& path, std::uint64_t bytes,
                       const std::filesystem::path& answer)
{
    const std::string command = "curl -sS -o " + answer.string() +
                                " -F __fcs__jobTicket=" + sdk::toUtf8(slot->getFcsFileTicket()) + " -F 'my-upload=@" +
                                path + ";type=application/octet-stream' " + sdk::toUtf8(slot->getFcsFileUrl());
    const auto started = Clock::now();
    if (std::system(command.c_str()) != 0) {
        throw std::runtime_error("curl failed: " + command);
    }
    const double seconds = std::chrono::duration<double>(Clock::now() - started).count();
    std::ifstream text(answer);
    expectStored(std::string((std::istreambuf_iterator<char>(text)), std::istreambuf_iterator<char>()), bytes);
    return seconds;
}

} // namespace

int main(int argc, char** argv)
{
    const std::uint64_t mebibytes = argc > 1 ? std::stoull(argv[1]) : 1024;
    const int rounds = argc > 2 ? std::stoi(argv[2]) : 3;
    const std::uint64_t bytes = mebibytes << 20;
    const std::filesystem::path work = workDirectory();
    std::filesystem::create_directories(work);
    const std::filesystem::path stored = work / "platform" / "files";

    const bench::ServerProcess server([&work] {
        local::LocalPlatformOptions options;
        options.dataDirectory = (work / "platform").string();
        static local::LocalPlatform platform(options);
        platform.start();
        return platform.port();
    });
    const std::string path = makeFile(work / "checkin.bin", bytes);

    auto configuration = std::make_shared<sdk::ApiConfiguration>();
    configuration->setBaseUrl(sdk::fromUtf8("http://127.0.0.1:" + std::to_string(server.port()) + "/lithmar-xchng"));
    sdk::exploration::api::DataExchangeApi exchange(std::make_shared<sdk::ApiClient>(configuration));

    std::vector<double> ours;
    std::vector<double> curl;
    double serverCpu = 0;
    for (int round = 0; round < rounds; ++round) {
        for (const bool withCurl : {false, true}) {
            const auto slot = newSlot(exchange);
            const double cpuBefore = cpuSeconds(server.pid());
            if (withCurl) {
                curl.push_back(checkinWithCurl(slot, path, bytes, work / "answer.json"));
            } else {
                ours.push_back(checkinWithFcsService(slot, path, bytes));
            }
            serverCpu += cpuSeconds(server.pid()) - cpuBefore;
            std::filesystem::remove(stored / sdk::toUtf8(slot->getFcsStreamId()));
        }
    }
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);

    const double gigabytes = static_cast<double>(bytes) / 1e9;
    const double oursRate = gigabytes / bench::median(ours);
    const double curlRate = gigabytes / bench::median(curl);
    std::printf("file: %llu MiB, rounds: %d (medians), HTTP on loopback\n", static_cast<unsigned long long>(mebibytes),
                rounds);
    std::printf("FcsService::checkin: %.2f GB/s (%.3f s)\n", oursRate, bench::median(ours));
    std::printf("curl -F:             %.2f GB/s (%.3f s)\n", curlRate, bench::median(curl));
    std::printf("FcsService / curl:   %.0f%%\n", 100.0 * oursRate / curlRate);
    std::printf("client peak RSS:     %.1f MiB\n", static_cast<double>(usage.ru_maxrss) / 1024.0);
    std::printf("file server CPU:     %.2f ns/byte (user + system, both clients' check-ins)\n",
                serverCpu * 1e9 / (static_cast<double>(bytes) * 2 * rounds));

    std::filesystem::remove_all(work);
    return 0;
}
