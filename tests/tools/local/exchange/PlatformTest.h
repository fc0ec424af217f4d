#pragma once

#include "HttpCall.h"

#include <tools/local/exchange/LocalPlatform.h>

#include <gtest/gtest.h>

#include <optional>
#include <string>
#include <vector>

namespace lithmar::local::testing {

// The endpoints alone: no job runner takes the jobs they queue (the runner
// has tests of its own, in imports/).
inline LocalPlatformOptions endpointsOnly()
{
    LocalPlatformOptions options;
    options.jobWorkers = 0;
    return options;
}

// A whole local platform, in memory, on a free port, for each test.
class PlatformTest : public ::testing::Test {
protected:
    explicit PlatformTest(LocalPlatformOptions options = endpointsOnly()) : platform(std::move(options))
    {
        platform.start();
    }

    HttpReply get(std::string_view target, const std::vector<Header>& headers = {})
    {
        return exchangeGet(platform.port(), target, headers);
    }
    HttpReply post(std::string_view target, std::string_view jsonBody, const std::vector<Header>& headers = {})
    {
        return exchangePost(platform.port(), target, jsonBody, headers);
    }

    // An upload session with `files` slots: {"sessionId", "fcsFiles"}.
    Json startUpload(int files)
    {
        const HttpReply reply = post("/upload/v1/start", "{\"numberOfFiles\":" + std::to_string(files) + "}");
        EXPECT_EQ(reply.status, 200) << reply.body;
        return reply.json();
    }

    // Checks `bytes` in to `slot` ({"fcsStreamId", "fcsFileUrl",
    // "fcsFileTicket"}) as the client library does; `ticket` replaces the
    // slot's own when given.
    HttpReply checkIn(const Json& slot, std::string_view bytes, std::optional<std::string> ticket = std::nullopt)
    {
        const std::string url = slot["fcsFileUrl"];
        const std::string target = url.substr(url.find('/', url.find("//") + 2));
        return httpCall(platform.port(), "POST", target, {{"Content-Type", checkinContentType()}},
                        checkinForm(ticket.value_or(slot["fcsFileTicket"].get<std::string>()), bytes));
    }

    // An "fcsReceipts" entry for `slot`, with the receipt of a real check-in.
    std::string receiptFor(const Json& slot)
    {
        const HttpReply reply = checkIn(slot, "file of " + slot["fcsStreamId"].get<std::string>());
        EXPECT_EQ(reply.status, 200) << reply.body;
        return Json{{"fcsStreamId", slot["fcsStreamId"]}, {"fcsReciept", reply.body}}.dump();
    }

    static std::string checkinContentType() { return "multipart/form-data; boundary=" + std::string(kBoundary); }

    // The two-part check-in form: the ticket, then the file.
    static std::string checkinForm(std::string_view ticket, std::string_view bytes)
    {
        const std::string delimiter = "--" + std::string(kBoundary);
        return delimiter + "\r\nContent-Disposition: form-data; name=\"__fcs__jobTicket\"\r\n\r\n" +
               std::string(ticket) + "\r\n" + delimiter +
               "\r\nContent-Disposition: form-data; name=\"my-upload\"; filename=\"data.bin\"\r\n"
               "Content-Type: application/octet-stream\r\n\r\n" +
               std::string(bytes) + "\r\n" + delimiter + "--\r\n";
    }

    static constexpr std::string_view kBoundary = "checkin-form-boundary";

    LocalPlatform platform;
};

// The error answer of the service: the status, a JSON body with exactly
// {"error": "<non-empty text>"}.
inline ::testing::AssertionResult isError(const HttpReply& reply, int status)
{
    if (reply.status != status) {
        return ::testing::AssertionFailure()
               << "status " << reply.status << " instead of " << status << ": " << reply.body;
    }
    if (reply.header("Content-Type") != "application/json") {
        return ::testing::AssertionFailure() << "Content-Type \"" << reply.header("Content-Type") << "\"";
    }
    const Json body = Json::parse(reply.body, nullptr, false);
    if (!body.is_object() || body.size() != 1 || !body.contains("error") || !body["error"].is_string() ||
        body["error"].get<std::string>().empty()) {
        return ::testing::AssertionFailure() << "not an error body: " << reply.body;
    }
    return ::testing::AssertionSuccess();
}

inline std::string errorOf(const HttpReply& reply)
{
    return reply.json().value("error", "");
}

} // namespace lithmar::local::testing
