// xchng: what failed, as an exit code and a message (or one JSON object) that says what to do (tables), the site
// checked before an upload session opens, and an interrupted session finished; answers printed as tables,
// trees or JSON; downloads kept inside their directory; the platform session commands and the file that keeps
// a session; uploads with plain progress lines off a terminal.

#include "Cli.h"
#include "Failure.h"
#include "ProgressBar.h"
#include "SessionFile.h"

#include <lithmar/runtime/ApiException.h>
#include <lithmar/runtime/Utf8.h>

#include <tests/support/Platform.h>
#include <tests/support/TemporaryDirectory.h>

#include <tools/local/server/HttpServer.h>

#include <cpprest/json.h>
#include <gmock/gmock.h>

#include <sys/stat.h>

#include <algorithm>
#include <fstream>
#include <sstream>

namespace {

namespace sdk = com::vantorel::lithmar;
namespace local = ::lithmar::local;
namespace test = ::lithmar::test;
namespace xchng = ::lithmar::xchng;
namespace fs = std::filesystem;
using test::TemporaryDirectory;
using ::testing::HasSubstr;
using ::testing::Not;
using Args = std::vector<std::string>;

struct Ran {
    int exitCode;
    std::string out;
    std::string err;
};

Ran run(const Args& args, const std::string& typed = "")
{
    std::istringstream in(typed);
    std::ostringstream out;
    std::ostringstream err;
    const int code = xchng::run(args, in, out, err);
    return {code, out.str(), err.str()};
}

struct Thrown {
    std::function<void()> raise;
    xchng::ExitCode exitCode;
    const char* mentions;
};

TEST(XchngFailures, SayWhatHappenedAndWhatToDo)
{
    using Api = sdk::ApiException;
    const Thrown cases[] = {
        {[] { throw Api(404, L"Not Found", std::make_shared<std::istringstream>("gone")); }, xchng::ServiceError,
         "no such object at http://host/svc-xchng\ngone"},
        {[] { throw Api(503, L"Service Unavailable"); }, xchng::ServiceError, "Service Unavailable"},
        {[] { throw Api(500, L"unexpected response type: text/html"); }, xchng::BadAnswer, "exchange service?"},
        {[] { throw web::http::http_exception(111, "refused"); }, xchng::Unreachable, "lithmar-local running"},
        {[] { throw web::http::http_exception(ETIMEDOUT, "Failed to read"); }, xchng::Unreachable, "--timeout"},
        {[] { throw web::json::json_exception("Malformed token"); }, xchng::BadAnswer, "not the JSON expected"},
        {[] { throw sdk::EncodingError("not valid UTF-8 at byte 3"); }, xchng::BadAnswer, "not UTF-8"},
        {[] { throw Api(408, L"Timeout waiting for response."); }, xchng::ServiceError, "longer --timeout"},
        {[] { throw Api(500, L"Unable to track result via notification."); }, xchng::ServiceError, "Sign in"},
        {[] { throw std::logic_error("odd"); }, xchng::Unexpected, "odd"},
    };
    for (const Thrown& thrown : cases) {
        SCOPED_TRACE(thrown.mentions);
        std::exception_ptr error;
        try {
            thrown.raise();
        } catch (...) {
            error = std::current_exception();
        }
        const auto failure = xchng::describe(error, "http://host/svc-xchng");
        EXPECT_EQ(failure.exitCode, thrown.exitCode);
        EXPECT_THAT(failure.message, HasSubstr(thrown.mentions));
    }
}

class XchngAgainstServer : public testing::Test {
protected:
    void SetUp() override
    {
        server.route("GET", "/svc-xchng/common/crs/v1", [](const local::RecordedRequest&) {
            return local::Response::json(200,
                                         R"({"crs":[{"id":"EPSG:4326","name":"\u00c9corce","unitofmeasure":"m"}]})");
        });
        server.route("GET", "/svc-xchng/geology/geologicmodels/v1/{id}", [](const local::RecordedRequest&) {
            return local::Response::json(200, R"({"files":[{"name":"../../escape.csv","data":"x,y\n1,2\n"}]})");
        });
        server.route("GET", "/svc-xchng/common/sites/v1/{id}", [](const local::RecordedRequest& request) {
            if (request.params.at("id") == "none") {
                return local::Response::error(404, "no site none");
            }
            return local::Response::json(200, R"({"tree":{"type":"Site","id":"s1","name":"North","children":[)"
                                              R"({"type":"GeologicModel","id":"m1","name":"Granite","children":[)"
                                              R"({"type":"FeatureCollection","id":"fc","name":"Faults"}]}]}})");
        });
        server.start();
        url = server.baseUrl() + "/svc-xchng";
    }

