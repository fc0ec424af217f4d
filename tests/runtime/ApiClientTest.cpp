#include <lithmar/runtime/ApiClient.h>
#include <lithmar/runtime/ApiException.h>
#include <lithmar/runtime/JsonBody.h>
#include <lithmar/runtime/ModelBase.h>
#include <lithmar/runtime/MultipartFormData.h>
#include <lithmar/runtime/Utf8.h>

#include <tools/local/server/Checksum.h>
#include <tools/local/server/HttpServer.h>

#include <boost/asio/io_context.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <gtest/gtest.h>

#include <chrono>
#include <fstream>
#include <thread>

namespace sdk = com::vantorel::lithmar;
namespace local = ::lithmar::local;
using namespace std::chrono_literals;

namespace {

using StringMap = std::map<std::wstring, std::wstring>;
using FileMap = std::map<std::wstring, std::shared_ptr<sdk::HttpContent>>;

sdk::RetryPolicy quickRetries(int attempts = 4)
{
    sdk::RetryPolicy policy;
    policy.maxAttempts = attempts;
    policy.initialBackoff = 20ms;
    policy.maxBackoff = 50ms;
    policy.totalBudget = 10s;
    return policy;
}

std::shared_ptr<sdk::ApiClient> clientFor(const std::string& baseUrl,
                                              sdk::RetryPolicy policy = quickRetries(),
                                              std::chrono::milliseconds timeout = 5s)
{
    auto configuration = std::make_shared<sdk::ApiConfiguration>();
    configuration->setBaseUrl(sdk::fromUtf8(baseUrl));
    configuration->setRetryPolicy(policy);
    configuration->getHttpConfig().set_timeout(timeout);
    return std::make_shared<sdk::ApiClient>(configuration);
}

web::http::http_response call(const sdk::ApiClient& client, const std::wstring& method, const std::wstring& path,
                              std::shared_ptr<sdk::IHttpBody> body = nullptr, const StringMap& headers = {},
                              const StringMap& query = {})
{
    return client.callApiAndRetryOnError(path, method, query, body, headers, {}, {}, L"application/json").get();
}

local::Response ok(std::string body = "{}")
{
    return local::Response::json(200, std::move(body));
}

class ApiClientTest : public testing::Test {
protected:
    void SetUp() override
    {
        server.route("*", "/{rest...}", [](const local::RecordedRequest&) { return ok(); });
        server.start();
    }

