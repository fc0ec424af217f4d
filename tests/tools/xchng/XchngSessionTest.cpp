// The platform session commands: whoami, signin, signout, and the file that
// keeps the session between commands.

#include "Cli.h"
#include "Failure.h"
#include "SessionFile.h"

#include <tools/local/exchange/LocalPlatform.h>

#include <cpprest/json.h>
#include <gtest/gtest.h>

#include <sys/stat.h>

#include <cstdlib>
#include <filesystem>
#include <sstream>

namespace local = ::lithmar::local;
namespace xchng = ::lithmar::xchng;
namespace fs = std::filesystem;

namespace {

struct Outcome {
    int exitCode;
    std::string out;
    std::string err;
};

// Keeps sessions in a directory of the test's own.
class XchngSession : public testing::Test {
protected:
    void SetUp() override
    {
        configHome = fs::path(testing::TempDir()) / ("xchng-config-" + std::to_string(::getpid()));
        fs::remove_all(configHome);
        ::setenv("XDG_CONFIG_HOME", configHome.c_str(), 1);
    }
    void TearDown() override
    {
        ::unsetenv("XDG_CONFIG_HOME");
        fs::remove_all(configHome);
    }

    Outcome run(std::vector<std::string> args, const std::string& typed = "")
    {
        std::istringstream in(typed);
        std::ostringstream out;
        std::ostringstream err;
        const int code = xchng::run(args, in, out, err);
        return {code, out.str(), err.str()};
    }

    fs::path configHome;
};

int modeOf(const fs::path& path)
{
    struct stat status {};
    EXPECT_EQ(::stat(path.c_str(), &status), 0) << path;
    return static_cast<int>(status.st_mode & 0777);
}

TEST_F(XchngSession, SessionFileIsOwnerOnlyAndKeepsOneCookiePerService)
{
    const xchng::SessionFile sessions;
    EXPECT_EQ(sessions.path(), configHome / "lithmar" / "sessions");
    EXPECT_FALSE(sessions.cookieFor("https://a/x-xchng"));
    const mode_t umask = ::umask(022); // the usual one, which would let others read
    sessions.store("https://a/x-xchng", "JSESSIONID=A;SERVERID=n");
    sessions.store("https://b/x-xchng", "JSESSIONID=B");
    ::umask(umask);
    EXPECT_EQ(modeOf(sessions.path()), 0600);
    EXPECT_EQ(modeOf(sessions.path().parent_path()), 0700);
    EXPECT_EQ(sessions.cookieFor("https://a/x-xchng"), "JSESSIONID=A;SERVERID=n");
    sessions.store("https://a/x-xchng", std::nullopt);
    EXPECT_FALSE(sessions.cookieFor("https://a/x-xchng"));
    EXPECT_EQ(sessions.cookieFor("https://b/x-xchng"), "JSESSIONID=B");
}

TEST_F(XchngSession, LocalInstallationActsForTheLocalUserAndHasNoSignIn)
{
    local::LocalPlatform platform;
    platform.start();
    const Outcome whoami = run({"-u", platform.exchangeUrl(), "whoami", "--ticket"});
    EXPECT_EQ(whoami.exitCode, xchng::Ok) << whoami.err;
    EXPECT_EQ(whoami.out, "LOCAL_USER\nLOCAL_TICKET\n");
    const Outcome signin = run({"-u", platform.exchangeUrl(), "signin"}, "ada\npw\n");
    EXPECT_EQ(signin.exitCode, xchng::Usage);
    EXPECT_NE(signin.err.find("has no sign-in"), std::string::npos) << signin.err;
    EXPECT_FALSE(fs::exists(configHome / "lithmar" / "sessions"));
}

TEST_F(XchngSession, SignsInKeepsTheSessionForLaterCommandsAndSignsOut)
{
    local::LocalPlatformOptions options;
    options.platformMode = true;
    options.users = {{"ada", "s3cret"}};
    options.passwordHashIterations = 1000;
    local::LocalPlatform platform(options);
    platform.start();
    const std::vector<std::string> at{"-u", platform.exchangeUrl(), "--ca-file", platform.caCertificate()};
    const auto with = [&at](std::vector<std::string> more) {
        more.insert(more.begin(), at.begin(), at.end());
        return more;
    };

    const Outcome wrong = run(with({"signin", "--user", "ada"}), "guess\n");
    EXPECT_EQ(wrong.exitCode, xchng::ServiceError);
    EXPECT_NE(wrong.err.find("unknown user or wrong password"), std::string::npos) << wrong.err;
    EXPECT_EQ(run(with({"whoami"})).exitCode, xchng::ServiceError) << "not signed in";

    const Outcome signin = run(with({"signin"}), "ada\ns3cret\n");
    ASSERT_EQ(signin.exitCode, xchng::Ok) << signin.err;
    EXPECT_NE(signin.out.find("signed in as ada"), std::string::npos) << signin.out;
    EXPECT_EQ(modeOf(configHome / "lithmar" / "sessions"), 0600);

    const Outcome whoami = run(with({"--json", "whoami", "--ticket"}));
    ASSERT_EQ(whoami.exitCode, xchng::Ok) << whoami.err;
    const auto answer = web::json::value::parse(whoami.out);
    EXPECT_EQ(answer.at("user").as_string(), "ada");
    EXPECT_TRUE(platform.tickets().check("ada", answer.at("ticket").as_string()));

    EXPECT_EQ(run(with({"signout"})).exitCode, xchng::Ok);
    EXPECT_EQ(run(with({"whoami"})).exitCode, xchng::ServiceError);
    EXPECT_EQ(run({"-u", platform.exchangeUrl(), "whoami"}).exitCode, xchng::Unreachable)
        << "the platform's CA is not trusted without --ca-file";
}

TEST_F(XchngSession, MissingCaFileIsAUsageError)
{
    const Outcome result = run({"--ca-file", (configHome / "none.pem").string(), "whoami"});
    EXPECT_EQ(result.exitCode, xchng::Usage);
    EXPECT_NE(result.err.find("--ca-file"), std::string::npos) << result.err;
}

} // namespace
