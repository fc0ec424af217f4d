#pragma once

// The local platform in-process, on a free port, as the platform's own tests
// and the client's tests run it.

#include <tests/support/RawClient.h>

#include <tools/local/platform/LocalPlatform.h>

#include <gtest/gtest.h>

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace lithmar::test {

using local::LocalPlatform;
using local::LocalPlatformOptions;

// The endpoints alone: no job runner takes the jobs they queue.
LocalPlatformOptions endpointsOnly();

// Platform mode over HTTPS with one user, "ada" (password "s3cret"); few hash
// rounds, since sign-ins are many and their strength is not what is tested.
LocalPlatformOptions platformModeWithOneUser();

// Calls with a target relative to the data exchange service's base path.
HttpReply exchangeGet(std::uint16_t port, std::string_view target, const std::vector<Header>& headers = {},
                      bool tls = false);
HttpReply exchangePost(std::uint16_t port, std::string_view target, std::string_view jsonBody,
                       const std::vector<Header>& headers = {}, bool tls = false);

// Signs in to `platform` (over HTTPS when it serves it); the "Cookie" header
// that carries the web session. Fails the test when the sign-in does.
Header signInCookie(const LocalPlatform& platform, const std::string& user = "ada",
                    const std::string& password = "s3cret");

// A whole local platform, in memory, on a free port, for each test.
class PlatformTest : public ::testing::Test {
protected:
    explicit PlatformTest(LocalPlatformOptions options = endpointsOnly());

    HttpReply get(std::string_view target, const std::vector<Header>& headers = {});
    HttpReply post(std::string_view target, std::string_view jsonBody, const std::vector<Header>& headers = {});

    // An upload session with `files` slots: {"sessionId", "fcsFiles"}.
    Json startUpload(int files);
    // Checks `bytes` in to `slot` ({"fcsStreamId", "fcsFileUrl",
    // "fcsFileTicket"}) as the client library does; `ticket` replaces the
    // slot's own when given.
    HttpReply checkIn(const Json& slot, std::string_view bytes, std::optional<std::string> ticket = std::nullopt);
    // An "fcsReceipts" entry for `slot`, with the receipt of a real check-in.
    std::string receiptFor(const Json& slot);

    static std::string checkinContentType();
    // The two-part check-in form: the ticket, then the file.
    static std::string checkinForm(std::string_view ticket, std::string_view bytes);
    static constexpr std::string_view kBoundary = "checkin-form-boundary";

    LocalPlatform platform;
};

// The service's error answer: `status`, and a JSON body that is exactly
// {"error": "<non-empty text>"}.
::testing::AssertionResult isError(const HttpReply& reply, int status);
std::string errorOf(const HttpReply& reply);

} // namespace lithmar::test
