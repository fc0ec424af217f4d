#include <tools/local/server/detail/Runtime.h>

#include <boost/asio/ip/address.hpp>

#include <algorithm>
#include <exception>
#include <iostream>
#include <stdexcept>

namespace lithmar::local::detail {
namespace {

boost::asio::ip::address listenAddress(const std::string& text)
{
    boost::system::error_code error;
    const auto address = boost::asio::ip::make_address(text, error);
    if (error) {
        throw std::invalid_argument("invalid listen address \"" + text + "\": " + error.message());
    }
    return address;
}

} // namespace

Runtime::Runtime(ServerContext& context, std::uint16_t port)
    : m_io(static_cast<int>(std::max<std::size_t>(context.options.threads, 1)))
{
    m_listener = std::make_shared<Listener>(m_io, boost::asio::ip::tcp::endpoint(listenAddress(context.options.address), port),
                                            context);
    m_port = m_listener->port();
    m_listener->start();
    for (std::size_t i = 0; i < std::max<std::size_t>(context.options.threads, 1); ++i) {
        m_threads.emplace_back([this] { runLoop(); });
    }
}

Runtime::~Runtime()
{
    m_io.stop();
    for (std::thread& thread : m_threads) {
        thread.join();
    }
    // The listener and the connections go with the io_context's pending
    // operations, which it destroys last.
    m_listener.reset();
}

void Runtime::runLoop()
{
    // The pending accept keeps run() going until stop(). An exception that
    // escapes a handler ends only that handler's connection: the server goes
    // on serving the others.
    for (;;) {
        try {
            m_io.run();
            return;
        } catch (const std::exception& e) {
            std::cerr << "lithmar-local: unexpected error in a connection: " << e.what() << '\n';
        }
    }
}

} // namespace lithmar::local::detail