    local::HttpServer server;
    std::string url;
};

struct Outcome {
    Args args; // with --url of the test's server unless they name one
    int exitCode;
    const char* mentions; // in what goes to stdout on success, stderr otherwise
};

TEST_F(XchngAgainstServer, EveryOutcomeHasItsExitCodeAndMessage)
{
    TemporaryDirectory files;
    const std::string file = files.write("a.csv", "id,x,y\n").string();
    const std::string absent = (files.path() / "absent.json").string();
    const Outcome cases[] = {
        {{"--help"}, xchng::Ok, "7    an import"},
        {{}, xchng::Usage, "xchng --help"},
        {{"sites"}, xchng::Usage, "xchng --help"},
        {{"sites", "show"}, xchng::Usage, "xchng --help"},
        {{"download", "model"}, xchng::Usage, "xchng --help"},
        {{"--timeout", "-1", "crs"}, xchng::Usage, "xchng --help"},
        {{"--header", "no colon", "crs"}, xchng::Usage, "Name: value"},
        {{"--ca-file", absent, "crs"}, xchng::Usage, "--ca-file"},
        {{"upload", "terrain", "--site", "s1"}, xchng::Usage, "files is required"},
        {{"upload", "terrain", file}, xchng::Usage, "--site is required"},
        {{"upload", "lidar", file, "--site", "s1"}, xchng::Usage, "xchng --help"},
        {{"upload", "geo", absent, "--site", "s1"}, xchng::Usage, "no such file"},
        {{"upload", "intervals", file, file, "--site", "s1"}, xchng::Usage, "exactly one file"},
        {{"upload", "files", absent}, xchng::Usage, "absent.json"},
        {{"sites", "show", "none"}, xchng::ServiceError, "no site none"},
        {{"--json", "sites", "show", "none"}, xchng::ServiceError, R"("status":404,)"},
        {{"--json", "upload", "lidar", file, "--site", "s1"}, xchng::Usage, R"("command":"upload")"},
        {{"upload", "boreholes", file, "--site", "none"}, xchng::ServiceError, "no site none"},
        {{"--url", "http://127.0.0.1:1/svc-xchng", "crs"}, xchng::Unreachable, "cannot reach the service"},
    };
    for (const Outcome& outcome : cases) {
        Args args = outcome.args;
        if (args.empty() || args[0] != "--url") {
            args.insert(args.begin(), {"--url", url});
        }
        SCOPED_TRACE(testing::PrintToString(args));
        const std::size_t requests = server.requests().size();
        const Ran result = run(args);
        EXPECT_EQ(result.exitCode, outcome.exitCode);
        EXPECT_THAT(outcome.exitCode == xchng::Ok ? result.out : result.err, HasSubstr(outcome.mentions));
        if (outcome.exitCode == xchng::Usage) {
            EXPECT_EQ(server.requests().size(), requests) << "nothing is sent for a bad command line";
        }
        if (std::count(args.begin(), args.end(), "--json") && outcome.exitCode != xchng::Ok) {
            EXPECT_EQ(web::json::value::parse(result.err).at("exitCode").as_integer(), outcome.exitCode);
        }
        for (std::size_t i = requests; i < server.requests().size(); ++i) {
            EXPECT_THAT(server.requests()[i].path, Not(HasSubstr("/upload/"))) << "the site is checked first";
        }
    }
}

TEST_F(XchngAgainstServer, PrintsTablesByCharactersTreesAndJsonAndSavesDownloadsInsideTheirDirectory)
{
    const Ran table = run({"--url", url, "-H", "X-Caller: test", "crs"});
    EXPECT_EQ(table.out, "ID         NAME    UNIT\nEPSG:4326  \xc3\x89"
                         "corce  m\n");
    EXPECT_EQ(server.requests().at(0).header("X-Caller"), "test");
    EXPECT_EQ(run({"--url", url, "--json", "crs"}).out, "{\"crs\":[{\"id\":\"EPSG:4326\",\"name\":\"\xc3\x89"
                                                        "corce\",\"unitofmeasure\":\"m\"}]}\n");
    EXPECT_EQ(run({"--url", url, "sites", "show", "s1"}).out,
              "site North [s1]\n  - GeologicModel Granite [m1]\n    - FeatureCollection Faults [fc]\n");

    TemporaryDirectory directory;
    const Ran result = run({"--url", url, "download", "model", "m1", "--output", directory.path().string()});
    EXPECT_EQ(result.exitCode, xchng::Ok) << result.err;
    std::ifstream saved(directory.path() / "escape.csv");
    EXPECT_EQ(std::string(std::istreambuf_iterator<char>(saved), {}), "x,y\n1,2\n");
    EXPECT_THAT(result.out, HasSubstr("escape.csv  8"));
    EXPECT_EQ(server.requests().back().query, "crs=&detailLevel=&format=");
}

// Keeps sessions in a directory of the test's own.
class XchngSession : public testing::Test {
protected:
    XchngSession() { ::setenv("XDG_CONFIG_HOME", config.path().c_str(), 1); }
    ~XchngSession() override { ::unsetenv("XDG_CONFIG_HOME"); }

