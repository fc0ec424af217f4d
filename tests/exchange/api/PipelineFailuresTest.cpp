// How operations fail: at once for requests that cannot be built, through the task for bad answers.

#include "ApiTestServer.h"

#include <lithmar/exchange/api/detail/OperationPipeline.h>

#include <gtest/gtest.h>

#include <functional>
#include <iterator>

using namespace apitest;

namespace {

// The code, message and content of an ApiException.
std::string describe(const sdk::ApiException& error)
{
    const auto content = error.getContent();
    return std::to_string(error.error_code().value()) + " " + sdk::toUtf8(error.getMessage()) + " | " +
           (content ? std::string(std::istreambuf_iterator<char>(*content), {}) : "<none>");
}

template <typename Call> std::string failureOf(Call&& call)
{
    try {
        call();
    } catch (const sdk::ApiException& error) {
        return describe(error);
    }
    return "no ApiException";
}

class PipelineFailures : public testing::Test {
protected:
    ApiTestServer server;
    api::DataExchangeApi api{server.client()};
};

TEST_F(PipelineFailures, TransportErrorsAndBadAnswersFailTheTask)
{
    server.server.script("POST", "/{rest...}", local::Fault::close()); // on a fresh connection
    EXPECT_THROW(api.createSite(std::make_shared<model::SiteCreateCommand>()).get(), web::http::http_exception);
    EXPECT_EQ(server.server.requests().size(), 1u) << "a POST that may have been acted on is not repeated";
    server.server.script("GET", "/{rest...}", local::Fault::respond(local::Response::error(503, "busy")));
    EXPECT_NO_THROW(api.getSite(L"a").get());
    EXPECT_EQ(server.exchangeRequests().size(), 3u) << "an overloaded service is asked again";

    const struct {
        local::Response answer;
        const char* outcome; // the failure, or the parsed result's "result"
    } cases[] = {
        {{200, "", {}, "<html>"}, "JSON error"},
        {{200, "", {}, R"({"result":42})"}, "JSON error"},          // the model's error
        {{200, "", {}, "{\"result\":\"bad \xff\"}"}, "JSON error"}, // the parser refuses bytes that are not UTF-8
        {{404, "Site Not Found", {{"Content-Type", "application/json"}}, R"({"error":"no site a"})"},
         R"(404 error calling getSite: Site Not Found | {"error":"no site a"})"},
        {{200, "", {{"Content-Type", "text/html"}}, "<html>login</html>"},
         "500 error calling getSite: unexpected response type: text/html | <html>login</html>"},
        {{200, "", {{"Content-Type", "application/json; charset=utf-8"}}, R"({"result":"charset"})"}, "charset"},
        {{200, "", {}, R"({"result":"untyped"})"}, "untyped"},
        {{300, "", {{"Content-Type", "application/json"}}, R"({"result":"moved"})"}, "moved"},
    };
    for (const auto& c : cases) {
        server.answerWith(c.answer);
        try {
            EXPECT_EQ(sdk::toUtf8(api.getSite(L"a").get()->getResult()), c.outcome);
        } catch (const sdk::ApiException& error) {
            EXPECT_EQ(describe(error), c.outcome);
        } catch (const web::json::json_exception&) {
            EXPECT_STREQ("JSON error", c.outcome);
        }
    }
    server.answerWith({204, "", {}, ""});
    EXPECT_NO_THROW(api.finishUpload(std::make_shared<model::FinishUploadCommand>()).get()) << "parses nothing";
}

TEST_F(PipelineFailures, MissingRequiredBodiesThrowAtOnceTheOtherOperationsSendNull)
{
    const std::pair<std::string, std::function<void()>> required[] = {
        {"createSite", [&] { (void)api.createSite(nullptr); }},
        {"uploadBoreholeIntervalSet", [&] { (void)api.uploadBoreholeIntervalSet(nullptr); }},
        {"uploadGeo", [&] { (void)api.uploadGeo(nullptr); }},
        {"uploadTerrain", [&] { (void)api.uploadTerrain(nullptr); }},
    };
    for (const auto& [name, call] : required) {
        EXPECT_EQ(failureOf(call),
                  "400 Missing required parameter 'body' when calling DataExchangeApi->" + name + " | <none>");
    }
    EXPECT_TRUE(server.server.requests().empty());

    api.uploadBoreholes(nullptr).get();
    api.uploadFieldObservation(nullptr).get();
    api.startUpload(nullptr).get();
    api.finishUpload(nullptr).get();
    const auto requests = server.exchangeRequests();
    ASSERT_EQ(requests.size(), 4u);
    for (const auto& request : requests) {
        EXPECT_EQ(request.body, "null") << request.target;
    }
}

// The operations all ask for and send JSON; the negotiation still covers the
// other cases so that an operation with other media types behaves sensibly.
TEST_F(PipelineFailures, MediaTypeNegotiation)
{
    std::wstring cookies;
    api::detail::Operation operation{L"probe", L"POST", L"/probe"};
    operation.hasBody = true;
    auto command = std::make_shared<model::SiteCreateCommand>();
    command->setSiteName(L"s");
    operation.body = command;
    const auto send = [&] { return api::detail::send(server.client(), &cookies, operation); };

    operation.responseTypes = {L"text/csv"};
    EXPECT_EQ(failureOf(send), "400 DataExchangeApi->probe does not produce any supported media type | <none>");
    operation.responseTypes = {L"multipart/form-data"};
    operation.requestTypes = {L"text/csv"};
    EXPECT_EQ(failureOf(send), "415 DataExchangeApi->probe does not consume any supported media type | <none>");
    EXPECT_TRUE(server.server.requests().empty());

    operation.requestTypes = {L"multipart/form-data"};
    server.answerWith({200, "", {{"Content-Type", "multipart/form-data; boundary=x"}}, ""});
    const auto answer = send().get();
    EXPECT_EQ(answer.mediaType, L"multipart/form-data");
    const auto request = server.server.requests().at(0);
    EXPECT_EQ(request.header("Accept"), "multipart/form-data");
    ASSERT_EQ(request.parts.size(), 1u);
    EXPECT_EQ(request.parts[0].name, "body.siteName");
    EXPECT_EQ(request.parts[0].data, "s");
    model::GetSiteResult result;
    EXPECT_EQ(failureOf([&] { api::detail::parseInto(result, answer, L"probe"); }),
              "500 error calling probe: unsupported response type | <none>");
}

} // namespace
