// The client runtime: requests as the server core's HttpServer sees them (scripted to misbehave), and the
// bodies, text conversions and errors they are made of.
#include <lithmar/runtime/ApiClient.h>
#include <lithmar/runtime/ApiException.h>
#include <lithmar/runtime/JsonBody.h>
#include <lithmar/runtime/ModelBase.h>
#include <lithmar/runtime/Utf8.h>
#include <lithmar/runtime/detail/RetryRules.h>

#include <tools/local/server/Checksum.h>
#include <tools/local/server/HttpServer.h>

#include <gtest/gtest.h>

#include <cerrno>
#include <functional>
#include <sstream>
#include <thread>

namespace sdk = com::vantorel::lithmar;
namespace local = ::lithmar::local;
using namespace std::chrono_literals;
using sdk::ModelBase;

namespace {

using StringMap = std::map<std::wstring, std::wstring>;

std::shared_ptr<sdk::ApiClient> clientFor(const std::string& baseUrl, int attempts = 4,
                                          std::chrono::milliseconds timeout = 5s)
{
    auto configuration = std::make_shared<sdk::ApiConfiguration>();
    configuration->setBaseUrl(sdk::fromUtf8(baseUrl));
    configuration->setRetryPolicy({attempts, 20ms, 100ms, 10s});
    configuration->getHttpConfig().set_timeout(timeout);
    return std::make_shared<sdk::ApiClient>(configuration);
}

web::http::http_response call(const sdk::ApiClient& client, const std::wstring& method, const std::wstring& path,
                              const char* json = nullptr, const StringMap& headers = {}, const StringMap& query = {})
{
    const auto body = json ? std::make_shared<sdk::JsonBody>(web::json::value::parse(json)) : nullptr;
    return client.callApiAndRetryOnError(path, method, query, body, headers, {}, {}, L"application/json").get();
}

local::Fault answer(int status, std::vector<local::Header> headers = {})
{
    return local::Fault::respond({status, "", std::move(headers), ""});
}

void answerEverything(local::HttpServer& server, const std::string& body = "{}")
{
    server.route("*", "/{rest...}", [body](const local::RecordedRequest&) { return local::Response::json(200, body); });
    server.start();
}

std::string readAll(sdk::BodyReader& reader, std::size_t chunk)
{
    std::string text, buffer(chunk, '\0');
    while (const std::size_t n = reader.read(buffer.data(), buffer.size())) {
        text.append(buffer.data(), n);
    }
    return text;
}

// What a call fails with, or "" when it does not fail.
std::string failureOf(const std::function<void()>& action)
{
    try {
        action();
    } catch (const std::exception& error) {
        return error.what();
    }
    return "";
}

class ApiClientTest : public testing::Test {
protected:
    void SetUp() override { answerEverything(server); }

