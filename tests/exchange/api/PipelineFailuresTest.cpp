// How operations fail: at once for requests that cannot be built, through the task for bad answers.

#include "ApiTestServer.h"

#include <lithmar/exchange/api/detail/OperationPipeline.h>

#include <gtest/gtest.h>

#include <functional>

using namespace apitest;

namespace {

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
        std::string result;
        try {
            const auto outcome = outcomeOf([&] { result = sdk::toUtf8(api.getSite(L"a").get()->getResult()); });
            EXPECT_EQ(outcome == "OK" ? result : outcome, c.outcome);
        } catch (const web::json::json_exception&) {
            EXPECT_STREQ("JSON error", c.outcome);
        }
    }
    server.answerWith({204, "", {}, ""});
    EXPECT_NO_THROW(api.finishUpload(std::make_shared<model::FinishUploadCommand>()).get()) << "parses nothing";
}

TEST_F(PipelineFailures, MissingRequiredBodiesThrowAtOnceTheOtherOperationsSendNull)
{
    const auto missing = [](const std::string& name) {
        return "400 Missing required parameter 'body' when calling DataExchangeApi->" + name + " | <none>";
    };
    EXPECT_EQ(outcomeOf([&] { (void)api.createSite(nullptr); }), missing("createSite"));
    EXPECT_EQ(outcomeOf([&] { (void)api.uploadBoreholeIntervalSet(nullptr); }), missing("uploadBoreholeIntervalSet"));
    EXPECT_EQ(outcomeOf([&] { (void)api.uploadGeo(nullptr); }), missing("uploadGeo"));
    EXPECT_EQ(outcomeOf([&] { (void)api.uploadTerrain(nullptr); }), missing("uploadTerrain"));
    EXPECT_TRUE(server.server.requests().empty());

    api.uploadBoreholes(nullptr).get(), api.uploadFieldObservation(nullptr).get();
    api.startUpload(nullptr).get(), api.finishUpload(nullptr).get();
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
    EXPECT_EQ(outcomeOf(send), "400 DataExchangeApi->probe does not produce any supported media type | <none>");
    operation.responseTypes = {L"multipart/form-data"};
    operation.requestTypes = {L"text/csv"};
    EXPECT_EQ(outcomeOf(send), "415 DataExchangeApi->probe does not consume any supported media type | <none>");
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
    EXPECT_EQ(outcomeOf([&] { api::detail::parseInto(result, answer, L"probe"); }),
              "500 error calling probe: unsupported response type | <none>");
}

} // namespace
