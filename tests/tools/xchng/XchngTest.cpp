#include "Cli.h"
#include "Failure.h"
#include "Table.h"

#include <lithmar/runtime/ApiException.h>
#include <lithmar/runtime/Utf8.h>

#include <tools/local/server/HttpServer.h>

#include <boost/asio/io_context.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <sstream>

namespace sdk = com::vantorel::lithmar;
namespace local = ::lithmar::local;
namespace xchng = ::lithmar::xchng;

namespace {

struct Run {
    int exitCode;
    std::string out;
    std::string err;
};

Run run(std::vector<std::string> args)
{
    std::ostringstream out;
    std::ostringstream err;
    const int code = xchng::run(args, out, err);
    return {code, out.str(), err.str()};
}

TEST(XchngTable, AlignsColumnsByCharactersNotBytes)
{
    xchng::Table table({"ID", "NAME"});
    table.add({"1", "\xc3\x89" "corce"});
    table.add({"22", "B"});
    std::ostringstream out;
    table.print(out);
    EXPECT_EQ(out.str(), "ID  NAME\n1   \xc3\x89" "corce\n22  B\n");
}

struct FailureCase {
    const char* label;
    std::function<void()> raise;
    xchng::ExitCode exitCode;
    const char* mentions;
};

class XchngFailures : public testing::TestWithParam<FailureCase> {};

TEST_P(XchngFailures, SayWhatHappenedAndWhatToDo)
{
    std::exception_ptr error;
    try {
        GetParam().raise();
    } catch (...) {
        error = std::current_exception();
    }
    const auto failure = xchng::describe(error, "http://host/svc-xchng");
    EXPECT_EQ(failure.exitCode, GetParam().exitCode);
    EXPECT_NE(failure.message.find(GetParam().mentions), std::string::npos) << failure.message;
}

INSTANTIATE_TEST_SUITE_P(
    Exceptions, XchngFailures,
    testing::Values(
        FailureCase{"not_found",
                    [] { throw sdk::ApiException(404, L"error calling getSite: Not Found",
                                                 std::make_shared<std::istringstream>("{\"error\":\"no site\"}")); },
                    xchng::ServiceError, "{\"error\":\"no site\"}"},
        FailureCase{"server_error", [] { throw sdk::ApiException(503, L"error calling getCrs: Service Unavailable"); },
                    xchng::ServiceError, "Service Unavailable"},
        FailureCase{"wrong_content_type",
                    [] { throw sdk::ApiException(500, L"error calling getCrs: unexpected response type: text/html"); },
                    xchng::BadAnswer, "the data exchange service?"},
        FailureCase{"refused",
                    [] { throw web::http::http_exception(111, "Failed to connect to any resolved endpoint"); },
                    xchng::Unreachable, "lithmar-local running"},
        FailureCase{"timed_out", [] { throw web::http::http_exception(ETIMEDOUT, "Failed to read HTTP status line"); },
                    xchng::Unreachable, "--timeout"},
        FailureCase{"not_json", [] { throw web::json::json_exception("Malformed token"); }, xchng::BadAnswer,
                    "not the JSON expected"},
        FailureCase{"not_utf8", [] { throw sdk::EncodingError("text is not valid UTF-8 at byte 3"); },
                    xchng::BadAnswer, "not UTF-8"},
        FailureCase{"result_late", [] { throw sdk::ApiException(408, L"Timeout waiting for response."); },
                    xchng::ServiceError, "longer --timeout"},
        FailureCase{"untrackable", [] { throw sdk::ApiException(500, L"Unable to track result via notification."); },
                    xchng::ServiceError, "Sign in"},
        FailureCase{"other", [] { throw std::logic_error("odd"); }, xchng::Unexpected, "odd"}),
    [](const auto& testInfo) { return std::string(testInfo.param.label); });

TEST(XchngUsage, BadCommandLinesExitWithUsageAndAHint)
{
    for (const std::vector<std::string>& args :
         std::vector<std::vector<std::string>>{{}, {"sites"}, {"sites", "show"}, {"frobnicate"}, {"--timeout", "-1", "crs"},
                                               {"download", "model"}}) {
        const auto result = run(args);
        EXPECT_EQ(result.exitCode, xchng::Usage) << result.err;
        EXPECT_NE(result.err.find("xchng --help"), std::string::npos) << result.err;
    }
    const auto badHeader = run({"--header", "no colon", "crs"});
    EXPECT_EQ(badHeader.exitCode, xchng::Usage);
    EXPECT_NE(badHeader.err.find("Name: value"), std::string::npos) << badHeader.err;
}

TEST(XchngUsage, UploadsCheckTheirFilesBeforeAnythingIsSent)
{
    const auto directory = std::filesystem::path(testing::TempDir());
    const std::string file = (directory / "xchng-upload-a.csv").string();
    std::ofstream(file) << "id,x,y\n";
    const std::string unused = "http://127.0.0.1:" + std::to_string(1) + "/x-xchng";
    struct Case {
        std::vector<std::string> args;
        const char* mentions;
    };
    const Case cases[] = {
        {{"upload", "terrain", "--site", "s1"}, "files is required"},
        {{"upload", "terrain", file}, "--site is required"},
        {{"upload", "lidar", file, "--site", "s1"}, "xchng --help"},
        {{"upload", "geo", (directory / "no-such-file.json").string(), "--site", "s1"}, "no such file"},
        {{"upload", "intervals", file, file, "--site", "s1"}, "exactly one file"},
    };
    for (const auto& c : cases) {
        std::vector<std::string> args{"--url", unused};
        args.insert(args.end(), c.args.begin(), c.args.end());
        const auto result = run(args);
        EXPECT_EQ(result.exitCode, xchng::Usage) << result.err;
        EXPECT_NE(result.err.find(c.mentions), std::string::npos) << result.err;
    }
}

TEST(XchngUsage, HelpListsTheCommands)
{
    const auto result = run({"--help"});
    EXPECT_EQ(result.exitCode, xchng::Ok);
    for (const char* command : {"sites", "crs", "download", "upload", "--url", "--json", "--timeout"}) {
        EXPECT_NE(result.out.find(command), std::string::npos) << command;
    }
}

std::uint16_t unusedPort()
{
    boost::asio::io_context io;
    boost::asio::ip::tcp::acceptor acceptor(io, {boost::asio::ip::make_address("127.0.0.1"), 0});
    return acceptor.local_endpoint().port();
}

TEST(XchngService, AnUnreachableServiceExitsWithThree)
{
    const auto result = run({"--url", "http://127.0.0.1:" + std::to_string(unusedPort()) + "/x-xchng", "crs"});
    EXPECT_EQ(result.exitCode, xchng::Unreachable);
    EXPECT_NE(result.err.find("cannot reach the service"), std::string::npos) << result.err;
}

class XchngAgainstServer : public testing::Test {
protected:
    void SetUp() override
    {
        server.route("GET", "/svc-xchng/common/crs/v1", [](const local::RecordedRequest&) {
            return local::Response::json(200, R"({"crs":[{"id":"EPSG:4326","name":"WGS 84","unitofmeasure":"degree"}]})");
        });
        server.route("GET", "/svc-xchng/geology/geologicmodels/v1/{id}", [](const local::RecordedRequest&) {
            return local::Response::json(
                200, R"({"geologicModelId":"m1","files":[{"name":"../../escape.csv","data":"x,y\n1,2\n"}]})");
        });
        server.route("GET", "/svc-xchng/common/sites/v1/{id}", [](const local::RecordedRequest& request) {
            if (request.params.at("id") == "none") {
                return local::Response::error(404, "no site none");
            }
            return local::Response::json(
                200, R"({"tree":{"type":"Site","id":"s1","name":"North","children":[{"type":"GeologicModel",)"
                     R"("id":"m1","name":"Granite","children":[{"type":"FeatureCollection","id":"fc","name":"Faults"}]}]}})");
        });
        server.start();
        url = server.baseUrl() + "/svc-xchng";
    }

