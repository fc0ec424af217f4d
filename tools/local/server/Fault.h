#pragma once

#include <tools/local/server/Response.h>

#include <chrono>
#include <cstdint>
#include <string>

namespace lithmar::local {

// A scripted misbehaviour of the server for one request: what a flaky or
// broken platform does, so that the client's retry, time-out and error paths
// can be driven from tests. Every fault may first stall for `pause`.
struct Fault {
    enum class Kind {
        Answer,                 // the route handler answers (after the pause)
        Respond,                // send `response` instead of the handler's
        CloseWithoutAnswer,     // read the whole request, then close
        CloseBeforeReadingBody, // close right after the request headers
        SendRaw,                // read the request, send `bytes`, close
        CloseAfterBodyBytes,    // close once `bodyBytes` bytes of the body are in
    };

    Kind kind = Kind::Answer;
    std::chrono::milliseconds pause{0};
    Response response;           // for Respond
    std::string bytes;           // for SendRaw
    std::uint64_t bodyBytes = 0; // for CloseAfterBodyBytes

    static Fault respond(Response response);
    // A stalled server: waits, then lets the handler answer.
    static Fault delay(std::chrono::milliseconds pause);
    // The connection is lost after the request went out (the server may
    // have acted on it).
    static Fault close();
    // The connection is lost while the client still sends the body.
    static Fault closeBeforeBody();
    // The connection is lost mid-upload, after `n` bytes of the body (after
    // de-chunking) were read; a body of at most `n` bytes is read whole and
    // the connection closed without an answer.
    static Fault closeAfterBodyBytes(std::uint64_t n);
    // Not HTTP at all, or a truncated answer such as a status line and half
    // of the announced body; the connection is closed after the bytes.
    static Fault garbage(std::string bytes);

    // The same fault, carried out after a stall: Fault::respond(r).after(2s).
    Fault after(std::chrono::milliseconds stall) const;
};

} // namespace lithmar::local