    local::HttpServer server;
};

TEST_F(ApiClientTest, SendsPathQueryHeadersAndBodiesAsTheServerSeesThem)
{
    auto client = clientFor(server.baseUrl() + "/svc-xchng/");
    call(*client, L"GET", L"/sites/a/b c/\u00e9", nullptr, {{L"X-Trace", L"t1"}},
         {{L"format", L"a&b=c"}, {L"crs", L""}});
    call(*client, L"POST", L"/sites", "{\"siteName\":\"s\xc3\xa9\"}");
    client->callApi(L"/form", L"POST", {}, nullptr, {}, {{L"a", L"1 2"}, {L"b", L"&"}}, {}, L"").get();
    const auto requests = server.requests();
    ASSERT_EQ(requests.size(), 3u);
    EXPECT_EQ(requests[0].method + " " + requests[0].target,
              "GET /svc-xchng/sites/a/b%20c/%C3%A9?crs=&format=a%26b%3Dc");
    EXPECT_EQ(requests[0].header("X-Trace"), "t1");
    EXPECT_EQ(requests[1].header("Content-Type") + " " + requests[1].body,
              "application/json {\"siteName\":\"s\xc3\xa9\"}");
    EXPECT_EQ(requests[2].header("Content-Type") + " " + requests[2].body,
              "application/x-www-form-urlencoded a=1%202&b=%26");
    EXPECT_EQ(sdk::ApiClient::parameterToString(int32_t{-7}) + sdk::ApiClient::parameterToString(int64_t{1} << 40),
              L"-71099511627776");
}

TEST_F(ApiClientTest, SharesConnectionsBetweenConcurrentCallsAndCopies)
{
    auto client = clientFor(server.baseUrl());
    const sdk::ApiClient copy = *client;
    for (int wave = 0; wave < 4; ++wave) {
        std::vector<pplx::task<std::string>> calls;
        for (int i = 0; i < 16; ++i) {
            const sdk::ApiClient& caller = i % 2 ? copy : *client;
            calls.push_back(caller.callApiAndRetryOnError(L"/c", L"GET", {}, nullptr, {}, {}, {}, L"application/json")
                                .then([](web::http::http_response r) { return r.extract_utf8string(true); }));
        }
        for (auto& pending : calls) {
            EXPECT_EQ(pending.get(), "{}");
        }
        // cpprestsdk puts a connection back in its pool just after the body completes.
        std::this_thread::sleep_for(20ms);
    }
    EXPECT_EQ(server.requests().size(), 64u);
    EXPECT_LE(server.acceptedConnections(), 32u) << "later waves reuse the connections of the first";
}

TEST_F(ApiClientTest, RepeatsOnlyWhatIsSafeToRepeat)
{
    const struct {
        const char* what;
        const char* method;
        std::vector<local::Fault> faults; // for the first requests, in order; then 200
        int status;                       // the answer's status; or the call throws (with this error code unless -1)
        std::size_t requests;             // how many reached the server
    } cases[] = {
        {"503 honouring Retry-After", "GET", {answer(503, {{"Retry-After", "0"}})}, 200, 2},
        {"429 on a POST", "POST", {answer(429), answer(429)}, 200, 3},
        {"GET lost, 502, 504", "GET", {local::Fault::close(), answer(502), answer(504)}, 200, 4},
        {"POST lost after sending", "POST", {local::Fault::close()}, -1, 1},
        {"502 on a POST", "POST", {answer(502)}, 502, 1},
        {"500 is an answer", "GET", {answer(500)}, 500, 1},
        {"503 past the last attempt", "GET", std::vector<local::Fault>(5, answer(503)), 503, 4},
        {"Retry-After past the budget", "GET", {answer(503, {{"Retry-After", "30"}})}, 503, 1},
        {"an answer that is not HTTP", "GET", {local::Fault::garbage("SSH-2.0-OpenSSH\r\n\r\n")}, -1, 1},
        {"a stalled server", "GET", {local::Fault::delay(10s)}, ETIMEDOUT, 1},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.what);
        server.clearScript();
        server.clearRequests();
        for (const auto& fault : c.faults) {
            server.script(c.method, "/x", fault);
        }
        const char* body = std::string(c.method) == "POST" ? R"({"k":1})" : nullptr;
        const auto client = clientFor(server.baseUrl(), 4, 3s);
        try {
            EXPECT_EQ(call(*client, sdk::fromUtf8(c.method), L"/x", body).status_code(), c.status);
        } catch (const web::http::http_exception& error) {
            EXPECT_TRUE(c.status == -1 || c.status == error.error_code().value()) << error.what();
        }
        const auto requests = server.requests();
        EXPECT_EQ(requests.size(), c.requests);
        for (const auto& request : requests) {
            EXPECT_EQ(request.body, body ? body : "") << "each attempt sends the whole body";
        }
    }
}

TEST(ApiClientRefused, FailsWhenNoServerAnswersAndRepeatsEvenAPostUntilOneDoes)
{
    local::HttpServer late;
    answerEverything(late);
    const std::string url = late.baseUrl();
    late.stop();
    EXPECT_THROW(call(*clientFor(url, 2), L"GET", L"/ping"), web::http::http_exception);
    auto pending = clientFor(url, 60)->callApiAndRetryOnError(L"/ping", L"POST", {}, nullptr, {}, {}, {}, L"");
    std::this_thread::sleep_for(300ms);
    late.start(); // on the same port
    EXPECT_EQ(pending.get().status_code(), 200) << "a request that was never sent is safe to repeat";
    EXPECT_EQ(late.requests().size(), 1u);
    // cpprestsdk's words for the failures that the calls above never meet.
    EXPECT_EQ(sdk::classifyTransportError(0, "Error resolving address"), sdk::AttemptOutcome::NotSent);
    EXPECT_EQ(sdk::classifyTransportError(32, "Failed to write request body"), sdk::AttemptOutcome::LostAfterSending);
}

