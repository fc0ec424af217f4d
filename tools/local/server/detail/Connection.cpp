#include <tools/local/server/detail/Connection.h>

#include <tools/local/server/AsciiText.h>
#include <tools/local/server/RequestFraming.h>
#include <tools/local/server/detail/WebSocketConnection.h>

#include <boost/asio/dispatch.hpp>
#include <boost/asio/write.hpp>
#include <boost/beast/http/write.hpp>
#include <boost/beast/websocket/rfc6455.hpp>

#include <algorithm>
#include <exception>
#include <filesystem>
#include <iostream>
#include <limits>
#include <string_view>
#include <type_traits>

namespace lithmar::local::detail {
namespace {

namespace asio = boost::asio;
namespace beast = boost::beast;
namespace http = beast::http;
namespace websocket = beast::websocket;
using tcp = asio::ip::tcp;

// Reads this large keep the cost per byte of big uploads low: one system call
// and one pass through the parser per MiB. (Beast's own read functions read
// at most 64 KiB at a time.)
constexpr std::size_t kReadSize = 1 << 20;
// Heads and small bodies are read in pieces this small, so that a connection
// waiting for its next request holds little memory.
constexpr std::size_t kHeadReadSize = 8 << 10;

// Before closing after a final answer, the server stops sending and reads
// (and drops) what the client still sends, for a while. Closing a socket with
// unread data resets the connection, and a reset can destroy the answer
// before the client has read it.
constexpr std::chrono::seconds kLingerTime{2};
constexpr std::size_t kMaxLingerBytes = 64 << 20;
constexpr std::size_t kLingerReadSize = 64 << 10;

template <class Stream> constexpr bool kIsTls = std::is_same_v<Stream, TlsStream>;

constexpr std::string_view kContinue = "HTTP/1.1 100 Continue\r\n\r\n";

std::string toString(beast::string_view text)
{
    return std::string(text.data(), text.size());
}

std::string endpointText(const tcp::socket& socket, bool local)
{
    beast::error_code error;
    const tcp::endpoint endpoint = local ? socket.local_endpoint(error) : socket.remote_endpoint(error);
    if (error) {
        return "unknown";
    }
    const auto address = endpoint.address();
    const std::string host = address.is_v6() ? "[" + address.to_string() + "]" : address.to_string();
    return host + ":" + std::to_string(endpoint.port());
}

bool asksToClose(const std::vector<Header>& headers)
{
    return std::any_of(headers.begin(), headers.end(), [](const Header& header) {
        return equalsIgnoringCase(header.name, "Connection") && equalsIgnoringCase(trimmed(header.value), "close");
    });
}

// The server frames every answer itself.
bool isFramingHeader(const Header& header)
{
    return equalsIgnoringCase(header.name, "Content-Length") || equalsIgnoringCase(header.name, "Transfer-Encoding");
}

} // namespace

template <class Stream>
Connection<Stream>::Connection(Stream stream, ServerContext& context, std::uint64_t serial)
    : m_stream(std::move(stream)), m_context(context), m_slot(context.openConnections), m_serial(serial),
      m_localAddress(endpointText(beast::get_lowest_layer(m_stream).socket(), true)),
      m_remoteAddress(endpointText(beast::get_lowest_layer(m_stream).socket(), false)),
      m_deadline(m_stream.get_executor()), m_pause(m_stream.get_executor())
{
}

template <class Stream> void Connection<Stream>::start()
{
    // Onto the connection's thread before touching the socket.
    asio::dispatch(m_stream.get_executor(), [self = this->shared_from_this()] {
        if constexpr (kIsTls<Stream>) {
            beast::get_lowest_layer(self->m_stream).expires_after(self->m_context.options.headTimeout);
            self->m_stream.async_handshake(asio::ssl::stream_base::server,
                                           [self](beast::error_code error) { self->onHandshake(error); });
        } else {
            self->readRequest();
        }
    });
}

template <class Stream> void Connection<Stream>::onHandshake(beast::error_code error)
{
    if (error) {
        std::cerr << "lithmar-local: TLS handshake with " << m_remoteAddress << " failed: " << error.message() << '\n';
        closeNow();
        return;
    }
    beast::get_lowest_layer(m_stream).expires_never();
    readRequest();
}

template <class Stream> void Connection<Stream>::startWithRawBytes(std::string bytes)
{
    m_outgoing = std::move(bytes);
    asio::dispatch(m_stream.get_executor(), [self = this->shared_from_this()] {
        // Straight onto the socket, under any TLS.
        asio::async_write(self->socket(), asio::buffer(self->m_outgoing),
                          [self](beast::error_code, std::size_t) { self->closeGracefully(); });
    });
}

template <class Stream> tcp::socket& Connection<Stream>::socket()
{
    return beast::get_lowest_layer(m_stream).socket();
}

template <class Stream> void Connection<Stream>::arm(Phase phase)
{
    const ServerOptions& options = m_context.options;
    m_armedPhase = phase;
    m_deadline.expires_after(phase == Phase::Head   ? options.headTimeout
                             : phase == Phase::Body ? options.bodyTimeout
                                                    : options.idleTimeout);
    // A weak pointer: a pending deadline must not keep a closed connection.
    m_deadline.async_wait([weak = this->weak_from_this()](beast::error_code error) {
        const auto self = weak.lock();
        if (error || !self) {
            return;
        }
        // The pending read or write ends with operation_aborted; its handler
        // sees m_timedOut.
        self->m_timedOut = true;
        beast::error_code ignored;
        self->socket().cancel(ignored);
    });
}

template <class Stream> void Connection<Stream>::disarm()
{
    m_armedPhase = Phase::Unarmed;
    m_deadline.cancel();
}

template <class Stream> void Connection<Stream>::onTimeout()
{
    const ServerOptions& options = m_context.options;
    std::string message;
    if (m_phase == Phase::Head) {
        message = "the request head did not arrive within " + std::to_string(options.headTimeout.count()) + " ms";
    } else if (m_phase == Phase::Body) {
        message = "the request body stalled for " + std::to_string(options.bodyTimeout.count()) + " ms";
        recordCutOff("408 (" + message + ")");
    } else {
        // An idle kept-alive connection, or a client that does not read its
        // answer: nothing to say.
        closeNow();
        return;
    }
    m_timedOut = false;
    Response response = Response::error(408, message);
    response.headers.push_back({"Connection", "close"});
    sendResponse(std::move(response));
}

template <class Stream> void Connection<Stream>::readRequest()
{
    m_recorder.reset();
    m_request = RecordedRequest{};
    m_headerDone = false;
    m_headBytes = 0;
    // The first request's head is due from the connection's start; later
    // ones from their first byte, after an idle wait.
    m_phase = m_firstRequest || m_buffer.size() > 0 ? Phase::Head : Phase::Idle;
    m_firstRequest = false;
    if (m_buffer.size() == 0 && m_buffer.capacity() > kHeadReadSize) {
        // Gives back what a large body took.
        m_buffer.shrink_to_fit();
    }
    m_parser.emplace();
    // The server checks the head's size itself (see parseBuffered), exactly;
    // Beast's own limit lets some heads above it through.
    m_parser->header_limit(std::numeric_limits<std::uint32_t>::max());
    // No limit: bodies stream. (Beast 1.74 compares a Content-Length against
    // an absent limit as if it exceeded it, hence the largest value rather
    // than boost::none.)
    m_parser->body_limit(std::numeric_limits<std::uint64_t>::max());
    // A pipelined request may already be in the buffer.
    parseBuffered();
}

namespace {

// Reading the next piece of a request continues the current chain of work;
// telling Asio so lets the thread that read one piece go on with the next
// instead of handing it to another thread.
template <class Reader> struct ContinueReading {
    std::shared_ptr<Reader> connection;
    void (Reader::*onRead)(beast::error_code, std::size_t);

    void operator()(beast::error_code error, std::size_t size) { ((*connection).*onRead)(error, size); }

    friend bool asio_handler_is_continuation(ContinueReading*) { return true; }
};

} // namespace

template <class Stream> void Connection<Stream>::readMore()
{
    // The head time-out runs from the head's start; the body's between reads.
    if (m_phase != m_armedPhase || m_phase == Phase::Body) {
        arm(m_phase);
    }
    m_stream.async_read_some(m_buffer.prepare(m_phase == Phase::Body ? kReadSize : kHeadReadSize),
                             ContinueReading<Connection>{this->shared_from_this(), &Connection::onRead});
}

template <class Stream> void Connection<Stream>::onRead(beast::error_code error, std::size_t size)
{
    if (m_timedOut) {
        onTimeout();
        return;
    }
    if (error) {
        // Between requests this is the client closing its connection; inside
        // one, the client gave up on it.
        if (m_headerDone) {
            recordCutOff("cut off by the client (" + error.message() + ")");
        }
        closeNow();
        return;
    }
    m_buffer.commit(size);
    if (m_phase == Phase::Idle) {
        m_phase = Phase::Head;
    }
    parseBuffered();
}

template <class Stream> void Connection<Stream>::parseBuffered()
{
    for (;;) {
        if (m_headerDone && m_parser->is_done()) {
            onRequestComplete();
            return;
        }
        if (m_buffer.size() == 0) {
            break;
        }
        beast::error_code error;
        const std::size_t used = m_parser->put(m_buffer.data(), error);
        m_buffer.consume(used);
        if (!m_headerDone) {
            m_headBytes += used;
        }
        if (error == http::error::need_more) {
            // Every byte buffered belongs to the head, which is not complete.
            if (!m_headerDone && m_headBytes + m_buffer.size() > m_context.options.maxHeaderBytes) {
                rejectMalformed(http::error::header_limit);
                return;
            }
            break;
        }
        if (error) {
            rejectMalformed(error);
            return;
        }
        if (!m_headerDone && m_parser->is_header_done()) {
            if (m_headBytes > m_context.options.maxHeaderBytes) {
                rejectMalformed(http::error::header_limit);
                return;
            }
            m_headerDone = true;
            m_phase = Phase::Body;
            onHeader();
            return;
        }
    }
    readMore();
}

template <class Stream> void Connection<Stream>::onHeader()
{
    const auto& message = m_parser->get();
    m_request.method = toString(message.method_string());
    m_request.target = toString(message.target());
    const auto questionMark = m_request.target.find('?');
    m_request.path = m_request.target.substr(0, questionMark);
    if (questionMark != std::string::npos) {
        m_request.query = m_request.target.substr(questionMark + 1);
    }
    for (const auto& field : message) {
        m_request.headers.push_back({toString(field.name_string()), toString(field.value())});
    }
    const std::string problem = framingProblem(m_request.headers, message.version());
    if (!problem.empty()) {
        Response response = Response::error(400, "malformed request: " + problem);
        response.headers.push_back({"Connection", "close"});
        sendResponse(std::move(response));
        return;
    }
    m_request.localAddress = m_localAddress;
    m_request.remoteAddress = m_remoteAddress;
    m_request.connection = m_serial;
    m_recorder.emplace(m_request, m_context.options.bodyMemoryLimit, m_context.options.maxHeaderBytes,
                       m_context.router.partSinksFor(m_request));
    m_parser->get().body().recorder = &*m_recorder;

    m_fault = m_context.faults.take(m_request.method, m_request.path);
    if (m_fault.kind == Fault::Kind::CloseBeforeReadingBody) {
        closeBeforeBody();
        return;
    }
    if (m_fault.kind == Fault::Kind::CloseAfterBodyBytes) {
        m_parser->get().body().cutOffAfter = m_fault.bodyBytes;
    }
    const bool bodyFollows = !m_parser->is_done();
    if (bodyFollows && equalsIgnoringCase(trimmed(m_request.header("Expect")), "100-continue")) {
        // The client holds the body back until it hears from us (curl waits a
        // second, then sends anyway).
        asio::async_write(m_stream, asio::buffer(kContinue.data(), kContinue.size()),
                          [self = this->shared_from_this()](beast::error_code error, std::size_t) {
                              if (error) {
                                  self->recordCutOff("connection lost (" + error.message() + ")");
                                  self->closeNow();
                                  return;
                              }
                              self->parseBuffered();
                          });
        return;
    }
    parseBuffered();
}

template <class Stream> void Connection<Stream>::onRequestComplete()
{
    m_phase = Phase::Busy;
    disarm();
    m_recorder->finish(true);
    m_parser->get().body().recorder = nullptr;
    m_recorder.reset();
    m_webSocket = m_context.router.resolveWebSocket(m_request);
    if (!m_webSocket) {
        m_handler = m_context.router.resolve(m_request);
    }
    // Logged before any pause and before the handler, so that a test sees
    // the request while the server stalls.
    m_context.requests.add(m_request);
    afterPause(&Connection<Stream>::carryOutFault);
}

template <class Stream> void Connection<Stream>::recordCutOff(std::string_view outcome)
{
    if (!m_recorder) {
        return;
    }
    m_recorder->finish(false);
    m_parser->get().body().recorder = nullptr;
    m_recorder.reset();
    discardStoredParts();
    m_context.requests.add(m_request);
    logOutcome(outcome);
}

template <class Stream> void Connection<Stream>::logOutcome(std::string_view outcome)
{
    if (m_context.accessLog) {
        m_context.accessLog->write(m_request, outcome);
    }
}

template <class Stream> void Connection<Stream>::afterPause(void (Connection<Stream>::*next)())
{
    if (m_fault.pause.count() <= 0) {
        (this->*next)();
        return;
    }
    m_pause.expires_after(m_fault.pause);
    m_pause.async_wait([self = this->shared_from_this(), next](beast::error_code error) {
        if (!error) {
            (self.get()->*next)();
        }
    });
}

template <class Stream> void Connection<Stream>::closeBeforeBody()
{
    recordCutOff("closed before reading the body (scripted)");
    afterPause(&Connection<Stream>::closeNow);
}

template <class Stream> void Connection<Stream>::carryOutFault()
{
    switch (m_fault.kind) {
    case Fault::Kind::Answer:
        if (m_webSocket) {
            answerWebSocket();
        } else {
            Response response = Router::run(m_handler, m_request);
            discardStoredParts();
            sendResponse(std::move(response));
        }
        return;
    case Fault::Kind::Respond:
        discardStoredParts();
        sendResponse(m_fault.response);
        return;
    case Fault::Kind::CloseWithoutAnswer:
    case Fault::Kind::CloseAfterBodyBytes: // the body was shorter than the cut
        discardStoredParts();
        logOutcome("closed without an answer (scripted)");
        closeNow();
        return;
    case Fault::Kind::SendRaw:
        discardStoredParts();
        sendBytesThenClose(m_fault.bytes);
        return;
    case Fault::Kind::CloseBeforeReadingBody:
        return; // carried out at the header
    }
}

template <class Stream> void Connection<Stream>::answerWebSocket()
{
    if (!websocket::is_upgrade(m_parser->get())) {
        Response response = Response::error(426, m_request.path + " takes WebSocket connections only");
        response.headers.push_back({"Upgrade", "websocket"});
        sendResponse(std::move(response));
        return;
    }
    if (m_webSocket->accept) {
        std::optional<Response> refusal;
        try {
            refusal = m_webSocket->accept(m_request);
        } catch (const std::exception& e) {
            refusal = Response::error(500, "WebSocket accept handler for " + m_request.path + " failed: " + e.what());
        }
        if (refusal) {
            sendResponse(std::move(*refusal));
            return;
        }
    }
    logOutcome("101 (WebSocket)");
    typename WebSocketConnection<Stream>::Upgrade upgrade(std::move(m_parser->get().base()));
    const auto webSocket = std::make_shared<WebSocketConnection<Stream>>(
        std::move(m_stream), std::move(m_slot), m_context, *m_webSocket, m_request, std::move(upgrade));
    webSocket->start();
}

template <class Stream> void Connection<Stream>::discardStoredParts()
{
    for (const FormPart& part : m_request.parts) {
        if (!part.storedAt.empty()) {
            std::error_code ignored; // gone already when the handler kept it
            std::filesystem::remove(part.storedAt, ignored);
        }
    }
}

template <class Stream> void Connection<Stream>::sendResponse(Response response)
{
    if (response.status < 100 || response.status > 999) {
        response =
            Response::error(500, "the handler answered with the invalid status " + std::to_string(response.status));
    }
    const bool keepAlive = m_headerDone && m_parser->get().keep_alive() && !asksToClose(response.headers);
    m_response = {};
    m_response.version(m_headerDone ? m_parser->get().version() : 11);
    m_response.result(static_cast<unsigned>(response.status));
    if (!response.reason.empty()) {
        m_response.reason(response.reason);
    }
    for (const Header& header : response.headers) {
        if (!isFramingHeader(header)) {
            m_response.insert(header.name, header.value);
        }
    }
    const bool bodyAllowed = response.status >= 200 && response.status != 204 && response.status != 304;
    if (bodyAllowed) {
        // A HEAD answer announces the body's length without sending it.
        m_response.content_length(response.body.size());
        if (m_request.method != "HEAD") {
            m_response.body() = std::move(response.body);
        }
    }
    m_response.keep_alive(keepAlive);
    logOutcome(std::to_string(response.status));
    m_phase = Phase::Writing;
    arm(Phase::Writing);
    http::async_write(m_stream, m_response,
                      [self = this->shared_from_this(), keepAlive](beast::error_code error, std::size_t) {
                          if (error) {
                              self->closeNow();
                          } else if (keepAlive) {
                              self->readRequest();
                          } else {
                              self->closeGracefully();
                          }
                      });
}

template <class Stream> void Connection<Stream>::sendBytesThenClose(std::string bytes)
{
    logOutcome("sent " + std::to_string(bytes.size()) + " raw bytes and closed (scripted)");
    m_outgoing = std::move(bytes);
    asio::async_write(m_stream, asio::buffer(m_outgoing),
                      [self = this->shared_from_this()](beast::error_code, std::size_t) { self->closeGracefully(); });
}

template <class Stream> void Connection<Stream>::rejectMalformed(beast::error_code error)
{
    if (m_fault.kind == Fault::Kind::CloseAfterBodyBytes && error == http::error::body_limit) {
        recordCutOff("closed after " + std::to_string(m_fault.bodyBytes) + " body bytes (scripted)");
        afterPause(&Connection<Stream>::closeNow);
        return;
    }
    const bool headTooLarge = error == http::error::header_limit;
    const int status = headTooLarge ? 431 : 400;
    if (m_headerDone) {
        recordCutOff(std::to_string(status) + " (" + error.message() + ")");
    }
    Response response = headTooLarge
                            ? Response::error(status, "the request head exceeds " +
                                                          std::to_string(m_context.options.maxHeaderBytes) + " bytes")
                            : Response::error(status, "malformed request: " + error.message());
    response.headers.push_back({"Connection", "close"});
    sendResponse(std::move(response));
}

template <class Stream> void Connection<Stream>::closeGracefully()
{
    disarm(); // the linger has a limit of its own
    beast::get_lowest_layer(m_stream).expires_after(kLingerTime);
    if constexpr (kIsTls<Stream>) {
        // Sends close_notify and waits (a while) for the client's.
        m_stream.async_shutdown([self = this->shared_from_this()](beast::error_code) { self->closeNow(); });
    } else {
        beast::error_code ignored;
        socket().shutdown(tcp::socket::shutdown_send, ignored);
        drain(0);
    }
}

template <class Stream> void Connection<Stream>::drain(std::size_t drainedSoFar)
{
    m_stream.async_read_some(m_buffer.prepare(kLingerReadSize), [self = this->shared_from_this(), drainedSoFar](
                                                                    beast::error_code error, std::size_t size) {
        if (error || drainedSoFar + size > kMaxLingerBytes) {
            self->closeNow();
            return;
        }
        self->drain(drainedSoFar + size);
    });
}

template <class Stream> void Connection<Stream>::closeNow()
{
    disarm();
    beast::error_code ignored;
    socket().shutdown(tcp::socket::shutdown_both, ignored);
    beast::get_lowest_layer(m_stream).close();
}

template class Connection<PlainStream>;
template class Connection<TlsStream>;

} // namespace lithmar::local::detail
