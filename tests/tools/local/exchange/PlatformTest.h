#pragma once

#include "HttpCall.h"

#include <tools/local/exchange/LocalPlatform.h>

#include <gtest/gtest.h>

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
