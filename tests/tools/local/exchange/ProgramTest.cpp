// lithmar-local itself, as a separate process: it prints where it listens,
// serves, ends with 0 on SIGTERM or SIGINT, and says why it cannot start.

#include <tests/support/Platform.h>

#include <gmock/gmock.h>

#include <csignal>
#include <cstdio>
#include <regex>

#include <poll.h>
#include <sys/wait.h>
#include <unistd.h>

namespace lithmar::test {
namespace {

using ::testing::HasSubstr;

// The program with its output (standard output and error) read through a pipe.
// Reads give up after 30 s, which only a broken program reaches, so that no
// test hangs.
class Program {
public:
    explicit Program(std::string arguments)
    {
        if (arguments.find("--poll-port") == std::string::npos) {
            arguments += " --no-poll"; // port 8080 is for the tests that take it in turn
        }
        // The shell tells its process id, which the program then takes over.
        m_pipe = popen(("echo $$; exec '" LITHMAR_LOCAL_PROGRAM "' " + arguments + " 2>&1").c_str(), "r");
        m_pid = std::stoi(line());
        m_output.clear();
    }
    ~Program()
    {
        if (m_pipe != nullptr) {
            kill(m_pid, SIGKILL);
            pclose(m_pipe);
        }
    }

    // The next line of output; "" at the end.
    std::string line()
    {
        std::string text;
        pollfd output{fileno(m_pipe), POLLIN, 0};
        for (char c;
             (text.empty() || text.back() != '\n') && poll(&output, 1, 30000) == 1 && read(output.fd, &c, 1) == 1;) {
            text += c;
        }
        m_output += text;
        return text;
    }
    const std::string& output() const { return m_output; }

    // The port of the start line, which names the same port twice; 0 when the line is wrong.
    std::uint16_t listeningPort()
    {
        const std::string first = line();
        std::smatch match;
        const bool started =
            std::regex_match(first, match,
                             std::regex(R"(lithmar-local listening on http://127\.0\.0\.1:(\d+) )"
                                        R"(\(data exchange: http://127\.0\.0\.1:\1/lithmar-xchng\)\n)"));
        EXPECT_TRUE(started) << "unexpected first line: " << first;
        return started ? static_cast<std::uint16_t>(std::stoi(match[1])) : 0;
    }

    // The exit code after `signal` (0: none) once the output ends; -1 when the program did not end normally.
    int exitCode(int signal = 0)
    {
        if (signal != 0) {
            kill(m_pid, signal);
        }
        while (!line().empty()) {
        }
        kill(m_pid, SIGKILL); // no effect on a program that has ended
        const int status = pclose(m_pipe);
        m_pipe = nullptr;
        return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    }

private:
    FILE* m_pipe = nullptr;
    pid_t m_pid = 0;
    std::string m_output;
};

TEST(Program, ServesOnTheReportedPortStopsCleanlyOnSignalsAndSaysWhyItCannotStart)
{
    Program program("--port 0 --queue-capacity 3 --job-workers 1 --job-delay 10");
    const std::uint16_t port = program.listeningPort();
    ASSERT_NE(port, 0);
    EXPECT_EQ(exchangeGet(port, "/common/crs/v1").json()["result"], "OK");
    EXPECT_EQ(program.exitCode(SIGTERM), 0);
    EXPECT_THAT(program.output(), ::testing::EndsWith(")\nlithmar-local stopped\n"));

    Program interrupted("--port 0");
    ASSERT_NE(interrupted.listeningPort(), 0);
    EXPECT_EQ(interrupted.exitCode(SIGINT), 0);

    Program help("--help");
    EXPECT_EQ(help.exitCode(), 0);
    EXPECT_THAT(help.output(), HasSubstr("--data-dir"));
    Program unknown("--colour blue");
    EXPECT_NE(unknown.exitCode(), 0);
    EXPECT_THAT(unknown.output(), HasSubstr("--colour"));

    Program first("--port 0");
    const std::string taken = std::to_string(first.listeningPort());
    Program poll("--port 0 --poll-port " + taken);
    EXPECT_EQ(poll.exitCode(), 1);
    EXPECT_THAT(poll.output(), ::testing::ContainsRegex("lithmar-local: .* port " + taken + " is taken by another"));
    EXPECT_EQ(first.exitCode(SIGTERM), 0);
}

} // namespace
} // namespace lithmar::test
