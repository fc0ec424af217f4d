#include "TinyProxy.h"

#include <boost/asio/connect.hpp>
#include <boost/asio/io_context.hpp>
#include <boost/asio/ip/tcp.hpp>

#include <chrono>
#include <csignal>
#include <fstream>
#include <stdexcept>
#include <thread>

#include <sys/wait.h>
#include <unistd.h>

namespace lithmar::test {
namespace {

namespace asio = boost::asio;
using tcp = asio::ip::tcp;

constexpr const char* kProgram = "/usr/bin/tinyproxy";

std::uint16_t freePort()
{
    asio::io_context io;
    tcp::acceptor acceptor(io, tcp::endpoint(asio::ip::make_address("127.0.0.1"), 0));
    return acceptor.local_endpoint().port();
}

bool accepts(std::uint16_t port)
{
    asio::io_context io;
    tcp::socket socket(io);
    boost::system::error_code error;
    socket.connect(tcp::endpoint(asio::ip::make_address("127.0.0.1"), port), error);
    return !error;
}

} // namespace

bool TinyProxy::available()
{
    return ::access(kProgram, X_OK) == 0;
}

TinyProxy::TinyProxy(const std::filesystem::path& workDirectory) : m_port(freePort())
{
    const std::string configuration = (workDirectory / "tinyproxy.conf").string();
    std::ofstream(configuration) << "Port " << m_port << "\nListen 127.0.0.1\nTimeout 60\nMaxClients 20\n"
                                 << "Allow 127.0.0.1\nBasicAuth " << kUser << " " << kPassword
                                 << "\nLogLevel Critical\n";
    m_pid = ::fork();
    if (m_pid == 0) {
        ::execl(kProgram, kProgram, "-d", "-c", configuration.c_str(), static_cast<char*>(nullptr));
        ::_exit(127);
    }
    if (m_pid < 0) {
        throw std::runtime_error("cannot start tinyproxy: fork failed");
    }
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(10);
    while (!accepts(m_port)) {
        int status = 0;
        if (::waitpid(m_pid, &status, WNOHANG) == m_pid) {
            m_pid = -1;
            throw std::runtime_error("tinyproxy exited at once; is port " + std::to_string(m_port) + " taken?");
        }
        if (std::chrono::steady_clock::now() > deadline) {
            throw std::runtime_error("tinyproxy did not listen on port " + std::to_string(m_port) + " within 10 s");
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
    }
}

TinyProxy::~TinyProxy()
{
    if (m_pid > 0) {
        ::kill(m_pid, SIGTERM);
        int status = 0;
        ::waitpid(m_pid, &status, 0);
    }
}

std::string TinyProxy::url() const
{
    return "http://127.0.0.1:" + std::to_string(m_port);
}

} // namespace lithmar::test