TEST(RetryPolicy, BacksOffExponentiallyUpToTheCapWithFullJitterUnlessTheServerSaysHowLong)
{
    const sdk::RetryPolicy policy{4, 100ms, 1000ms, 10s};
    using Pause = std::tuple<int, double, int>; // attempt, random draw, pause in ms
    for (auto [attempt, random, pause] :
         {Pause{2, .999, 99}, {3, .999, 199}, {4, .999, 399}, {9, .999, 999}, {40, .5, 500}, {3, 0.0, 0}}) {
        EXPECT_EQ(sdk::backoffDelay(policy, attempt, random).count(), pause) << attempt << " " << random;
    }
    EXPECT_EQ(sdk::RetryPolicy::none().maxAttempts, 1);
    const auto now = std::chrono::system_clock::from_time_t(784111777); // Sun, 06 Nov 1994 08:49:37 GMT
    EXPECT_EQ(sdk::parseRetryAfter("3", now), 3000ms);
    EXPECT_EQ(sdk::parseRetryAfter("Sun, 06 Nov 1994 08:49:47 GMT", now), 10000ms);
    EXPECT_EQ(sdk::parseRetryAfter("Sun, 06 Nov 1994 08:49:00 GMT", now), 0ms);
    for (const char* refused : {"", "-5", "soon"}) {
        EXPECT_EQ(sdk::parseRetryAfter(refused, now), std::nullopt) << refused;
    }
}

TEST_F(ApiClientTest, FollowsRedirectsCarryingCredentialsOnlyWithinTheOrigin)
{
    local::HttpServer& origin = server;
    local::HttpServer::Options otherHost;
    otherHost.address = "127.0.0.2";
    local::HttpServer other(otherHost);
    answerEverything(other, R"({"host":"other"})");
    const StringMap credentials{{L"Cookie", L"JSESSIONID=secret;SERVERID=s1"}, {L"Authorization", L"Bearer t"}};
    origin.script("GET", "/start", answer(302, {{"Location", other.baseUrl() + "/elsewhere"}}));
    origin.script("GET", "/dir/same", answer(301, {{"Location", "moved?x=1"}}));
    origin.script("POST", "/a", answer(307, {{"Location", "/b"}}));
    origin.script("POST", "/c", answer(303, {{"Location", "/d"}}));
    auto client = clientFor(origin.baseUrl());
    EXPECT_EQ(call(*client, L"GET", L"/start", nullptr, credentials).extract_utf8string(true).get(),
              R"({"host":"other"})");
    call(*client, L"GET", L"/dir/same", nullptr, credentials);
    call(*client, L"POST", L"/a", R"({"k":1})");
    call(*client, L"POST", L"/c", R"({"k":2})", {{L"Content-Type", L"application/json"}}); // as the API layer sends it
    const auto arrived = other.requests().at(0);
    EXPECT_EQ(arrived.path + arrived.header("Cookie") + arrived.header("Authorization"), "/elsewhere");
    const auto requests = origin.requests();
    ASSERT_EQ(requests.size(), 7u);
    EXPECT_EQ(requests[2].target, "/dir/moved?x=1");
    EXPECT_EQ(requests[2].header("Cookie") + " " + requests[2].header("Authorization"),
              "JSESSIONID=secret;SERVERID=s1 Bearer t");
    EXPECT_EQ(requests[4].method + requests[4].path + requests[4].body, R"(POST/b{"k":1})");
    EXPECT_EQ(requests[6].method + requests[6].path + requests[6].header("Content-Type"), "GET/d");
    EXPECT_EQ(requests[6].bodySize, 0u);
}

TEST_F(ApiClientTest, RedirectsThatCannotBeFollowedFailWithTheirStatusAndWhy)
{
    local::HttpServer& origin = server;
    const struct {
        std::vector<local::Header> headers;
        const char* message;
        std::size_t requests; // not repeated: one, plus the three redirects of the loop
    } cases[] = {
        {{{"Location", "/start"}}, "too many redirects", 4},
        {{}, "redirect without a location", 1},
        {{{"Location", ""}}, "redirect without a location", 1},
        {{{"Location", "ftp://127.0.0.1/file"}}, "not an http or https location", 1},
    };
    for (const auto& c : cases) {
        origin.clearScript();
        origin.clearRequests();
        origin.script("GET", "/start", answer(302, c.headers), local::FaultScript::kForever);
        auto client = clientFor(origin.baseUrl());
        client->getConfiguration()->getHttpConfig().set_max_redirects(3);
        try {
            call(*client, L"GET", L"/start");
            ADD_FAILURE() << "the redirect was taken as the answer";
        } catch (const sdk::ApiException& error) {
            EXPECT_EQ(error.error_code().value(), 302);
            EXPECT_NE(std::string(error.what()).find(c.message), std::string::npos) << error.what();
        }
        EXPECT_EQ(origin.requests().size(), c.requests);
    }
    // Following switched off: the caller reads the redirect itself.
    auto client = clientFor(origin.baseUrl());
    client->getConfiguration()->getHttpConfig().set_max_redirects(0);
    EXPECT_EQ(call(*client, L"GET", L"/start").status_code(), 302);
}

