#pragma once

#include <tools/local/server/detail/ServerContext.h>

#include <boost/asio/io_context.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/steady_timer.hpp>

#include <cstdint>
#include <memory>

namespace lithmar::local::detail {

// Accepts connections and starts a Connection for each.
class Listener : public std::enable_shared_from_this<Listener> {
public:
    // Binds and listens right away, so that the port is known and taken when
    // the constructor returns. Throws std::system_error naming the address.
    Listener(boost::asio::io_context& io, const boost::asio::ip::tcp::endpoint& endpoint, ServerContext& context);

    void start();
    std::uint16_t port() const;

private:
    void acceptNext();

    boost::asio::io_context& m_io;
    boost::asio::ip::tcp::acceptor m_acceptor;
    boost::asio::steady_timer m_retryTimer;
    ServerContext& m_context;
};

} // namespace lithmar::local::detail
