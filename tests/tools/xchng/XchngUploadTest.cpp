// xchng upload files against the local platform: the files checked in, the
// session finished with their receipts, plain progress lines off a terminal.

#include "Cli.h"
#include "ProgressBar.h"

#include <tools/local/exchange/LocalPlatform.h>

#include <cpprest/json.h>

#include <gmock/gmock.h>

#include <filesystem>
#include <fstream>
#include <sstream>

#include <unistd.h>

namespace {

namespace xchng = ::lithmar::xchng;
using ::testing::HasSubstr;

class XchngUpload : public testing::Test {
protected:
    XchngUpload() : scratch(std::filesystem::temp_directory_path() / ("xchng-upload-" + std::to_string(::getpid())))
    {
        platform.start();
        std::filesystem::create_directories(scratch);
    }
    ~XchngUpload() override { std::filesystem::remove_all(scratch); }

    std::string writeFile(const std::string& name, const std::string& bytes)
    {
        const std::string path = (scratch / name).string();
        std::ofstream(path, std::ios::binary) << bytes;
        return path;
    }

    int run(std::vector<std::string> args)
    {
        args.insert(args.begin(), {"--url", platform.exchangeUrl()});
        out.str("");
        err.str("");
        return xchng::run(args, out, err);
    }

    ::lithmar::local::LocalPlatform platform;
    std::filesystem::path scratch;
    std::ostringstream out;
    std::ostringstream err;
};

TEST_F(XchngUpload, ChecksInTheFilesFinishesAndPrintsTheReceipts)
{
    const std::string first = writeFile("first.bin", std::string(3 << 20, 'x'));
    const std::string second = writeFile("second.txt", "2");
    ASSERT_EQ(run({"upload", "files", first, second}), 0) << err.str();

    const std::string text = out.str();
    EXPECT_THAT(text, HasSubstr("first.bin: 3.0 MiB in ")) << "a plain line per file off a terminal";
    EXPECT_THAT(text, HasSubstr("second.txt: 1 B in "));
    EXPECT_EQ(text.find('\r'), std::string::npos);
    EXPECT_THAT(text, HasSubstr("finished"));
    EXPECT_THAT(text, HasSubstr("\"size\":3145728"));

    ASSERT_EQ(run({"--json", "upload", "files", second}), 0) << err.str();
    const auto finished = web::json::value::parse(out.str());
    EXPECT_EQ(finished.at("fcsReceipts").size(), 1u);
    const auto session = platform.store().uploads().session(finished.at("sessionId").as_string());
    ASSERT_TRUE(session);
    EXPECT_FALSE(session->finished.empty()) << "the session was finished with the receipts";
    EXPECT_EQ(session->streams.at(0).receipt, finished.at("fcsReceipts").at(0).at("fcsReciept").as_string());
}

TEST_F(XchngUpload, AMissingFileIsAUsageErrorAndOpensNoSession)
{
    EXPECT_EQ(run({"upload", "files", (scratch / "absent").string()}), 2);
    EXPECT_THAT(err.str(), HasSubstr("absent"));
    EXPECT_TRUE(platform.server().requests().empty());
}

TEST(XchngProgress, DrawsInPlaceOnATerminalOnly)
{
    std::ostringstream terminal;
    xchng::ProgressBar bar(terminal, {"a.bin"}, true);
    bar.update(0, 0, 100);
    bar.update(0, 100, 100);
    bar.finish();
    EXPECT_THAT(terminal.str(), ::testing::StartsWith("\r\x1b[Ka.bin [....."));
    EXPECT_THAT(terminal.str(), HasSubstr("] 100%"));
    EXPECT_EQ(terminal.str().back(), '\n');

    EXPECT_EQ(xchng::humanBytes(1536), "1.5 KiB");
    EXPECT_EQ(xchng::humanBytes(512), "512 B");
    EXPECT_EQ(xchng::humanDuration(3723), "1:02:03");
    EXPECT_EQ(xchng::humanDuration(65), "1:05");
}

} // namespace
