#include "Platform.h"

#include <tools/local/exchange/ServicePaths.h>

namespace lithmar::test {
namespace {

// Platform mode serves HTTPS, and then has a CA for clients to trust.
bool servesHttps(const LocalPlatform& platform)
{
    return !platform.caCertificate().empty();
}

} // namespace

LocalPlatformOptions endpointsOnly()
{
    LocalPlatformOptions options;
    options.jobWorkers = 0;
    return options;
}

LocalPlatformOptions platformModeWithOneUser()
{
    LocalPlatformOptions options;
    options.platformMode = true;
    options.users = {{"ada", "s3cret"}};
    options.passwordHashIterations = 1000;
    return options;
}

HttpReply exchangeGet(std::uint16_t port, std::string_view target, const std::vector<Header>& headers, bool tls)
{
    return httpCall(port, "GET", std::string(local::kDefaultExchangeBasePath) + std::string(target), headers, {}, tls);
}

HttpReply exchangePost(std::uint16_t port, std::string_view target, std::string_view jsonBody,
                       const std::vector<Header>& headers, bool tls)
{
    std::vector<Header> withType{{"Content-Type", "application/json"}};
    withType.insert(withType.end(), headers.begin(), headers.end());
    return httpCall(port, "POST", std::string(local::kDefaultExchangeBasePath) + std::string(target), withType,
                    jsonBody, tls);
}

Header signInCookie(const LocalPlatform& platform, const std::string& user, const std::string& password)
{
    const std::string url = platform.signInUrl();
    const std::string signInPath = url.substr(url.find('/', url.find("//") + 2));
    const HttpReply reply =
        httpCall(platform.port(), "POST", signInPath, {{"Content-Type", "application/json"}},
                 Json{{"user", user}, {"password", password}}.dump(), servesHttps(platform));
    EXPECT_EQ(reply.status, 200) << "signing in as " << user << ": " << reply.body;
    std::string cookie;
    for (const std::string& line : reply.headerLines("Set-Cookie")) {
        cookie += (cookie.empty() ? "" : "; ") + line.substr(0, line.find(';'));
    }
    return {"Cookie", cookie};
}

PlatformTest::PlatformTest(LocalPlatformOptions options) : platform(std::move(options))
{
    platform.start();
}

HttpReply PlatformTest::get(std::string_view target, const std::vector<Header>& headers)
{
    return exchangeGet(platform.port(), target, headers, servesHttps(platform));
}

HttpReply PlatformTest::post(std::string_view target, std::string_view jsonBody, const std::vector<Header>& headers)
{
    return exchangePost(platform.port(), target, jsonBody, headers, servesHttps(platform));
}

Json PlatformTest::startUpload(int files)
{
    const HttpReply reply = post("/upload/v1/start", "{\"numberOfFiles\":" + std::to_string(files) + "}");
    EXPECT_EQ(reply.status, 200) << reply.body;
    return reply.json();
}

HttpReply PlatformTest::checkIn(const Json& slot, std::string_view bytes, std::optional<std::string> ticket)
{
    const std::string url = slot["fcsFileUrl"];
    const std::string target = url.substr(url.find('/', url.find("//") + 2));
    return httpCall(platform.port(), "POST", target, {{"Content-Type", checkinContentType()}},
                    checkinForm(ticket.value_or(slot["fcsFileTicket"].get<std::string>()), bytes),
                    servesHttps(platform));
}

std::string PlatformTest::receiptFor(const Json& slot)
{
    const HttpReply reply = checkIn(slot, "file of " + slot["fcsStreamId"].get<std::string>());
    EXPECT_EQ(reply.status, 200) << reply.body;
    return Json{{"fcsStreamId", slot["fcsStreamId"]}, {"fcsReciept", reply.body}}.dump();
}

std::string PlatformTest::checkinContentType()
{
    return "multipart/form-data; boundary=" + std::string(kBoundary);
}

std::string PlatformTest::checkinForm(std::string_view ticket, std::string_view bytes)
{
    const std::string delimiter = "--" + std::string(kBoundary);
    return delimiter + "\r\nContent-Disposition: form-data; name=\"__fcs__jobTicket\"\r\n\r\n" + std::string(ticket) +
           "\r\n" + delimiter +
           "\r\nContent-Disposition: form-data; name=\"my-upload\"; filename=\"data.bin\"\r\n"
           "Content-Type: application/octet-stream\r\n\r\n" +
           std::string(bytes) + "\r\n" + delimiter + "--\r\n";
}

::testing::AssertionResult isError(const HttpReply& reply, int status)
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

std::string errorOf(const HttpReply& reply)
{
    return reply.json().value("error", "");
}

} // namespace lithmar::test
