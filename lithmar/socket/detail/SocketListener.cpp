#include <lithmar/socket/detail/SocketListener.h>

#include <lithmar/socket/detail/Backoff.h>
#include <lithmar/socket/detail/Frames.h>

#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/ssl.hpp>
#include <boost/asio/steady_timer.hpp>
#include <boost/beast/core.hpp>
#include <boost/beast/ssl.hpp>
#include <boost/beast/websocket.hpp>
#include <boost/beast/websocket/ssl.hpp>

#include <mutex>
#include <thread>
#include <type_traits>

namespace com::vantorel::lithmar::detail {
namespace {

namespace beast = boost::beast;
namespace http = beast::http;
namespace websocket = beast::websocket;
namespace net = boost::asio;
namespace ssl = net::ssl;
using tcp = net::ip::tcp;
using namespace std::chrono_literals;

using PlainWebSocket = websocket::stream<beast::tcp_stream>;
using TlsWebSocket = websocket::stream<beast::ssl_stream<beast::tcp_stream>>;

// Connecting, TLS, the upgrade and the closing handshake each get this long.
constexpr auto kHandshakeTimeout = 10s;
// A connection silent for half of this is pinged; silent for all of it, it
// is taken for dead and replaced.
constexpr auto kIdleTimeout = 30s;
// Close codes after which trying again cannot help.
constexpr unsigned short kProtocolRefused = 4400;
constexpr unsigned short kCredentialsRefused = 4401;

// What a connection attempt reports to its listener, on the listener's thread.
class AttemptEvents {
public:
    virtual void received(const std::string& text) = 0;
    // The connection has ended; `closeCode` is the service's close code, 0
    // when it ended without one.
    virtual void ended(unsigned short closeCode) = 0;

protected:
    ~AttemptEvents() = default;
};

class Attempt {
public:
    virtual ~Attempt() = default;
    virtual void run() = 0;
    // Closes the connection (with the closing handshake when it is open);
    // ended() follows.
    virtual void close() = 0;
};

// One connection, from resolving the host to its end. Holds itself alive
// through its pending handlers.
template <class WebSocket>
class Connection final : public Attempt, public std::enable_shared_from_this<Connection<WebSocket>> {
public:
    static constexpr bool kTls = std::is_same_v<WebSocket, TlsWebSocket>;

    Connection(net::io_context& io, ssl::context& tls, const SocketEndpoint& endpoint, std::string hello,
               AttemptEvents& events)
        : m_resolver(io), m_socket(makeSocket(io, tls)), m_endpoint(endpoint), m_hello(std::move(hello)),
          m_events(events)
    {
    }

    void run() override
    {
        m_resolver.async_resolve(
            m_endpoint.host, m_endpoint.port,
            [self = this->shared_from_this()](beast::error_code error, tcp::resolver::results_type addresses) {
                self->resolved(error, addresses);
            });
    }

    void close() override
    {
        if (m_closing || m_ended) {
            return;
        }
        m_closing = true;
        if (!m_open) {
            shutDown();
        } else if (!m_writing) {
            sendClose();
        }
        // Otherwise the hello's write handler sends the close.
    }

private:
    static WebSocket makeSocket(net::io_context& io, ssl::context& tls)
    {
        if constexpr (kTls) {
            return WebSocket(io, tls);
        } else {
            (void)tls;
            return WebSocket(io);
        }
    }

    void resolved(beast::error_code error, const tcp::resolver::results_type& addresses)
    {
        if (error || m_closing) {
            return end(error);
        }
        beast::get_lowest_layer(m_socket).expires_after(kHandshakeTimeout);
        beast::get_lowest_layer(m_socket).async_connect(
            addresses,
            [self = this->shared_from_this()](beast::error_code e, const tcp::endpoint&) { self->connected(e); });
    }

