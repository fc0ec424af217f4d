#pragma once

#include <boost/asio/ssl/context.hpp>

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
    // When set, the server speaks HTTPS (and wss): every connection starts
    // with a TLS handshake using this context (certificate and key loaded),
    // then carries the same HTTP. A failed handshake closes that connection
    // only, and is logged to stderr.
    std::shared_ptr<boost::asio::ssl::context> tls;
};

} // namespace lithmar::local
