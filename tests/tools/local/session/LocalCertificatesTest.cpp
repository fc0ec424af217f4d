#include <tools/local/session/LocalCertificates.h>

#include <gtest/gtest.h>

#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <fstream>
#include <sstream>

namespace lithmar::local {
namespace {

namespace fs = std::filesystem;

std::string contentOf(const fs::path& path)
{
    std::ifstream in(path);
    std::ostringstream text;
    text << in.rdbuf();
    return text.str();
}

int modeOf(const fs::path& path)
{
    struct stat status {};
    EXPECT_EQ(::stat(path.c_str(), &status), 0) << path;
    return static_cast<int>(status.st_mode & 0777);
}

class LocalCertificatesTest : public ::testing::Test {
protected:
    void SetUp() override { fs::remove_all(directory); }
    void TearDown() override { fs::remove_all(directory); }

    const fs::path directory = fs::path(::testing::TempDir()) / ("tls-" + std::to_string(::getpid())) / "tls";
};

TEST_F(LocalCertificatesTest, KeepsTheCaAcrossRunsAndSignsANewServerCertificateForNewNames)
{
    const LocalCertificates first(directory, LocalCertificates::namesFor("127.0.0.1"));
    EXPECT_EQ(modeOf(directory), 0700);
    EXPECT_EQ(modeOf(directory / "ca-key.pem"), 0600);
    EXPECT_EQ(modeOf(first.serverKey()), 0600);
    const std::string ca = contentOf(first.caCertificate());
    const std::string server = contentOf(first.serverCertificate());
    ASSERT_EQ(ca.rfind("-----BEGIN CERTIFICATE-----", 0), 0u);

    const LocalCertificates again(directory, LocalCertificates::namesFor("127.0.0.1"));
    EXPECT_EQ(contentOf(again.caCertificate()), ca);
    EXPECT_EQ(contentOf(again.serverCertificate()), server);

    const LocalCertificates moved(directory, LocalCertificates::namesFor("127.0.0.2"));
    EXPECT_EQ(contentOf(moved.caCertificate()), ca) << "hosts that trust the CA go on trusting it";
    EXPECT_NE(contentOf(moved.serverCertificate()), server);
    EXPECT_NO_THROW(moved.serverContext());
}

TEST_F(LocalCertificatesTest, DamagedFilesAreMadeAfresh)
{
    const std::string ca = contentOf(LocalCertificates(directory, {"localhost"}).caCertificate());
    std::ofstream(directory / "ca-key.pem") << "not a key";
    const LocalCertificates remade(directory, {"localhost"});
    EXPECT_NE(contentOf(remade.caCertificate()), ca);
    EXPECT_NO_THROW(remade.serverContext());
}

TEST(LocalCertificateNames, CoverTheAddressAndTheLoopbackNames)
{
    EXPECT_EQ(LocalCertificates::namesFor("127.0.0.2"),
              (std::vector<std::string>{"127.0.0.2", "localhost", "127.0.0.1", "::1"}));
    EXPECT_EQ(LocalCertificates::namesFor("127.0.0.1"), (std::vector<std::string>{"127.0.0.1", "localhost", "::1"}));
    const auto wildcard = LocalCertificates::namesFor("0.0.0.0");
    EXPECT_EQ(std::count(wildcard.begin(), wildcard.end(), "0.0.0.0"), 0);
}

} // namespace
} // namespace lithmar::local