    void connected(beast::error_code error)
    {
        if (error || m_closing) {
            return end(error);
        }
        if constexpr (kTls) {
            auto& tls = m_socket.next_layer();
            // The name the server's certificate must show, also sent for
            // servers that host several names (SNI).
            SSL_set_tlsext_host_name(tls.native_handle(), m_endpoint.host.c_str());
            tls.set_verify_mode(ssl::verify_peer);
            tls.set_verify_callback(ssl::host_name_verification(m_endpoint.host));
            tls.async_handshake(ssl::stream_base::client,
                                [self = this->shared_from_this()](beast::error_code e) { self->secured(e); });
        } else {
            secured({});
        }
    }

    void secured(beast::error_code error)
    {
        if (error || m_closing) {
            return end(error);
        }
        beast::get_lowest_layer(m_socket).expires_never();
        m_socket.set_option(websocket::stream_base::timeout{kHandshakeTimeout, kIdleTimeout, true});
        m_socket.set_option(websocket::stream_base::decorator(
            [](websocket::request_type& request) { request.set(http::field::user_agent, "lithmar-socket"); }));
        const bool ipv6 = m_endpoint.host.find(':') != std::string::npos;
        const std::string host = (ipv6 ? "[" + m_endpoint.host + "]" : m_endpoint.host) + ":" + m_endpoint.port;
        m_socket.async_handshake(host, m_endpoint.target,
                                 [self = this->shared_from_this()](beast::error_code e) { self->upgraded(e); });
    }

    void upgraded(beast::error_code error)
    {
        if (error) {
            return end(error);
        }
        m_open = true;
        if (m_closing) {
            return sendClose();
        }
        m_socket.text(true);
        m_writing = true;
        m_socket.async_write(net::buffer(m_hello),
                             [self = this->shared_from_this()](beast::error_code e, std::size_t) { self->written(e); });
        read();
    }

    void written(beast::error_code error)
    {
        m_writing = false;
        if (error) {
            return end(error);
        }
        if (m_closing) {
            sendClose();
        }
    }

    void read()
    {
        m_socket.async_read(m_buffer,
                            [self = this->shared_from_this()](beast::error_code e, std::size_t) { self->arrived(e); });
    }

    void arrived(beast::error_code error)
    {
        if (error) {
            return end(error);
        }
        const std::string text = beast::buffers_to_string(m_buffer.data());
        m_buffer.consume(m_buffer.size());
        if (!m_closing) {
            m_events.received(text);
        }
        read();
    }

    void sendClose()
    {
        m_socket.async_close(websocket::close_code::normal,
                             [self = this->shared_from_this()](beast::error_code) { self->shutDown(); });
    }

    void shutDown()
    {
        m_resolver.cancel();
        beast::error_code ignored;
        beast::get_lowest_layer(m_socket).socket().close(ignored);
    }

    void end(beast::error_code error)
    {
        if (m_ended) {
            return;
        }
        m_ended = true;
        const unsigned short code = error == websocket::error::closed ? m_socket.reason().code : 0;
        shutDown();
        m_events.ended(code);
    }

    tcp::resolver m_resolver;
    WebSocket m_socket;
    const SocketEndpoint m_endpoint;
    const std::string m_hello;
    AttemptEvents& m_events;
    beast::flat_buffer m_buffer;
    bool m_open = false;
    bool m_writing = false;
    bool m_closing = false;
    bool m_ended = false;
};

class Listener final : public SocketListener, public AttemptEvents, public std::enable_shared_from_this<Listener> {
public:
    Listener(SocketEndpoint endpoint, std::string user, std::string ticket, NotificationCallback callback,
             Clock::time_point deadline, std::function<void(const SocketListener*)> stopped)
        : m_endpoint(std::move(endpoint)), m_user(std::move(user)), m_callback(callback), m_stopped(std::move(stopped)),
          m_ticket(std::move(ticket)), m_deadline(deadline)
    {
        if (m_endpoint.tls) {
            m_tls.set_default_verify_paths();
        }
    }

    void start()
    {
        net::post(m_io, [this] { connect(); });
        armDeadline();
        std::thread([self = shared_from_this()] { self->runThread(); }).detach();
    }