TEST_F(ApiClientTest, StreamsFormsWithFilesWithAContentLengthAndResendsThemWhole)
{
    std::string content; // several of the client's 1 MiB chunks
    while (content.size() < 8 << 20) {
        content += std::to_string(content.size() * 7919);
    }
    auto file = std::make_shared<sdk::HttpContent>();
    file->setFileName(L"g\u00e9o.bin");
    file->setContentType(L"application/octet-stream");
    file->setData(std::make_shared<std::istringstream>(content));
    server.script("POST", "/upload", answer(503));
    clientFor(server.baseUrl())
        ->callApiAndRetryOnError(L"/upload", L"POST", {}, nullptr, {}, {{L"__fcs__jobTicket", L"t\u00e9"}},
                                 {{L"my-upload", file}}, L"multipart/form-data")
        .get();
    const auto requests = server.requests();
    ASSERT_EQ(requests.size(), 2u);
    for (const auto& request : requests) {
        EXPECT_EQ(request.multipartError, "");
        EXPECT_FALSE(request.hasHeader("Transfer-Encoding"));
        EXPECT_EQ(request.header("Content-Length"), std::to_string(request.bodySize));
        EXPECT_EQ(request.header("Content-Type").rfind("multipart/form-data; boundary=", 0), 0u);
        ASSERT_EQ(request.parts.size(), 2u);
        EXPECT_EQ(request.parts[0].name + "=" + request.parts[0].data, "__fcs__jobTicket=t\xc3\xa9");
        EXPECT_EQ(request.parts[1].name + ";" + request.parts[1].fileName + ";" + request.parts[1].contentType,
                  "my-upload;g\xc3\xa9o.bin;application/octet-stream");
        EXPECT_EQ(request.parts[1].size, content.size());
        EXPECT_EQ(request.parts[1].checksum, local::Checksum::of(content));
    }
}

TEST(MultipartFormData, WritesPartsInOrderAndEveryReaderStreamsTheSameBytesWithTheirSize)
{
    auto data = std::make_shared<std::istringstream>("skip|x,y\n1,2\n");
    data->seekg(5); // a part's data starts where its stream stood when it was handed over
    sdk::MultipartFormData form(L"XyZ");
    form.add(ModelBase::toHttpContent(L"__fcs__jobTicket", L"t-1"));
    form.add(ModelBase::toHttpContent(L"empty", L""));
    form.add(ModelBase::toHttpContent(L"body.fcsStreamIds", web::json::value::parse("[\"a\"]")));
    auto file = std::make_shared<sdk::HttpContent>();
    file->setName(L"my-upload");
    file->setFileName(L"C:\\data\\g\u00e9o \"1\".csv");
    file->setContentType(L"application/octet-stream");
    file->setData(data);
    form.add(file);
    const std::string expected =
        "--XyZ\r\nContent-Disposition: form-data; name=\"__fcs__jobTicket\"\r\n\r\nt-1\r\n"
        "--XyZ\r\nContent-Disposition: form-data; name=\"empty\"\r\n\r\n\r\n"
        "--XyZ\r\nContent-Disposition: form-data; name=\"body.fcsStreamIds\"\r\nContent-Type: application/json\r\n"
        "\r\n[\"a\"]\r\n"
        "--XyZ\r\nContent-Disposition: form-data; name=\"my-upload\"; filename=\"C:\\data\\g\xc3\xa9o %221%22.csv\"\r\n"
        "Content-Type: application/octet-stream\r\n\r\nx,y\n1,2\n\r\n"
        "--XyZ--\r\n";
    std::ostringstream written;
    form.writeTo(written);
    EXPECT_EQ(written.str(), expected);
    for (std::size_t chunk : {1u, 7u, 4096u}) {
        const auto reader = form.openReader();
        EXPECT_EQ(reader->size(), std::optional<std::uint64_t>(expected.size()));
        EXPECT_EQ(readAll(*reader, chunk), expected) << "chunk " << chunk;
    }
    EXPECT_EQ(ModelBase::stringFromHttpContent(form.getContent(L"my-upload")), L"x,y\n1,2\n");
    form.add(ModelBase::toHttpContent(L"__fcs__jobTicket", L"t-2"));
    EXPECT_EQ(ModelBase::stringFromHttpContent(form.getContent(L"__fcs__jobTicket")), L"t-1") << "the first counts";
    EXPECT_NE(sdk::MultipartFormData().getBoundary(), sdk::MultipartFormData().getBoundary());
}

