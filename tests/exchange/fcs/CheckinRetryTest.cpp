// The list check-in's retry rule against real failures of the file server:
// failures a later attempt may cure are retried after a pause, five attempts
// in all; others end the check-in at once.

#include "CheckinFixture.h"

#include <gmock/gmock.h>

#include <chrono>

namespace lithmar::fcs::testing {
namespace {

using ::lithmar::local::Fault;
using ::testing::HasSubstr;

constexpr const char* kCheckins = "/lithmar-fcs/*";
// A first line that is not an HTTP status line.
const Fault kNotHttp = Fault::garbage("SSH-2.0-OpenSSH_9.2\r\n\r\n");

using CheckinRetry = CheckinTest;

TEST_F(CheckinRetry, AnAnswerThatIsNotHttpIsRetriedUntilAnAttemptSucceeds)
{
    const auto files = slots(2);
    const std::vector<std::wstring> paths{writeFile("a", "first"), writeFile("b", "second")};
    platform.server().script("POST", kCheckins, kNotHttp, 4);

    const auto receipts = sdk::FcsService::checkin(files, paths).get();

    ASSERT_EQ(receipts.size(), 2u);
    EXPECT_THAT(sdk::toUtf8(receipts[0]->getFcsReciept()), HasSubstr("\"size\":5")) << "the fifth attempt's";
    EXPECT_EQ(platform.server().requests().size(), 1u + 5u + 1u) << "start, five attempts, the second file";
    EXPECT_TRUE(platform.files().storedFile(sdk::toUtf8(files[1]->getFcsStreamId())));
}

TEST_F(CheckinRetry, FiveFailuresInARowExhaustTheRetries)
{
    const auto files = slots(2);
    const std::vector<std::wstring> paths{writeFile("a", "first"), writeFile("b", "second")};
    platform.server().script("POST", kCheckins, kNotHttp, 5);

    try {
        sdk::FcsService::checkin(files, paths).get();
        FAIL() << "no exception";
    } catch (const std::runtime_error& error) {
        EXPECT_STREQ(error.what(), "Retries exhausted");
    }
    EXPECT_EQ(platform.server().requests().size(), 1u + 5u) << "the second file is never tried";
}

TEST_F(CheckinRetry, AFailingTlsHandshakeIsRetriedToo)
{
    // The platform speaks plain HTTP here: a TLS client's handshake gets an
    // HTTP answer and fails, the same failure every time.
    auto slot = slots(1).at(0);
    std::wstring url = slot->getFcsFileUrl();
    slot->setFcsFileUrl(L"https" + url.substr(url.find(L':')));
    const auto started = std::chrono::steady_clock::now();
    try {
        sdk::FcsService::checkin(std::vector<std::shared_ptr<model::FcsFile>>{slot}, {writeFile("a", "x")}).get();
        FAIL() << "no exception";
    } catch (const std::runtime_error& error) {
        EXPECT_STREQ(error.what(), "Retries exhausted");
    }
    EXPECT_GE(std::chrono::steady_clock::now() - started, std::chrono::seconds(4)) << "paused between the attempts";
    try {
        sdk::FcsService::checkin(slot, writeFile("b", "x")).get();
        FAIL() << "no exception";
    } catch (const web::http::http_exception& error) {
        EXPECT_STREQ(error.what(), "Error in SSL handshake") << "cpprestsdk's words for it";
    }
}

TEST_F(CheckinRetry, TheSingleCheckinDoesNotRetry)
{
    platform.server().script("POST", kCheckins, kNotHttp);
    try {
        sdk::FcsService::checkin(slots(1).at(0), writeFile("a", "x")).get();
        FAIL() << "no exception";
    } catch (const web::http::http_exception& error) {
        EXPECT_THAT(error.what(), HasSubstr("Invalid HTTP status line"));
    }
}

TEST_F(CheckinRetry, ADroppedConnectionIsNotRetriedAndLeavesNoFile)
{
    const auto files = slots(1);
    platform.server().script("POST", kCheckins, Fault::closeAfterBodyBytes(256 << 10));
    EXPECT_THROW(sdk::FcsService::checkin(files, {writeFile("a", std::string(4 << 20, 'd'))}).get(),
                 web::http::http_exception);
    EXPECT_EQ(platform.server().requests().size(), 2u) << "the start and one check-in, cut off";
    EXPECT_FALSE(platform.files().storedFile(sdk::toUtf8(files[0]->getFcsStreamId())));
    EXPECT_TRUE(std::filesystem::is_empty(platform.files().directory()));
}

} // namespace
} // namespace lithmar::fcs::testing
