#pragma once

#include <tools/local/server/BodyRecorder.h>
#include <tools/local/server/Fault.h>
#include <tools/local/server/detail/ServerContext.h>
#include <tools/local/server/detail/StreamedBody.h>
#include <tools/local/server/detail/Streams.h>

#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/steady_timer.hpp>
#include <boost/beast/core/flat_buffer.hpp>
#include <boost/beast/http/message.hpp>
#include <boost/beast/http/parser.hpp>
#include <boost/beast/http/string_body.hpp>

#include <cstdint>
#include <memory>
#include <optional>
#include <string>

namespace lithmar::local::detail {

// One client connection: reads requests one after the other (keep-alive,
// pipelining), records them, carries out scripted faults and answers through
// the router. Every step is an asynchronous operation on the io_context of
// the connection's thread; the object lives as long as one of them is
// pending, so destroying the io_context ends its connections at once.
//
// `Stream` is PlainStream or TlsStream; a TLS connection starts with the
// handshake. A GET on a WebSocket route hands the stream over to a
// WebSocketConnection once the upgrade is accepted.
template <class Stream> class Connection : public std::enable_shared_from_this<Connection<Stream>> {
public:
    Connection(Stream stream, ServerContext& context, std::uint64_t serial);

    void start();
    // Sends `bytes` before anything else (TLS handshake included), then
    // closes: a connection scripted to be broken from its first byte.
    void startWithRawBytes(std::string bytes);

private:
    using RequestParser = boost::beast::http::request_parser<StreamedBody>;

    // What the connection waits for, which tells the time-out that applies.
    enum class Phase { Unarmed, Idle, Head, Body, Busy, Writing };

    boost::asio::ip::tcp::socket& socket();
    void arm(Phase phase);
    void disarm();
    void onTimeout();
    void onHandshake(boost::beast::error_code error);
    void readRequest();
    void readMore();
    void onRead(boost::beast::error_code error, std::size_t size);
    void parseBuffered();
    void onHeader();
    void onRequestComplete();
    void recordCutOff(std::string_view outcome);
    void logOutcome(std::string_view outcome);
    void afterPause(void (Connection::*next)());
    void carryOutFault();
    void answerWebSocket();
    // Deletes the files of stored parts that the handler did not keep.
    void discardStoredParts();
    void closeBeforeBody();
    void sendResponse(Response response);
    void sendBytesThenClose(std::string bytes);
    void rejectMalformed(boost::beast::error_code error);
    void closeGracefully();
    void drain(std::size_t drainedSoFar);
    void closeNow();

    Stream m_stream;
    ServerContext& m_context;
    ConnectionSlot m_slot;
    const std::uint64_t m_serial;
    const std::string m_localAddress;
    const std::string m_remoteAddress;

    boost::beast::flat_buffer m_buffer;
    std::optional<RequestParser> m_parser;
    bool m_headerDone = false;
    bool m_firstRequest = true;
    std::size_t m_headBytes = 0; // of the current head, parsed so far
    Phase m_phase = Phase::Head;
    Phase m_armedPhase = Phase::Unarmed;
    bool m_timedOut = false;
    // The connection's own deadline rather than the stream's: a Beast stream
    // closes its socket on a time-out, which would leave no way to answer 408.
    boost::asio::steady_timer m_deadline;
    RecordedRequest m_request;
    std::optional<BodyRecorder> m_recorder;
    Handler m_handler;
    std::shared_ptr<const WebSocketHandler> m_webSocket;
    Fault m_fault;
    boost::asio::steady_timer m_pause;

    boost::beast::http::response<boost::beast::http::string_body> m_response;
    std::string m_outgoing;
};

} // namespace lithmar::local::detail
