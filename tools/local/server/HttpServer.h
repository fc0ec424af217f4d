#pragma once

#include <tools/local/server/Fault.h>
#include <tools/local/server/FaultScript.h>
#include <tools/local/server/PartSink.h>
#include <tools/local/server/RecordedRequest.h>
#include <tools/local/server/Response.h>
#include <tools/local/server/ServerOptions.h>
#include <tools/local/server/WebSocket.h>

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>
#include <vector>

namespace lithmar::local {

namespace detail {
struct ServerContext;
class Runtime;
} // namespace detail

// An HTTP/1.1 server that stands in for the platform's services, started
// in-process by tests (on a free loopback port) and by the lithmar-local
// program.
//
// Requests are read as they stream: bodies of any size are accepted with
// Content-Length or chunked, multipart/form-data bodies are taken apart on
// the fly, and only the first bodyMemoryLimit bytes of a body or part are
// kept (see RecordedRequest). Connections are kept alive unless the client
// or the answer says otherwise; Expect: 100-continue is honoured. Malformed
// requests get 400 (431 for an oversized head) and the connection closes.
// With ServerOptions::tls, all of it runs over TLS. WebSocket routes upgrade
// connections to sessions (see WebSocketHandler).
//
// Each request is answered by the first matching route, unless a scripted
// fault intervenes. Every request is recorded for the test to inspect.
class HttpServer {
public:
    using Options = ServerOptions;

    explicit HttpServer(Options options = {});
    // Stops the server.
    ~HttpServer();

    HttpServer(const HttpServer&) = delete;
    HttpServer& operator=(const HttpServer&) = delete;

    // Binds, listens and starts the threads. Throws std::system_error when
    // the address cannot be bound (port taken, address not local). After a
    // stop(), start() takes the same port again, so that a test can stand
    // for a platform that goes down and comes back.
    void start();
    // Closes the listening socket and every connection, with requests in
    // flight or not, and joins the threads. Returns once a running handler
    // has returned; scripted pauses are cut short. Must not be called from a
    // handler.
    void stop();
    bool isRunning() const;

    // The port listened on (known once started).
    std::uint16_t port() const;
    // "http://127.0.0.1:<port>", or "https://..." with TLS on.
    std::string baseUrl() const;

    // Requests for `pattern` (see PathPattern) with this `method` ("*" for
    // any) are answered by `handler`; the first route added wins. Routes may
    // be added while the server runs.
    void route(std::string method, std::string_view pattern, Handler handler);

    // A GET of `pattern` with a WebSocket upgrade opens a session run by
    // `handler` (ws://, or wss:// with TLS on); a GET without the upgrade is
    // answered 426. Other methods go to the HTTP routes. Scripted request
    // faults apply to the upgrade request like to any other. stop() closes
    // every session (onClose is called for each).
    void webSocket(std::string_view pattern, WebSocketHandler handler);

    // Parts of multipart requests matching `method` and `pattern` go to the
    // sinks that `factory` chooses, as they stream in (see PartSink). Its
    // route's handler then finds FormPart::storedAt set for them.
    void storeParts(std::string method, std::string_view pattern, PartSinkFactory factory);

    // The next `times` requests matching `method` and `pathPattern` get
    // `fault` (FaultScript::kForever: all of them). Scripted faults are used
    // in the order they were scripted, one per request.
    void script(std::string method, std::string_view pathPattern, Fault fault, int times = 1);
    // The next `times` connections accepted get `bytes` written at once,
    // before any TLS handshake or HTTP, and are closed: an HTTP client reads
    // an invalid status line, a TLS client sees its handshake fail.
    void scriptRawConnections(std::string bytes, int times = 1);
    // Forgets the faults scripted for requests and connections.
    void clearScript();

    // Every request received so far, in the order they were complete (or cut
    // off, see RecordedRequest::complete). A request whose head could not be
    // parsed is answered with 400 or 431 but not recorded.
    // Only the latest ServerOptions::requestLogEntries are kept, each with
    // at most requestLogBodyBytes of body (see RequestLog).
    std::vector<RecordedRequest> requests() const;
    // False when the options turned the request log off.
    bool keepsRequests() const;
    void clearRequests();
    // Waits until `count` requests were received since the last
    // clearRequests(); false on time-out.
    bool waitForRequests(std::size_t count, std::chrono::milliseconds timeout = std::chrono::seconds(10)) const;

    // Connections accepted since construction: a test sees from it whether
    // a client reused its connections.
    std::size_t acceptedConnections() const;

private:
    const std::unique_ptr<detail::ServerContext> m_context;
    mutable std::mutex m_lifecycle;
    std::unique_ptr<detail::Runtime> m_runtime;
    std::uint16_t m_port = 0;
};

} // namespace lithmar::local