    local::HttpServer server;
};

TEST_F(ApiClientTest, JoinsBaseUrlPathAndQueryAsTheServerSeesThem)
{
    auto client = clientFor(server.baseUrl() + "/svc-xchng/");
    call(*client, L"GET", L"/sites/a/b c/\u00e9", nullptr, {{L"X-Trace", L"t1"}},
         {{L"format", L"a&b=c"}, {L"crs", L""}});
    const auto request = server.requests().at(0);
    EXPECT_EQ(request.method, "GET");
    EXPECT_EQ(request.path, "/svc-xchng/sites/a/b%20c/%C3%A9");
    EXPECT_EQ(request.query, "crs=&format=a%26b%3Dc");
    EXPECT_EQ(request.header("X-Trace"), "t1");
}

TEST_F(ApiClientTest, ReusesPooledConnectionsForSequentialCalls)
{
    constexpr int kCalls = 20;
    auto client = clientFor(server.baseUrl());
    for (int i = 0; i < kCalls; ++i) {
        // A connection goes back to the pool once its answer's body is read.
        EXPECT_EQ(call(*client, L"GET", L"/ping").extract_utf8string(true).get(), "{}");
        // cpprestsdk hands the connection back on one of its threads just
        // after the body completes: a call that follows at once may open
        // another one, and on a loaded machine it often does. A pause makes
        // that rare; the bound below leaves room for it anyway.
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    // Without pooling every call would have its own connection.
    EXPECT_LE(server.acceptedConnections(), static_cast<std::size_t>(kCalls / 4));
}

TEST_F(ApiClientTest, SharesConnectionsBetweenConcurrentCallsAndCopies)
{
    auto client = clientFor(server.baseUrl());
    const sdk::ApiClient copy = *client;
    constexpr int kWaves = 4;
    constexpr int kCallsPerWave = 16;
    for (int wave = 0; wave < kWaves; ++wave) {
        std::vector<pplx::task<std::string>> calls;
        for (int i = 0; i < kCallsPerWave; ++i) {
            const sdk::ApiClient& caller = i % 2 ? copy : *client;
            calls.push_back(caller
                                .callApiAndRetryOnError(L"/c/" + std::to_wstring(i), L"GET", {}, nullptr, {}, {}, {},
                                                        L"application/json")
                                .then([](web::http::http_response r) { return r.extract_utf8string(true); }));
        }
        for (auto& pending : calls) {
            EXPECT_EQ(pending.get(), "{}");
        }
        // cpprestsdk puts a connection back in its pool just after the body completes.
        std::this_thread::sleep_for(20ms);
    }
    EXPECT_EQ(server.requests().size(), std::size_t{kWaves * kCallsPerWave});
    EXPECT_LE(server.acceptedConnections(), std::size_t{2 * kCallsPerWave})
        << "later waves reuse the connections of the first";
}

TEST_F(ApiClientTest, RepeatsA503AndHonoursRetryAfter)
{
    server.script("GET", "/busy", local::Fault::respond({503, "", {{"Retry-After", "0"}}, "{}"}));
    auto client = clientFor(server.baseUrl());
    EXPECT_EQ(call(*client, L"GET", L"/busy").status_code(), 200);
    EXPECT_EQ(server.requests().size(), 2u);
}

TEST_F(ApiClientTest, RepeatsAPostRefusedWith429)
{
    server.script("POST", "/sites", local::Fault::respond({429, "", {}, ""}), 2);
    auto client = clientFor(server.baseUrl());
    auto body = std::make_shared<sdk::JsonBody>(web::json::value::parse(R"({"siteName":"s"})"));
    EXPECT_EQ(call(*client, L"POST", L"/sites", body).status_code(), 200);
    const auto requests = server.requests();
    ASSERT_EQ(requests.size(), 3u);
    for (const auto& request : requests) {
        EXPECT_EQ(request.body, R"({"siteName":"s"})") << "each attempt sends the whole body";
    }
}

TEST_F(ApiClientTest, NeverRepeatsAPostWhoseConnectionDroppedAfterSending)
{
    server.script("POST", "/sites", local::Fault::close());
    auto client = clientFor(server.baseUrl());
    auto body = std::make_shared<sdk::JsonBody>(web::json::value::object());
    EXPECT_THROW(call(*client, L"POST", L"/sites", body), web::http::http_exception);
    EXPECT_EQ(server.requests().size(), 1u);
}

TEST_F(ApiClientTest, RepeatsAGetWhoseConnectionDroppedOrWhoseGatewayFailed)
{
    server.script("GET", "/flaky", local::Fault::close());
    server.script("GET", "/flaky", local::Fault::respond({502, "", {}, ""}));
    server.script("GET", "/flaky", local::Fault::respond({504, "", {}, ""}));
    auto client = clientFor(server.baseUrl());
    EXPECT_EQ(call(*client, L"GET", L"/flaky").status_code(), 200);
    EXPECT_EQ(server.requests().size(), 4u);
}

TEST_F(ApiClientTest, ReturnsAGatewayFailureOfAPostAsItIs)
{
    server.script("POST", "/x", local::Fault::respond({502, "Bad Gateway", {}, "upstream down"}));
    auto client = clientFor(server.baseUrl());
    const auto response = call(*client, L"POST", L"/x", std::make_shared<sdk::JsonBody>(web::json::value()));
    EXPECT_EQ(response.status_code(), 502);
    EXPECT_EQ(response.extract_utf8string(true).get(), "upstream down");
    EXPECT_EQ(server.requests().size(), 1u);
}

TEST_F(ApiClientTest, GivesUpAfterTheLastAttemptWithTheLastResponse)
{
    server.script("GET", "/down", local::Fault::respond({503, "", {}, "still down"}), local::FaultScript::kForever);
    auto client = clientFor(server.baseUrl(), quickRetries(3));
    const auto response = call(*client, L"GET", L"/down");
    EXPECT_EQ(response.status_code(), 503);
    EXPECT_EQ(response.extract_utf8string(true).get(), "still down");
    EXPECT_EQ(server.requests().size(), 3u);
}

TEST_F(ApiClientTest, DoesNotWaitPastItsTimeBudget)
{
    server.script("GET", "/later", local::Fault::respond({503, "", {{"Retry-After", "30"}}, ""}));
    auto policy = quickRetries();
    policy.totalBudget = 1s;
    auto client = clientFor(server.baseUrl(), policy);
    const auto started = std::chrono::steady_clock::now();
    EXPECT_EQ(call(*client, L"GET", L"/later").status_code(), 503);
    EXPECT_LT(std::chrono::steady_clock::now() - started, 5s);
    EXPECT_EQ(server.requests().size(), 1u);
}

TEST_F(ApiClientTest, AStalledServerEndsInATimeOutThatIsNotRepeated)
{
    server.script("GET", "/stall", local::Fault::delay(3s));
    auto client = clientFor(server.baseUrl(), quickRetries(), 300ms);
    try {
        call(*client, L"GET", L"/stall");
        FAIL() << "no time-out";
    } catch (const web::http::http_exception& error) {
        EXPECT_EQ(error.error_code().value(), ETIMEDOUT) << error.what();
    }
    EXPECT_EQ(server.requests().size(), 1u);
}

TEST_F(ApiClientTest, AnAnswerThatIsNotHttpFailsWithoutRepeating)
{
    server.script("GET", "/junk", local::Fault::garbage("SSH-2.0-OpenSSH\r\n\r\n"));
    auto client = clientFor(server.baseUrl());
    EXPECT_THROW(call(*client, L"GET", L"/junk"), web::http::http_exception);
    EXPECT_EQ(server.requests().size(), 1u);
}

std::uint16_t unusedPort()
{
    boost::asio::io_context io;
    boost::asio::ip::tcp::acceptor acceptor(io, {boost::asio::ip::make_address("127.0.0.1"), 0});
    return acceptor.local_endpoint().port();
}

TEST(ApiClientRefused, RepeatsUntilTheServerComesUp)
{
    local::HttpServer::Options options;
    options.port = unusedPort();
    local::HttpServer late(options);
    late.route("POST", "/ping", [](const local::RecordedRequest&) { return ok(); });

    auto policy = quickRetries(60);
    policy.maxBackoff = 100ms;
    auto client = clientFor("http://127.0.0.1:" + std::to_string(options.port), policy);
    auto pending = client->callApiAndRetryOnError(L"/ping", L"POST", {}, nullptr, {}, {}, {}, L"application/json");
    std::this_thread::sleep_for(300ms);
    late.start();
    EXPECT_EQ(pending.get().status_code(), 200) << "a request that was never sent is safe to repeat, POST or not";
    EXPECT_EQ(late.requests().size(), 1u);
}

TEST(ApiClientRefused, FailsWhenNoServerEverAnswers)
{
    auto client = clientFor("http://127.0.0.1:" + std::to_string(unusedPort()), quickRetries(2));
    try {
        call(*client, L"GET", L"/ping");
        FAIL() << "no failure";
    } catch (const web::http::http_exception& error) {
        EXPECT_NE(std::string(error.what()).find("Failed to connect"), std::string::npos) << error.what();
    }
}

class RedirectTest : public testing::Test {
protected:
    void SetUp() override
    {
        local::HttpServer::Options otherHost;
        otherHost.address = "127.0.0.2";
        other = std::make_unique<local::HttpServer>(otherHost);
        other->route("*", "/{rest...}", [](const local::RecordedRequest&) { return ok(R"({"host":"other"})"); });
        other->start();
        origin.route("*", "/{rest...}", [](const local::RecordedRequest&) { return ok(R"({"host":"origin"})"); });
        origin.start();
    }

    void redirect(const std::string& method, const std::string& from, int status, const std::string& to)
    {
        origin.script(method, from, local::Fault::respond({status, "", {{"Location", to}}, ""}));
    }

    local::HttpServer origin;
    std::unique_ptr<local::HttpServer> other;
    const StringMap credentials{{L"Cookie", L"JSESSIONID=secret;SERVERID=s1"}, {L"Authorization", L"Bearer t"}};
};

TEST_F(RedirectTest, NeverCarriesSessionCookiesToAnotherHost)
{
    redirect("GET", "/start", 302, other->baseUrl() + "/elsewhere");
    auto client = clientFor(origin.baseUrl());
    const auto response = call(*client, L"GET", L"/start", nullptr, credentials);
    EXPECT_EQ(response.extract_utf8string(true).get(), R"({"host":"other"})");
    const auto arrived = other->requests().at(0);
    EXPECT_EQ(arrived.path, "/elsewhere");
    EXPECT_FALSE(arrived.hasHeader("Cookie"));
    EXPECT_FALSE(arrived.hasHeader("Authorization"));
    EXPECT_EQ(origin.requests().at(0).header("Cookie"), "JSESSIONID=secret;SERVERID=s1");
}

TEST_F(RedirectTest, KeepsCookiesOnTheSameHost)
{
    redirect("GET", "/start", 301, "/moved?x=1");
    auto client = clientFor(origin.baseUrl());
    call(*client, L"GET", L"/start", nullptr, credentials);
    const auto requests = origin.requests();
    ASSERT_EQ(requests.size(), 2u);
    EXPECT_EQ(requests[1].target, "/moved?x=1");
    EXPECT_EQ(requests[1].header("Cookie"), "JSESSIONID=secret;SERVERID=s1");
}

TEST_F(RedirectTest, ResendsThePostOn307AndTurnsItIntoAGetOn303)
{
    redirect("POST", "/a", 307, "/b");
    auto client = clientFor(origin.baseUrl());
    call(*client, L"POST", L"/a", std::make_shared<sdk::JsonBody>(web::json::value::parse(R"({"k":1})")));
    redirect("POST", "/c", 303, "/d");
    call(*client, L"POST", L"/c", std::make_shared<sdk::JsonBody>(web::json::value::parse(R"({"k":2})")));
    const auto requests = origin.requests();
    ASSERT_EQ(requests.size(), 4u);
    EXPECT_EQ(requests[1].method, "POST");
    EXPECT_EQ(requests[1].body, R"({"k":1})");
    EXPECT_EQ(requests[3].method, "GET");
    EXPECT_EQ(requests[3].path, "/d");
    EXPECT_EQ(requests[3].bodySize, 0u);
    EXPECT_FALSE(requests[3].hasHeader("Content-Type"));
}

TEST_F(RedirectTest, ReturnsTheRedirectWhenFollowingIsSwitchedOff)
{
    redirect("GET", "/start", 302, other->baseUrl() + "/elsewhere");
    auto configuration = std::make_shared<sdk::ApiConfiguration>();
    configuration->setBaseUrl(sdk::fromUtf8(origin.baseUrl()));
    configuration->getHttpConfig().set_max_redirects(0);
    sdk::ApiClient client(configuration);
    const auto response = call(client, L"GET", L"/start");
    EXPECT_EQ(response.status_code(), 302);
    EXPECT_EQ(response.headers().find("Location")->second, other->baseUrl() + "/elsewhere");
    EXPECT_TRUE(other->requests().empty());
}

struct UnfollowableRedirect {
    const char* name;
    std::vector<local::Header> headers;
    const char* message;
};

TEST_F(RedirectTest, RedirectsThatCannotBeFollowedFailWithTheirStatusAndWhy)
{
    const std::vector<UnfollowableRedirect> cases{
        {"loop", {{"Location", "/start"}}, "too many redirects"},
        {"no Location", {}, "redirect without a location"},
        {"empty Location", {{"Location", ""}}, "redirect without a location"},
        {"ftp", {{"Location", "ftp://127.0.0.1/file"}}, "not an http or https location"},
        {"mailto", {{"Location", "mailto:someone@example.org"}}, "not an http or https location"},
    };
    for (const auto& redirect : cases) {
        SCOPED_TRACE(redirect.name);
        origin.clearScript();
        origin.clearRequests();
        origin.script("GET", "/start", local::Fault::respond({302, "", redirect.headers, "{}"}),
                      local::FaultScript::kForever);
        auto client = clientFor(origin.baseUrl());
        client->getConfiguration()->getHttpConfig().set_max_redirects(3);
        try {
            call(*client, L"GET", L"/start");
            ADD_FAILURE() << "the redirect was taken as the answer";
        } catch (const sdk::ApiException& error) {
            EXPECT_EQ(error.error_code().value(), 302);
            EXPECT_NE(std::string(error.what()).find(redirect.message), std::string::npos) << error.what();
        }
        // Not repeated: one request, plus the three redirects of the loop.
        EXPECT_EQ(origin.requests().size(), std::string(redirect.name) == "loop" ? 4u : 1u);
    }
}

class UploadTest : public ApiClientTest {
protected:
    std::string writeFile(std::size_t size)
    {
        const std::string path = testing::TempDir() + "upload-" + std::to_string(size) + ".bin";
        std::string content(size, '\0');
        for (std::size_t i = 0; i < size; ++i) {
            content[i] = static_cast<char>((i * 7919) >> 3);
        }
        std::ofstream(path, std::ios::binary).write(content.data(), static_cast<std::streamsize>(size));
        checksum = local::Checksum::of(content);
        return path;
    }

    std::shared_ptr<sdk::HttpContent> filePart(const std::string& path)
    {
        auto part = std::make_shared<sdk::HttpContent>();
        part->setFileName(sdk::fromUtf8(path));
        part->setContentType(L"application/octet-stream");
        part->setData(std::make_shared<std::ifstream>(path, std::ios::binary));
        return part;
    }

    std::uint64_t checksum = 0;
};

TEST_F(UploadTest, StreamsFilePartsWithAContentLength)
{
    const std::string path = writeFile(8 * 1024 * 1024 + 3);
    auto client = clientFor(server.baseUrl());
    const FileMap files{{L"my-upload", filePart(path)}};
    const StringMap fields{{L"__fcs__jobTicket", L"t\u00e9"}};
    client->callApi(L"/upload", L"POST", {}, nullptr, {}, fields, files, L"multipart/form-data").get();

    const auto request = server.requests().at(0);
    EXPECT_EQ(request.multipartError, "");
    EXPECT_FALSE(request.hasHeader("Transfer-Encoding"));
    EXPECT_EQ(request.header("Content-Length"), std::to_string(request.bodySize));
    EXPECT_EQ(request.header("Content-Type").rfind("multipart/form-data; boundary=", 0), 0u);
    ASSERT_EQ(request.parts.size(), 2u);
    EXPECT_EQ(request.parts[0].name, "__fcs__jobTicket");
    EXPECT_EQ(request.parts[0].data, "t\xc3\xa9");
    EXPECT_EQ(request.parts[1].name, "my-upload");
    EXPECT_EQ(request.parts[1].fileName, path);
    EXPECT_EQ(request.parts[1].contentType, "application/octet-stream");
    EXPECT_EQ(request.parts[1].size, 8u * 1024 * 1024 + 3);
    EXPECT_EQ(request.parts[1].checksum, checksum);
    std::remove(path.c_str());
}

TEST_F(UploadTest, ARepeatedUploadSendsTheWholeFileAgain)
{
    const std::string path = writeFile(3 * 1024 * 1024);
    server.script("POST", "/upload", local::Fault::respond({503, "", {}, ""}));
    auto form = std::make_shared<sdk::MultipartFormData>();
    form->add(sdk::ModelBase::toHttpContent(L"my-upload", filePart(path)));
    auto client = clientFor(server.baseUrl());
    EXPECT_EQ(client
                  ->callApiAndRetryOnError(L"/upload", L"POST", {}, form, {}, {}, {},
                                           L"multipart/form-data; boundary=" + form->getBoundary())
                  .get()
                  .status_code(),
              200);
    const auto requests = server.requests();
    ASSERT_EQ(requests.size(), 2u);
    for (const auto& request : requests) {
        ASSERT_EQ(request.parts.size(), 1u);
        EXPECT_EQ(request.parts[0].checksum, checksum);
    }
    std::remove(path.c_str());
}

TEST_F(ApiClientTest, SendsPlainFormFieldsUrlEncoded)
{
    auto client = clientFor(server.baseUrl());
    client->callApi(L"/form", L"POST", {}, nullptr, {}, {{L"a", L"1 2"}, {L"b", L"&"}}, {}, L"").get();
    const auto request = server.requests().at(0);
    EXPECT_EQ(request.header("Content-Type"), "application/x-www-form-urlencoded");
    EXPECT_EQ(request.body, "a=1%202&b=%26");
}

TEST(ApiClientParameters, RendersValuesAsText)
{
    EXPECT_EQ(sdk::ApiClient::parameterToString(std::wstring(L"a/b")), L"a/b");
    EXPECT_EQ(sdk::ApiClient::parameterToString(int32_t{-7}), L"-7");
    EXPECT_EQ(sdk::ApiClient::parameterToString(int64_t{1} << 40), L"1099511627776");
}

} // namespace