struct OneWayBuffer : std::stringbuf { // cannot seek, like a pipe
    using std::stringbuf::stringbuf;
    pos_type seekoff(off_type, std::ios_base::seekdir, std::ios_base::openmode) override { return pos_type(-1); }
    pos_type seekpos(pos_type, std::ios_base::openmode) override { return pos_type(-1); }
};

TEST(MultipartFormData, UnseekablePartHasNoSizeAndCannotBeSentTwice)
{
    OneWayBuffer buffer("streamed");
    sdk::MultipartFormData form(L"b");
    auto part = std::make_shared<sdk::HttpContent>();
    part->setName(L"my-upload");
    part->setData(std::make_shared<std::istream>(&buffer));
    form.add(part);
    const auto reader = form.openReader();
    EXPECT_EQ(reader->size(), std::nullopt);
    EXPECT_NE(readAll(*reader, 3).find("\r\n\r\nstreamed\r\n--b--"), std::string::npos);
    EXPECT_NE(failureOf([&] { readAll(*form.openReader(), 1024); }).find("'my-upload' cannot be sent again"),
              std::string::npos);
}

TEST(Utf8, ConvertsBothWaysAndSaysWhereTextIsInvalid)
{
    const struct {
        std::wstring wide;
        std::string utf8;
        const char* error; // when set, converting the side that is not empty fails saying this
    } cases[] = {
        {L"G\u00e9ologie \u5730\u8cea", "G\xc3\xa9ologie \xe5\x9c\xb0\xe8\xb3\xaa", nullptr},
        {L"\U0001F30B", "\xf0\x9f\x8c\x8b", nullptr},
        {std::wstring(L"a\0b", 3), std::string("a\0b", 3), nullptr},
        {L"", "ab\x80", "byte 2"},        // a lone continuation byte
        {L"", "abc\xe5\x9c", "byte 3"},   // a truncated sequence
        {L"", "x\xed\xa0\x80", "byte 1"}, // an encoded surrogate
        {std::wstring(L"ok") + wchar_t(0xD800), "", "position 2"},
    };
    for (const auto& c : cases) {
        if (c.error) {
            const auto failure =
                failureOf([&] { c.utf8.empty() ? (void)sdk::toUtf8(c.wide) : (void)sdk::fromUtf8(c.utf8); });
            EXPECT_NE(failure.find(c.error), std::string::npos) << failure;
        } else {
            EXPECT_EQ(sdk::toUtf8(c.wide), c.utf8);
            EXPECT_EQ(sdk::fromUtf8(c.utf8), c.wide);
        }
    }
}

// The conversions that generated models read every value with; the models' own tests cover when they apply.
TEST(ModelBase, SaysWhatAJsonValueShouldHaveBeenAndWhatItWas)
{
    const auto failure = [](const char* json, auto read) {
        auto value = web::json::value::parse(json);
        return failureOf([&] { read(value); });
    };
    const auto text = [](web::json::value& value) { ModelBase::stringFromJson(value); };
    const auto integer = [](web::json::value& value) { ModelBase::int32_tFromJson(value); };
    EXPECT_EQ(failure("12", text), "expected a JSON string but found a number");
    EXPECT_EQ(failure("[1]", text), "expected a JSON string but found an array");
    EXPECT_EQ(failure("{}", text), "expected a JSON string but found an object");
    EXPECT_EQ(failure("true", text), "expected a JSON string but found a boolean");
    EXPECT_EQ(failure("2147483648", integer), "expected a 32-bit integer but found 2147483648");
    EXPECT_EQ(failure("\"7\"", integer), "expected a JSON integer but found a string");
}

TEST(ApiException, CarriesStatusUtf8MessageAndSharedContent)
{
    auto body = std::make_shared<std::stringstream>("{}");
    const sdk::ApiException copy = sdk::ApiException(404, L"Not Found \u2014 site", body);
    EXPECT_EQ(std::to_string(copy.error_code().value()) + " " + copy.what(), "404 Not Found \xe2\x80\x94 site");
    EXPECT_EQ(copy.getMessage(), L"Not Found \u2014 site");
    EXPECT_EQ(copy.getContent(), body);
    // An error must always be constructible: characters that are not Unicode are dropped.
    EXPECT_STREQ(sdk::ApiException(500, std::wstring(L"bad ") + wchar_t(0xDC00) + L"end").what(), "bad end");
}

} // namespace
