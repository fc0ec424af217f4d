// How operations fail: synchronously for requests that cannot be built,
// through the task for everything the answer gets wrong.

#include "ApiTestServer.h"

#include <lithmar/exchange/api/detail/OperationPipeline.h>
#include <lithmar/runtime/ApiException.h>

#include <gtest/gtest.h>

#include <iterator>

using namespace apitest;
using namespace std::chrono_literals;

namespace {

std::string contentOf(const sdk::ApiException& error)
{
    const auto content = error.getContent();
    return content ? std::string(std::istreambuf_iterator<char>(*content), {}) : "<none>";
}

template <typename Task>
sdk::ApiException failureOf(Task&& task)
{
    try {
        task.get();
    } catch (const sdk::ApiException& error) {
        return error;
    }
    throw std::runtime_error("the task did not fail with ApiException");
}

class PipelineFailures : public testing::Test {
protected:
    ApiTestServer server;
    api::DataExchangeApi api{server.client()};
};

TEST_F(PipelineFailures, MissingRequiredBodiesThrowAtOnceAndSendNothing)
{
    const std::pair<const char*, std::function<void()>> calls[] = {
        {"createSite", [&] { (void)api.createSite(nullptr); }},
        {"uploadBoreholeIntervalSet", [&] { (void)api.uploadBoreholeIntervalSet(nullptr); }},
        {"uploadGeo", [&] { (void)api.uploadGeo(nullptr); }},
        {"uploadTerrain", [&] { (void)api.uploadTerrain(nullptr); }},
    };
    for (const auto& [name, call] : calls) {
        try {
            call();
            ADD_FAILURE() << name << " did not throw";
        } catch (const sdk::ApiException& error) {
            EXPECT_EQ(error.error_code().value(), 400);
            EXPECT_EQ(sdk::toUtf8(error.getMessage()),
                      std::string("Missing required parameter 'body' when calling DataExchangeApi->") + name);
            EXPECT_EQ(error.getContent(), nullptr);
        }
    }
    EXPECT_TRUE(server.server.requests().empty());
}

TEST_F(PipelineFailures, TheOtherUploadsSendANullBodyAsItIs)
{
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

TEST_F(PipelineFailures, AnErrorStatusCarriesTheReasonAndTheServersBody)
{
    server.answerWith({404, "Site Not Found", {{"Content-Type", "application/json"}}, R"({"error":"no site a"})"});
    const auto error = failureOf(api.getSite(L"a"));
    EXPECT_EQ(error.error_code().value(), 404);
    EXPECT_EQ(error.getMessage(), L"error calling getSite: Site Not Found");
    EXPECT_EQ(contentOf(error), R"({"error":"no site a"})");
}

TEST_F(PipelineFailures, EveryOperationNamesItselfInItsErrors)
{
    server.answerWith({500, "Internal Server Error", {}, "boom"});
    EXPECT_EQ(failureOf(api.getCrs()).getMessage(), L"error calling getCrs: Internal Server Error");
    EXPECT_EQ(failureOf(api.getSites()).getMessage(), L"error calling getSites: Internal Server Error");
    EXPECT_EQ(failureOf(api.finishUpload(std::make_shared<model::FinishUploadCommand>())).getMessage(),
              L"error calling finishUpload: Internal Server Error");
    EXPECT_EQ(failureOf(api.downloadGeologicFeature(L"f", L"", L"", L"")).getMessage(),
              L"error calling downloadGeologicFeature: Internal Server Error");
}

TEST_F(PipelineFailures, AnAnswerOfAnotherContentTypeIsRefused)
{
    server.answerWith({200, "", {{"Content-Type", "text/html"}}, "<html>login</html>"});
    const auto error = failureOf(api.getSite(L"a"));
    EXPECT_EQ(error.error_code().value(), 500);
    EXPECT_EQ(error.getMessage(), L"error calling getSite: unexpected response type: text/html");
    EXPECT_EQ(contentOf(error), "<html>login</html>");
}

TEST_F(PipelineFailures, JsonWithACharsetPasses)
{
    server.answerWith({200, "", {{"Content-Type", "application/json; charset=utf-8"}}, R"({"id":"7"})"});
    EXPECT_EQ(api.getSite(L"a").get()->getResult(), L"");
}

TEST_F(PipelineFailures, AnAnswerWithoutContentTypeIsReadAsJson)
{
    server.answerWith({200, "", {}, R"({"result":"OK"})"});
    EXPECT_EQ(api.getSite(L"a").get()->getResult(), L"OK");
}

TEST_F(PipelineFailures, AnAnswerThatIsNotJsonFailsWithTheParsersError)
{
    server.answerWith({200, "", {}, "<html>"});
    EXPECT_THROW(api.getSite(L"a").get(), web::json::json_exception);
    server.answerWith(local::Response::json(200, R"({"result":42})"));
    EXPECT_THROW(api.getSite(L"a").get(), web::json::json_exception) << "a wrong type is the model's error";
    server.answerWith(local::Response::json(200, "{\"result\":\"bad \xff\"}"));
    EXPECT_THROW(api.getSite(L"a").get(), web::json::json_exception) << "the parser refuses bytes that are not UTF-8";
}

TEST_F(PipelineFailures, RedirectionStatusesCountAsSuccess)
{
    server.answerWith({304, "", {}, ""});
    EXPECT_NO_THROW(api.finishUpload(std::make_shared<model::FinishUploadCommand>()).get());
    server.answerWith({300, "", {{"Content-Type", "application/json"}}, R"({"result":"moved"})"});
    EXPECT_EQ(api.getCrs().get()->getResult(), L"moved");
}

TEST_F(PipelineFailures, FinishUploadAccepts204WithoutContentType)
{
    server.answerWith({204, "", {}, ""});
    EXPECT_NO_THROW(api.finishUpload(std::make_shared<model::FinishUploadCommand>()).get());
}

TEST_F(PipelineFailures, ADroppedConnectionFailsTheTask)
{
    server.server.script("POST", "/{rest...}", local::Fault::close());
    auto command = std::make_shared<model::SiteCreateCommand>();
    EXPECT_THROW(api.createSite(command).get(), web::http::http_exception);
    EXPECT_EQ(server.server.requests().size(), 1u) << "a POST that may have been acted on is not repeated";
}

TEST(PipelineTimeOut, AStalledServerEndsInAnExceptionWithinTheTimeOut)
{
    ApiTestServer server;
    server.server.script("GET", "/{rest...}", local::Fault::delay(5s));
    api::DataExchangeApi api(server.client(400ms));
    const auto started = std::chrono::steady_clock::now();
    EXPECT_THROW(api.getSite(L"slow").get(), web::http::http_exception);
    EXPECT_LT(std::chrono::steady_clock::now() - started, 4s);
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

    operation.responseTypes = {L"text/csv"};
    try {
        (void)api::detail::send(server.client(), &cookies, operation);
        ADD_FAILURE() << "no exception";
    } catch (const sdk::ApiException& error) {
        EXPECT_EQ(error.error_code().value(), 400);
        EXPECT_EQ(error.getMessage(), L"DataExchangeApi->probe does not produce any supported media type");
    }

    operation.responseTypes = {L"multipart/form-data"};
    operation.requestTypes = {L"text/csv"};
    try {
        (void)api::detail::send(server.client(), &cookies, operation);
        ADD_FAILURE() << "no exception";
    } catch (const sdk::ApiException& error) {
        EXPECT_EQ(error.error_code().value(), 415);
        EXPECT_EQ(error.getMessage(), L"DataExchangeApi->probe does not consume any supported media type");
    }
    EXPECT_TRUE(server.server.requests().empty());

    operation.requestTypes = {L"multipart/form-data"};
    server.answerWith({200, "", {{"Content-Type", "multipart/form-data; boundary=x"}}, ""});
    const auto answer = api::detail::send(server.client(), &cookies, operation).get();
    EXPECT_EQ(answer.mediaType, L"multipart/form-data");
    const auto request = server.only();
    EXPECT_EQ(request.header("Accept"), "multipart/form-data");
    ASSERT_EQ(request.parts.size(), 1u);
    EXPECT_EQ(request.parts[0].name, "body.siteName");
    EXPECT_EQ(request.parts[0].data, "s");
    sdk::exploration::model::GetSiteResult result;
    try {
        api::detail::parseInto(result, answer, L"probe");
        ADD_FAILURE() << "no exception";
    } catch (const sdk::ApiException& error) {
        EXPECT_EQ(error.error_code().value(), 500);
        EXPECT_EQ(error.getMessage(), L"error calling probe: unsupported response type");
        EXPECT_EQ(error.getContent(), nullptr);
    }
}

} // namespace