    TemporaryDirectory config;
    const fs::path sessions = config.path() / "lithmar" / "sessions";
};

int modeOf(const fs::path& path)
{
    struct stat status {};
    EXPECT_EQ(::stat(path.c_str(), &status), 0) << path;
    return static_cast<int>(status.st_mode & 0777);
}

TEST_F(XchngSession, TheFileIsOwnerOnlyAndKeepsOneCookiePerService)
{
    const xchng::SessionFile file;
    const mode_t umask = ::umask(022); // the usual one, which would let others read
    file.store("https://a/x-xchng", "JSESSIONID=A;SERVERID=n");
    file.store("https://b/x-xchng", "JSESSIONID=B");
    ::umask(umask);
    EXPECT_EQ(modeOf(sessions), 0600);
    EXPECT_EQ(modeOf(sessions.parent_path()), 0700);
    EXPECT_EQ(file.cookieFor("https://a/x-xchng"), "JSESSIONID=A;SERVERID=n");
    file.store("https://a/x-xchng", std::nullopt);
    EXPECT_FALSE(file.cookieFor("https://a/x-xchng"));
    EXPECT_EQ(file.cookieFor("https://b/x-xchng"), "JSESSIONID=B");
}

TEST_F(XchngSession, SignsInKeepsTheSessionForLaterCommandsAndSignsOut)
{
    local::LocalPlatform platform(test::platformModeWithOneUser());
    platform.start();
    const auto with = [&](Args more) {
        more.insert(more.begin(), {"-u", platform.exchangeUrl(), "--ca-file", platform.caCertificate()});
        return more;
    };
    const Ran wrong = run(with({"signin", "--user", "ada"}), "guess\n");
    EXPECT_EQ(wrong.exitCode, xchng::ServiceError);
    EXPECT_THAT(wrong.err, HasSubstr("unknown user or wrong password"));

    const Ran signin = run(with({"signin"}), "ada\ns3cret\n");
    ASSERT_EQ(signin.exitCode, xchng::Ok) << signin.err;
    EXPECT_THAT(signin.out, HasSubstr("signed in as ada"));
    EXPECT_EQ(modeOf(sessions), 0600);
    const Ran whoami = run(with({"--json", "whoami", "--ticket"}));
    ASSERT_EQ(whoami.exitCode, xchng::Ok) << whoami.err;
    const auto answer = web::json::value::parse(whoami.out);
    EXPECT_EQ(answer.at("user").as_string(), "ada");
    EXPECT_TRUE(platform.tickets().check("ada", answer.at("ticket").as_string()));

    EXPECT_EQ(run(with({"signout"})).exitCode, xchng::Ok);
    EXPECT_EQ(run(with({"whoami"})).exitCode, xchng::ServiceError);
    EXPECT_EQ(run({"-u", platform.exchangeUrl(), "whoami"}).exitCode, xchng::Unreachable)
        << "the platform's CA is not trusted without --ca-file";
}

TEST_F(XchngSession, ALocalInstallationActsForTheLocalUserHasNoSignInAndTakesUploads)
{
    local::LocalPlatform platform;
    platform.start();
    const Ran whoami = run({"-u", platform.exchangeUrl(), "whoami", "--ticket"});
    EXPECT_EQ(whoami.out, "LOCAL_USER\nLOCAL_TICKET\n") << whoami.err;
    const Ran signin = run({"-u", platform.exchangeUrl(), "signin"}, "ada\npw\n");
    EXPECT_EQ(signin.exitCode, xchng::Usage);
    EXPECT_THAT(signin.err, HasSubstr("has no sign-in"));
    EXPECT_FALSE(fs::exists(sessions));

    TemporaryDirectory files;
    const std::string first = files.write("first.bin", std::string(3 << 20, 'x')).string();
    const std::string second = files.write("second.txt", "2").string();
    const Ran text = run({"--url", platform.exchangeUrl(), "upload", "files", first, second});
    ASSERT_EQ(text.exitCode, xchng::Ok) << text.err;
    EXPECT_THAT(text.out, HasSubstr("first.bin: 3.0 MiB in ")) << "a plain line per file off a terminal";
    EXPECT_THAT(text.out, HasSubstr("second.txt: 1 B in "));
    EXPECT_EQ(text.out.find('\r'), std::string::npos);
    EXPECT_THAT(text.out, HasSubstr("\"size\":3145728"));
    const Ran json = run({"--url", platform.exchangeUrl(), "--json", "upload", "files", second});
    ASSERT_EQ(json.exitCode, xchng::Ok) << json.err;
    const auto finished = web::json::value::parse(json.out);
    const auto session = platform.store().uploads().session(finished.at("sessionId").as_string());
    ASSERT_TRUE(session);
    EXPECT_FALSE(session->finished.empty()) << "the session was finished with the receipts";
    ASSERT_EQ(finished.at("fcsReceipts").size(), 1u);
    EXPECT_EQ(session->streams.at(0).receipt, finished.at("fcsReceipts").at(0).at("fcsReciept").as_string());
}

TEST_F(XchngSession, AnInterruptedUploadFinishesItsSessionAndSaysSo)
{
    local::LocalPlatform platform;
    platform.start();
    // The user service fails after the check-in, before the import is sent.
    platform.server().script("GET", "/lithmar-dash/api/users/current",
                             local::Fault::respond(local::Response::error(500, "user service down")), 2);
    const std::string collars = test::exampleFile("collars.csv").string();
    const Outcome cases[] = {
        {{}, xchng::ServiceError, "is finished with the 1 file ("},
        {{"--json"}, xchng::ServiceError, R"("platformMessage":"user service down")"},
    };
    for (const Outcome& outcome : cases) {
        Args args = outcome.args;
        args.insert(args.end(),
                    {"--url", platform.exchangeUrl(), "upload", "boreholes", collars, "--site", "site-demo"});
        const Ran result = run(args);
        EXPECT_EQ(result.exitCode, outcome.exitCode);
        EXPECT_THAT(result.err, HasSubstr(outcome.mentions));
        if (!outcome.args.empty()) {
            const auto session = web::json::value::parse(result.err).at("uploadSession");
            EXPECT_TRUE(session.at("finished").as_bool());
            EXPECT_FALSE(platform.store().uploads().session(session.at("id").as_string())->finished.empty());
        }
    }
}

TEST(XchngProgress, DrawsInPlaceOnATerminalOnly)
{
    std::ostringstream terminal;
    xchng::ProgressBar bar(terminal, {"a.bin"}, true);
    bar.update(0, 0, 100);
    bar.update(0, 100, 100);
    bar.finish();
    EXPECT_THAT(terminal.str(), testing::StartsWith("\r\x1b[Ka.bin [....."));
    EXPECT_THAT(terminal.str(), HasSubstr("] 100%"));
    EXPECT_EQ(terminal.str().back(), '\n');
    EXPECT_EQ(xchng::humanDuration(3723), "1:02:03");
    EXPECT_EQ(xchng::humanDuration(65), "1:05");
}

} // namespace
