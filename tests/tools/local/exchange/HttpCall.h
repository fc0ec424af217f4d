#pragma once

#include <tools/local/exchange/JsonAnswer.h>
#include <tools/local/server/RecordedRequest.h>

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace lithmar::local::testing {

struct HttpReply {
    int status = 0;
    std::vector<Header> headers;
    std::string body;

    // "" when absent; repeated headers joined with ", ".
    std::string header(std::string_view name) const;
    // Every line of a repeated header, such as Set-Cookie.
    std::vector<std::string> headerLines(std::string_view name) const;
    // The body as JSON; the test fails (throws) when it is not.
    Json json() const;
};

// One request on its own connection, with a plain HTTP client (Boost.Beast,
// synchronous). Gives up after 30 seconds without progress, so that a broken
// server fails the test instead of hanging it.
HttpReply httpCall(std::uint16_t port, std::string_view method, std::string_view target,
                   const std::vector<Header>& headers = {}, std::string_view body = {});

// The common cases, with a target relative to the data exchange base path.
HttpReply exchangeGet(std::uint16_t port, std::string_view target, const std::vector<Header>& headers = {});
HttpReply exchangePost(std::uint16_t port, std::string_view target, std::string_view jsonBody,
                       const std::vector<Header>& headers = {});

// The keys of a JSON object, in order.
std::vector<std::string> keysOf(const Json& object);

} // namespace lithmar::local::testing
