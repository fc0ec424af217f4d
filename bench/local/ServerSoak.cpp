// Soak run against the lithmar-local program:
//
//   local_server_soak <path to lithmar-local> [requests=1000000] [connections=10000]
//
// Sends `requests` GETs over a few kept-alive connections, printing the
// server's resident size every 100000, then opens and closes `connections`
// connections (one GET each, five hundred open at a time) and prints the
// resident size after them. The request log stays off, as in a program a
// user leaves running.

#include "../common/Measures.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <iostream>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

namespace {

constexpr int kClientThreads = 4;
constexpr std::size_t kReportEvery = 100000;
constexpr std::size_t kBurstBatch = 500;
const std::string kRequest = "GET /lithmar-xchng/soak HTTP/1.1\r\nHost: 127.0.0.1\r\n\r\n";

struct Program {
    pid_t pid = -1;
    std::uint16_t port = 0;
};

// Starts the program on a free port and reads the port from its start line.
Program startProgram(const char* path)
{
    int out[2];
    if (pipe(out) != 0) {
        throw std::runtime_error("cannot open a pipe");
    }
    Program program;
    program.pid = fork();
    if (program.pid == 0) {
        dup2(out[1], STDOUT_FILENO);
        close(out[0]);
        execl(path, path, "--port", "0", "--no-poll", static_cast<char*>(nullptr));
        _exit(127);
    }
    close(out[1]);
    std::string line;
    char c;
    while (read(out[0], &c, 1) == 1 && c != '\n') {
        line += c;
    }
    close(out[0]);
    const auto colon = line.rfind(':', line.find(" (") == std::string::npos ? line.size() : line.find(" ("));
    if (line.find("listening on") == std::string::npos || colon == std::string::npos) {
        throw std::runtime_error("the program did not start: \"" + line + "\"");
    }
    program.port = static_cast<std::uint16_t>(std::stoi(line.substr(colon + 1)));
    return program;
}

int connectTo(std::uint16_t port)
{
    const int fd = socket(AF_INET, SOCK_STREAM, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(port);
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    if (fd < 0 || connect(fd, reinterpret_cast<sockaddr*>(&address), sizeof address) != 0) {
        throw std::runtime_error("cannot connect to the program");
    }
    const int on = 1;
    setsockopt(fd, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
    return fd;
}

// Sends one GET and reads its answer (head and Content-Length body).
void exchange(int fd, std::string& buffer)
{
    if (send(fd, kRequest.data(), kRequest.size(), MSG_NOSIGNAL) != static_cast<ssize_t>(kRequest.size())) {
        throw std::runtime_error("send failed");
    }
    buffer.clear();
    std::size_t needed = std::string::npos;
    char chunk[16384];
    for (;;) {
        if (needed == std::string::npos) {
            const auto end = buffer.find("\r\n\r\n");
            if (end != std::string::npos) {
                const auto at = buffer.find("Content-Length: ");
                const std::size_t length = at == std::string::npos ? 0 : std::stoul(buffer.substr(at + 16));
                needed = end + 4 + length;
            }
        }
        if (needed != std::string::npos && buffer.size() >= needed) {
            return;
        }
        const ssize_t got = recv(fd, chunk, sizeof chunk, 0);
        if (got <= 0) {
            throw std::runtime_error("the connection closed mid-answer");
        }
        buffer.append(chunk, static_cast<std::size_t>(got));
    }
}

} // namespace

int main(int argc, char** argv)
{
    if (argc < 2) {
        std::cerr << "usage: local_server_soak <path to lithmar-local> [requests] [connections]\n";
        return 2;
    }
    const std::size_t requests = argc > 2 ? std::stoul(argv[2]) : 1000000;
    const std::size_t connections = argc > 3 ? std::stoul(argv[3]) : 10000;
    const Program program = startProgram(argv[1]);
    int status = 0;
    try {
        std::printf("requests  RSS (MiB)\n%8d  %9.1f\n", 0, bench::statusField("VmRSS:", program.pid) / 1024.0);
        std::atomic<std::size_t> done{0};
        const auto start = std::chrono::steady_clock::now();
        std::vector<std::thread> clients;
        for (int t = 0; t < kClientThreads; ++t) {
            clients.emplace_back([&] {
                const int fd = connectTo(program.port);
                std::string buffer;
                for (;;) {
                    const std::size_t n = done.fetch_add(1) + 1;
                    if (n > requests) {
                        break;
                    }
                    exchange(fd, buffer);
                    if (n % kReportEvery == 0) {
                        // Reported in order by whichever thread reaches it.
                        std::printf("%8zu  %9.1f\n", n, bench::statusField("VmRSS:", program.pid) / 1024.0);
                    }
                }
                close(fd);
            });
        }
        for (auto& client : clients) {
            client.join();
        }
        const double seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
        std::printf("throughput: %.0f requests/s (%zu in %.1f s, %d kept-alive connections)\n",
                    static_cast<double>(requests) / seconds, requests, seconds, kClientThreads);

        std::string buffer;
        for (std::size_t opened = 0; opened < connections; opened += kBurstBatch) {
            std::vector<int> batch;
            for (std::size_t i = opened; i < std::min(connections, opened + kBurstBatch); ++i) {
                batch.push_back(connectTo(program.port));
            }
            for (const int fd : batch) {
                exchange(fd, buffer);
            }
            for (const int fd : batch) {
                close(fd);
            }
        }
        std::this_thread::sleep_for(std::chrono::seconds(1));
        std::printf("after %zu connections opened and closed: %.1f MiB\n", connections,
                    bench::statusField("VmRSS:", program.pid) / 1024.0);
    } catch (const std::exception& e) {
        std::cerr << "soak failed: " << e.what() << '\n';
        status = 1;
    }
    kill(program.pid, SIGTERM);
    waitpid(program.pid, nullptr, 0);
    return status;
}
