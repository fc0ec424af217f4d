#pragma once
// Runs a benchmark's server in a child process, so that what the benchmark
// measures of its own process (memory, CPU) is the client's alone, and the
// client and its peers (curl, wrk) meet the same server.

#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <cstdint>
#include <stdexcept>

namespace bench {

class ServerProcess {
public:
    // `serve` runs in the child: it starts a server and returns its port;
    // the child then waits until it is stopped. Call before any thread starts.
    template <typename Serve>
    explicit ServerProcess(Serve serve)
    {
        int channel[2];
        if (pipe(channel) != 0) {
            throw std::runtime_error("cannot open a pipe to the server process");
        }
        m_pid = fork();
        if (m_pid == 0) {
            const std::uint16_t port = serve();
            if (write(channel[1], &port, sizeof port) != sizeof port) {
                _exit(1);
            }
            pause();
            _exit(0);
        }
        if (read(channel[0], &m_port, sizeof m_port) != sizeof m_port) {
            throw std::runtime_error("the server process did not start");
        }
        close(channel[0]);
        close(channel[1]);
    }

    ~ServerProcess()
    {
        kill(m_pid, SIGTERM);
        waitpid(m_pid, nullptr, 0);
    }

    ServerProcess(const ServerProcess&) = delete;
    ServerProcess& operator=(const ServerProcess&) = delete;

    std::uint16_t port() const { return m_port; }
    // For reading the server's own CPU time (/proc/<pid>/stat).
    pid_t pid() const { return m_pid; }

private:
    pid_t m_pid = -1;
    std::uint16_t m_port = 0;
};

} // namespace bench
