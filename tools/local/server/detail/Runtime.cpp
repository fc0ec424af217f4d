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

Runtime::Runtime(ServerContext& context, std::uint16_t port) : m_context(context)
{
    // One more io_context than connection threads: the first only accepts.
    const std::size_t threads = std::max<std::size_t>(context.options.threads, 1) + 1;
    std::vector<boost::asio::io_context*> contexts;
    for (std::size_t i = 0; i < threads; ++i) {
        // One thread per io_context: Asio may skip the wake-ups of others.
        m_contexts.push_back(std::make_unique<boost::asio::io_context>(1));
        m_idleGuards.push_back(boost::asio::make_work_guard(*m_contexts.back()));
        contexts.push_back(m_contexts.back().get());
    }
    m_listener = std::make_shared<Listener>(
        *contexts.front(), std::vector<boost::asio::io_context*>(contexts.begin() + 1, contexts.end()),
        boost::asio::ip::tcp::endpoint(listenAddress(context.options.address), port), context);
    m_port = m_listener->port();
    m_listener->start();
    for (const auto& io : m_contexts) {
        m_threads.emplace_back([&io = *io] { runLoop(io); });
    }
}

Runtime::~Runtime()
{
    for (const auto& io : m_contexts) {
        io->stop();
    }
    for (std::thread& thread : m_threads) {
        thread.join();
    }
    // From here on, a WebSocket session's send() no longer reaches the
    // io_contexts about to be destroyed.
    m_context.webSockets.detachAll();
    // The listener and the connections go with the io_contexts' pending
    // operations, which they destroy last.
    m_listener.reset();
}

void Runtime::runLoop(boost::asio::io_context& io)
{
    // An exception that escapes a handler ends only that handler's
    // connection: the server goes on serving the others.
    for (;;) {
        try {
            io.run();
            return;
        } catch (const std::exception& e) {
            std::cerr << "lithmar-local: unexpected error in a connection: " << e.what() << '\n';
        }
    }
}

} // namespace lithmar::local::detail
