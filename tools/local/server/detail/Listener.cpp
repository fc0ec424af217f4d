#include <tools/local/server/detail/Listener.h>

#include <tools/local/server/detail/Connection.h>

#include <algorithm>
#include <cerrno>
#include <iostream>
#include <system_error>

namespace lithmar::local::detail {
namespace {

namespace asio = boost::asio;
using tcp = asio::ip::tcp;

// After a failed accept (out of file descriptors, say), trying again at once
// would spin: the pause doubles up to a second while accepting keeps failing.
constexpr std::chrono::milliseconds kAcceptRetryPause{50};
constexpr std::chrono::milliseconds kMaxAcceptRetryPause{1000};
// How often a server at its connection cap looks whether one has closed.
constexpr std::chrono::milliseconds kCapPollPause{10};

bool outOfDescriptors(const boost::system::error_code& error)
{
    return error == asio::error::no_descriptors || error.value() == ENFILE;
}

void check(const boost::system::error_code& error, const char* step, const tcp::endpoint& endpoint)
{
    if (error) {
        throw std::system_error(error.value(), std::system_category(),
                                std::string("cannot ") + step + " " + endpoint.address().to_string() + ":" +
                                    std::to_string(endpoint.port()));
    }
}

} // namespace

Listener::Listener(asio::io_context& acceptContext, std::vector<asio::io_context*> connectionContexts,
                   const tcp::endpoint& endpoint, ServerContext& context)
    : m_connectionContexts(std::move(connectionContexts)), m_acceptor(acceptContext), m_retryTimer(acceptContext),
      m_context(context)
{
    boost::system::error_code error;
    m_acceptor.open(endpoint.protocol(), error);
    check(error, "open a socket for", endpoint);
    // Lets a restarted server take its port back while connections of the
    // previous run are still in TIME_WAIT.
    m_acceptor.set_option(tcp::acceptor::reuse_address(true), error);
    check(error, "set SO_REUSEADDR for", endpoint);
    m_acceptor.bind(endpoint, error);
    check(error, "bind to", endpoint);
    m_acceptor.listen(asio::socket_base::max_listen_connections, error);
    check(error, "listen on", endpoint);
}

void Listener::start()
{
    acceptNext();
}

std::uint16_t Listener::port() const
{
    return m_acceptor.local_endpoint().port();
}

void Listener::onAcceptFailed(const boost::system::error_code& error)
{
    // Said once: the condition lasts as long as connections stay open, and
    // the connections already open are served meanwhile.
    if (outOfDescriptors(error)) {
        if (!m_outOfDescriptorsReported) {
            m_outOfDescriptorsReported = true;
            std::cerr << "lithmar-local: accepting a connection failed: " << error.message()
                      << "; new connections wait until open ones close (raise the limit with ulimit -n, or lower "
                         "--max-connections)\n";
        }
    } else {
        std::cerr << "lithmar-local: accepting a connection failed: " << error.message() << '\n';
    }
    waitThenAccept(m_retryPause);
    m_retryPause = std::min(m_retryPause * 2, kMaxAcceptRetryPause);
}

void Listener::startConnection(tcp::socket socket)
{
    const std::uint64_t serial = ++m_context.acceptedConnections;
    if (auto rawBytes = m_context.faults.takeRawConnection()) {
        std::make_shared<Connection<PlainStream>>(PlainStream(std::move(socket)), m_context, serial)
            ->startWithRawBytes(std::move(*rawBytes));
    } else if (m_context.options.tls) {
        std::make_shared<Connection<TlsStream>>(TlsStream(std::move(socket), *m_context.options.tls), m_context, serial)
            ->start();
    } else {
        std::make_shared<Connection<PlainStream>>(PlainStream(std::move(socket)), m_context, serial)->start();
    }
}

void Listener::waitThenAccept(std::chrono::milliseconds pause)
{
    m_retryTimer.expires_after(pause);
    m_retryTimer.async_wait([self = shared_from_this()](boost::system::error_code error) {
        if (!error) {
            self->acceptNext();
        }
    });
}

void Listener::acceptNext()
{
    // New connections wait in the backlog while the cap is reached.
    const std::size_t maxConnections = m_context.options.maxConnections;
    if (m_context.openConnections.load() >= maxConnections) {
        if (!m_capReported) {
            m_capReported = true;
            std::cerr << "lithmar-local: " << maxConnections
                      << " connections are open, the most allowed; new ones wait until others close "
                         "(--max-connections raises the cap)\n";
        }
        waitThenAccept(kCapPollPause);
        return;
    }
    asio::io_context& connectionContext = *m_connectionContexts[m_nextContext];
    m_nextContext = (m_nextContext + 1) % m_connectionContexts.size();
    m_acceptor.async_accept(connectionContext,
                            [self = shared_from_this()](boost::system::error_code error, tcp::socket socket) {
                                if (error == asio::error::operation_aborted) {
                                    return;
                                }
                                if (error) {
                                    self->onAcceptFailed(error);
                                    return;
                                }
                                self->m_retryPause = kAcceptRetryPause;
                                self->startConnection(std::move(socket));
                                self->acceptNext();
                            });
}

} // namespace lithmar::local::detail
