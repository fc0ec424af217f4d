#pragma once

#include <tools/local/server/detail/ServerContext.h>

#include <boost/asio/io_context.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/steady_timer.hpp>

#include <chrono>
#include <cstdint>
#include <memory>
#include <vector>

namespace lithmar::local::detail {

// Accepts connections and starts a Connection for each, on the io_contexts
// of the server's threads in turn.
class Listener : public std::enable_shared_from_this<Listener> {
public:
    // Binds and listens right away, so that the port is known and taken when
    // the constructor returns. Throws std::system_error naming the address.
    // The listener itself runs on the first of `connectionContexts`.
    // Accepts on `acceptContext`, which runs no handler, so that a handler
    // that blocks never holds up the accepting of new connections.
    Listener(boost::asio::io_context& acceptContext, std::vector<boost::asio::io_context*> connectionContexts,
             const boost::asio::ip::tcp::endpoint& endpoint, ServerContext& context);

    void start();
    std::uint16_t port() const;

private:
    void acceptNext();
    void waitThenAccept(std::chrono::milliseconds pause);
    void onAcceptFailed(const boost::system::error_code& error);
    void startConnection(boost::asio::ip::tcp::socket socket);

    const std::vector<boost::asio::io_context*> m_connectionContexts;
    std::size_t m_nextContext = 0; // only touched by the listener's own thread
    boost::asio::ip::tcp::acceptor m_acceptor;
    boost::asio::steady_timer m_retryTimer;
    ServerContext& m_context;
    // Only touched by the listener's own thread, like m_nextContext.
    std::chrono::milliseconds m_retryPause{50};
    bool m_capReported = false;
    bool m_outOfDescriptorsReported = false;
};

} // namespace lithmar::local::detail