    bool extend(Clock::time_point deadline, const std::string& ticket) override
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        if (m_stopping) {
            return false;
        }
        m_deadline = std::max(m_deadline, deadline);
        m_ticket = ticket;
        return true;
    }

private:
    void runThread()
    {
        m_io.run();
        m_callback(nullptr);
        m_stopped(this);
    }

    void armDeadline()
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        m_deadlineTimer.expires_at(m_deadline);
        m_deadlineTimer.async_wait([this](beast::error_code error) {
            if (!error) {
                deadlineReached();
            }
        });
    }

    void deadlineReached()
    {
        {
            std::lock_guard<std::mutex> lock(m_mutex);
            if (Clock::now() < m_deadline) {
                m_deadlineTimer.expires_at(m_deadline);
                m_deadlineTimer.async_wait([this](beast::error_code error) {
                    if (!error) {
                        deadlineReached();
                    }
                });
                return;
            }
        }
        stop();
    }

    // Nothing new is started from here on; the thread ends once the current
    // connection has closed.
    void stop()
    {
        {
            std::lock_guard<std::mutex> lock(m_mutex);
            m_stopping = true;
        }
        m_deadlineTimer.cancel();
        m_retryTimer.cancel();
        if (m_connection) {
            m_connection->close();
        }
    }

    bool stopping()
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        return m_stopping;
    }

    void connect()
    {
        if (stopping()) {
            return;
        }
        std::string ticket;
        {
            std::lock_guard<std::mutex> lock(m_mutex);
            ticket = m_ticket;
        }
        std::string hello = helloFrame(m_user, ticket, m_lastIndex);
        if (m_endpoint.tls) {
            m_connection = std::make_shared<Connection<TlsWebSocket>>(m_io, m_tls, m_endpoint, std::move(hello), *this);
        } else {
            m_connection =
                std::make_shared<Connection<PlainWebSocket>>(m_io, m_tls, m_endpoint, std::move(hello), *this);
        }
        m_connection->run();
    }

    void received(const std::string& text) override
    {
        const auto frame = parseServiceFrame(text);
        if (!frame) {
            return; // a frame of a later version of the protocol
        }
        if (frame->kind == ServiceFrame::Kind::Welcome) {
            m_backoff.reset();
            return;
        }
        m_lastIndex = frame->index;
        m_callback(frame->message.c_str());
    }

    void ended(unsigned short closeCode) override
    {
        m_connection.reset();
        if (stopping()) {
            return;
        }
        if (closeCode == kCredentialsRefused || closeCode == kProtocolRefused) {
            return stop();
        }
        m_retryTimer.expires_after(m_backoff.next());
        m_retryTimer.async_wait([this](beast::error_code error) {
            if (!error) {
                connect();
            }
        });
    }

    const SocketEndpoint m_endpoint;
    const std::string m_user;
    const NotificationCallback m_callback;
    const std::function<void(const SocketListener*)> m_stopped;

    // Used on the listener's thread only.
    net::io_context m_io;
    ssl::context m_tls{ssl::context::tls_client};
    net::steady_timer m_retryTimer{m_io};
    std::shared_ptr<Attempt> m_connection;
    Backoff m_backoff{250ms, 8s};
    std::int64_t m_lastIndex = -1;

    // Shared with extend().
    std::mutex m_mutex;
    std::string m_ticket;
    Clock::time_point m_deadline;
    net::steady_timer m_deadlineTimer{m_io};
    bool m_stopping = false;
};

} // namespace

std::shared_ptr<SocketListener> SocketListener::start(SocketEndpoint endpoint, std::string user, std::string ticket,
                                                      NotificationCallback callback, Clock::time_point deadline,
                                                      std::function<void(const SocketListener*)> stopped)
{
    auto listener = std::make_shared<Listener>(std::move(endpoint), std::move(user), std::move(ticket), callback,
                                               deadline, std::move(stopped));
    listener->start();
    return listener;
}

} // namespace com::vantorel::lithmar::detail
