#pragma once

#include <tools/local/server/RecordedRequest.h>

#include <functional>
#include <string>
#include <string_view>
#include <vector>

namespace lithmar::local {

// An answer to send. The server frames it: it sets Content-Length (a
// handler's own Content-Length or Transfer-Encoding is dropped) and
// Connection: close when it closes the connection afterwards. Everything
// else is up to the handler, so that tests can send any header, odd ones
// included; to send a body that does not match its framing, script a
// Fault::garbage instead.
struct Response {
    int status = 200;
    std::string reason; // "" for the standard reason phrase of the status
    std::vector<Header> headers;
    std::string body;

    // A body with Content-Type: application/json.
    static Response json(int status, std::string body);
    // {"error": "<message>"}: the one error body of every service of the
    // platform, and what the server answers when it cannot serve a request,
    // so that a client sees why in its logs. Bytes of `message` that are not
    // UTF-8 become U+FFFD.
    static Response error(int status, std::string_view message);
};

// Answers one request. Runs on a server thread, possibly concurrently with
// other handlers; whatever state it shares must be thread-safe.
using Handler = std::function<Response(const RecordedRequest&)>;

} // namespace lithmar::local