    local::HttpServer server;
    std::string url;
};

TEST_F(XchngAgainstServer, ListsCoordinateSystemsAsATableOrJson)
{
    const auto table = run({"--url", url, "-H", "X-Caller: test", "crs"});
    EXPECT_EQ(table.exitCode, xchng::Ok) << table.err;
    EXPECT_EQ(table.out, "ID         NAME    UNIT\nEPSG:4326  WGS 84  degree\n");
    EXPECT_EQ(server.requests().at(0).header("X-Caller"), "test");

    const auto json = run({"--url", url, "--json", "crs"});
    EXPECT_EQ(json.out, "{\"crs\":[{\"id\":\"EPSG:4326\",\"name\":\"WGS 84\",\"unitofmeasure\":\"degree\"}]}\n");
}

TEST_F(XchngAgainstServer, ShowsASiteTree)
{
    const auto result = run({"--url", url, "sites", "show", "s1"});
    EXPECT_EQ(result.exitCode, xchng::Ok) << result.err;
    EXPECT_EQ(result.out, "site North [s1]\n"
                          "  - GeologicModel Granite [m1]\n"
                          "    - FeatureCollection Faults [fc]\n");
}

TEST_F(XchngAgainstServer, AnUnknownSiteExitsWithFourAndTheServersWords)
{
    const auto result = run({"--url", url, "sites", "show", "none"});
    EXPECT_EQ(result.exitCode, xchng::ServiceError);
    EXPECT_NE(result.err.find("no site none"), std::string::npos) << result.err;
}

TEST_F(XchngAgainstServer, SavesDownloadsInsideTheChosenDirectoryOnly)
{
    const auto directory = std::filesystem::path(testing::TempDir()) / "xchng-download";
    std::filesystem::remove_all(directory);
    const auto result = run({"--url", url, "download", "model", "m1", "--output", directory.string()});
    EXPECT_EQ(result.exitCode, xchng::Ok) << result.err;
    std::ifstream saved(directory / "escape.csv");
    EXPECT_EQ(std::string(std::istreambuf_iterator<char>(saved), {}), "x,y\n1,2\n");
    EXPECT_NE(result.out.find("escape.csv  8"), std::string::npos) << result.out;
    const auto query = server.requests().back().query;
    EXPECT_EQ(query, "crs=&detailLevel=&format=");
}

} // namespace
