// lithmar-local itself: started as a separate process, it prints where it
// listens, serves, and ends with 0 on SIGTERM or SIGINT.

#include "HttpCall.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <optional>
#include <regex>
#include <stdexcept>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include <fcntl.h>
#include <poll.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

extern char** environ;

namespace lithmar::local::testing {
namespace {

// Limits that only a broken program reaches; they keep the test from hanging.
constexpr int kOutputWaitMs = 30000;
constexpr auto kExitWait = std::chrono::seconds(30);

// The program with its standard output (and error) on a pipe.
class Program {
public:
    explicit Program(const std::vector<std::string>& arguments)
    {
        int pipeEnds[2];
        if (pipe2(pipeEnds, O_CLOEXEC) != 0) {
            throw std::runtime_error("pipe failed");
        }
        posix_spawn_file_actions_t actions;
        posix_spawn_file_actions_init(&actions);
        posix_spawn_file_actions_adddup2(&actions, pipeEnds[1], STDOUT_FILENO);
        posix_spawn_file_actions_adddup2(&actions, pipeEnds[1], STDERR_FILENO);
        std::vector<std::string> all{LITHMAR_LOCAL_PROGRAM};
        all.insert(all.end(), arguments.begin(), arguments.end());
        // Port 8080 is for the tests that take it in turn.
        if (std::find(arguments.begin(), arguments.end(), "--poll-port") == arguments.end()) {
            all.push_back("--no-poll");
        }
        std::vector<char*> argv;
        for (std::string& argument : all) {
            argv.push_back(argument.data());
        }
        argv.push_back(nullptr);
        const int error = posix_spawn(&m_pid, LITHMAR_LOCAL_PROGRAM, &actions, nullptr, argv.data(), environ);
        posix_spawn_file_actions_destroy(&actions);
        close(pipeEnds[1]);
        m_output = pipeEnds[0];
        if (error != 0) {
            close(m_output);
            throw std::runtime_error("cannot start " LITHMAR_LOCAL_PROGRAM);
        }
    }

    ~Program()
    {
        if (!m_exitStatus) {
            kill(m_pid, SIGKILL);
            waitpid(m_pid, nullptr, 0);
        }
        close(m_output);
    }

    // The next line of output; "" when the output ended or stayed silent for
    // kOutputWaitMs.
    std::string readLine()
    {
        for (;;) {
            const auto newline = m_pending.find('\n');
            if (newline != std::string::npos) {
                std::string line = m_pending.substr(0, newline);
                m_pending.erase(0, newline + 1);
                return line;
            }
            if (!readMore()) {
                return std::exchange(m_pending, {});
            }
        }
    }

    // Everything until the output ends (or stays silent for kOutputWaitMs).
    std::string readToEnd()
    {
        while (readMore()) {
        }
        return std::exchange(m_pending, {});
    }

    void signal(int number) { kill(m_pid, number); }

    // The exit code, or -1 when the program did not end normally in time.
    int waitForExit()
    {
        const auto deadline = std::chrono::steady_clock::now() + kExitWait;
        while (std::chrono::steady_clock::now() < deadline) {
            int status = 0;
            if (waitpid(m_pid, &status, WNOHANG) == m_pid) {
                m_exitStatus = status;
                return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
            }
            std::this_thread::sleep_for(std::chrono::milliseconds(10));
        }
        return -1;
    }

private:
    // False when the output ended or stayed silent for kOutputWaitMs.
    bool readMore()
    {
        pollfd ready{m_output, POLLIN, 0};
        if (poll(&ready, 1, kOutputWaitMs) <= 0) {
            return false;
        }
        char chunk[4096];
        const ssize_t size = read(m_output, chunk, sizeof chunk);
        if (size <= 0) {
            return false;
        }
        m_pending.append(chunk, static_cast<std::size_t>(size));
        return true;
    }

    pid_t m_pid = 0;
    int m_output = -1;
    std::string m_pending;
    std::optional<int> m_exitStatus;
};

const std::regex kListening(
    R"(lithmar-local listening on http://127\.0\.0\.1:(\d+) \(data exchange: http://127\.0\.0\.1:(\d+)/lithmar-xchng\))");

std::uint16_t listeningPort(Program& program)
{
    const std::string line = program.readLine();
    std::smatch match;
    if (!std::regex_match(line, match, kListening) || match[1] != match[2]) {
        ADD_FAILURE() << "unexpected first line: " << line;
        return 0;
    }
    return static_cast<std::uint16_t>(std::stoi(match[1]));
}

TEST(Program, ServesOnTheReportedPortAndStopsCleanlyOnSigterm)
{
    Program program({"--port", "0", "--queue-capacity", "3", "--job-workers", "1", "--job-delay", "10"});
    const std::uint16_t port = listeningPort(program);
    ASSERT_NE(port, 0);
    const HttpReply reply = exchangeGet(port, "/common/crs/v1");
    EXPECT_EQ(reply.status, 200);
    EXPECT_EQ(reply.json()["result"], "OK");
    program.signal(SIGTERM);
    EXPECT_EQ(program.readLine(), "lithmar-local stopped");
    EXPECT_EQ(program.waitForExit(), 0);
}

TEST(Program, StopsCleanlyOnSigint)
{
    Program program({"--port", "0"});
    ASSERT_NE(listeningPort(program), 0);
    program.signal(SIGINT);
    EXPECT_EQ(program.waitForExit(), 0);
}

TEST(Program, ExplainsEachOptionInItsHelp)
{
    Program program({"--help"});
    const std::string help = program.readToEnd();
    for (const char* option : {"--port", "--address", "--data-dir", "--request-log", "--queue-capacity",
                               "--job-workers", "--job-delay", "--poll-port", "--no-poll", "--help"}) {
        EXPECT_THAT(help, ::testing::HasSubstr(option));
    }
    EXPECT_EQ(program.waitForExit(), 0);
}

TEST(Program, RefusesBadOptionsAndTakenPortsWithAMessage)
{
    Program unknown({"--colour", "blue"});
    EXPECT_THAT(unknown.readLine(), ::testing::HasSubstr("--colour"));
    EXPECT_NE(unknown.waitForExit(), 0);

    Program first({"--port", "0"});
    const std::uint16_t port = listeningPort(first);
    ASSERT_NE(port, 0);
    Program second({"--port", std::to_string(port)});
    EXPECT_THAT(second.readLine(), ::testing::HasSubstr("lithmar-local: "));
    EXPECT_EQ(second.waitForExit(), 1);
    first.signal(SIGTERM);
    EXPECT_EQ(first.waitForExit(), 0);
}

TEST(Program, SaysWhenThePollPortIsTakenByAnotherProcess)
{
    Program first({"--port", "0"});
    const std::uint16_t port = listeningPort(first);
    ASSERT_NE(port, 0);
    Program second({"--port", "0", "--poll-port", std::to_string(port)});
    EXPECT_THAT(second.readLine(),
                ::testing::HasSubstr("port " + std::to_string(port) + " is taken by another process"));
    EXPECT_EQ(second.waitForExit(), 1);
    first.signal(SIGTERM);
    EXPECT_EQ(first.waitForExit(), 0);
}

} // namespace
} // namespace lithmar::local::testing
