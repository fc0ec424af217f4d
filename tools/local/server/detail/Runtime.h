#pragma once

#include <tools/local/server/detail/Listener.h>
#include <tools/local/server/detail/ServerContext.h>

#include <boost/asio/io_context.hpp>

#include <cstdint>
#include <memory>
#include <thread>
#include <vector>

namespace lithmar::local::detail {

// One run of a server: the io_context, the listener and the threads. Its
// destruction stops everything: destroying the io_context destroys every
// pending operation, and with it every connection.
class Runtime {
public:
    // Listens on `port` (0: a free one) and starts the threads.
    Runtime(ServerContext& context, std::uint16_t port);
    ~Runtime();

    Runtime(const Runtime&) = delete;
    Runtime& operator=(const Runtime&) = delete;

    std::uint16_t port() const { return m_port; }

private:
    void runLoop();

    boost::asio::io_context m_io;
    std::shared_ptr<Listener> m_listener;
    std::uint16_t m_port = 0;
    std::vector<std::thread> m_threads;
};

} // namespace lithmar::local::detail
