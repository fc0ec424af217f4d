#pragma once

#include <boost/asio/ssl/context.hpp>

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>

namespace lithmar::local {

struct ServerOptions {
    // Any loopback address works on Linux: tests run a second server on
    // 127.0.0.2 to stand for another host (redirects across origins).
    std::string address = "127.0.0.1";
    // 0 picks a free port; a fixed one lets a test start the server late on
    // a port that a client is already trying (connection refused, retried).
    std::uint16_t port = 0;
    // Threads running connections and handlers. Connections are dealt to
    // the threads in turn and each stays on its thread, so a handler that
    // blocks holds up the other connections of its thread, not all of them.
    std::size_t threads = 2;
    // Bytes of each body and of each multipart part kept in memory; the rest
    // is only counted and checksummed.
    std::size_t bodyMemoryLimit = 1 << 20;
    // Limit of the request head (request line and headers), answered with
    // 431 beyond it, and of the headers of each multipart part.
    std::size_t maxHeaderBytes = 64 * 1024;
    // When not empty, a file receiving one line per request (see AccessLog).
    std::string requestLogFile;

    // The latest requests kept for requests() (see RequestLog): at most this
    // many, 0 for none...
    std::size_t requestLogEntries = 10000;
    // ... each with at most this many bytes of its body and of each part.
    std::size_t requestLogBodyBytes = 1 << 20;

    // Time-outs. A connection that exceeds one is closed, after a 408 answer
    // where one can still be sent (a head or body that stopped coming).
    // From a connection's start, or a request's first byte, until the
    // request head is in full:
    std::chrono::milliseconds headTimeout = std::chrono::seconds(30);
    // The longest pause between the bytes of a request body:
    std::chrono::milliseconds bodyTimeout = std::chrono::seconds(30);
    // A kept-alive connection waiting for its next request; also the longest
    // a client may take to read an answer:
    std::chrono::milliseconds idleTimeout = std::chrono::seconds(60);

    // Connections open at once; beyond it, new connections wait (in the
    // listening socket's backlog) until others close. WebSocket sessions
    // count too.
    std::size_t maxConnections = 10000;
    // When set, the server speaks HTTPS (and wss): every connection starts
    // with a TLS handshake using this context (certificate and key loaded),
    // then carries the same HTTP. A failed handshake closes that connection
    // only, and is logged to stderr.
    std::shared_ptr<boost::asio::ssl::context> tls;
};

} // namespace lithmar::local
