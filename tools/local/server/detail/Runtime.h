#pragma once

#include <tools/local/server/detail/Listener.h>
#include <tools/local/server/detail/ServerContext.h>

#include <boost/asio/executor_work_guard.hpp>
#include <boost/asio/io_context.hpp>

#include <cstdint>
#include <memory>
#include <thread>
#include <vector>

namespace lithmar::local::detail {

// One run of a server: an io_context per thread, the listener and the
// threads.
//
// Each connection lives on one thread's io_context. A single io_context run
// by several threads hands the work of a connection from thread to thread at
// nearly every read (Asio's leader/followers), which costs an upload a third
// more CPU in thread switches; with a thread per connection's io_context the
// reads of a connection follow each other on one thread.
//
// Destruction stops everything: destroying an io_context destroys its
// pending operations, and with them its connections.
class Runtime {
public:
    // Listens on `port` (0: a free one) and starts the threads.
    Runtime(ServerContext& context, std::uint16_t port);
    ~Runtime();

    Runtime(const Runtime&) = delete;
    Runtime& operator=(const Runtime&) = delete;

    std::uint16_t port() const { return m_port; }

private:
    using WorkGuard = boost::asio::executor_work_guard<boost::asio::io_context::executor_type>;

    static void runLoop(boost::asio::io_context& io);

    ServerContext& m_context;
    std::vector<std::unique_ptr<boost::asio::io_context>> m_contexts;
    // Keeps the threads of io_contexts without connections running.
    std::vector<WorkGuard> m_idleGuards;
    std::shared_ptr<Listener> m_listener;
    std::uint16_t m_port = 0;
    std::vector<std::thread> m_threads;
};

} // namespace lithmar::local::detail
