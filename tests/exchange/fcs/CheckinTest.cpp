// FcsService::checkin against the local platform's file server: the form as
// the server received it, receipts, missing files, lists, progress and
// cancellation.

#include "CheckinFixture.h"

#include <tools/local/server/Checksum.h>

#include <gmock/gmock.h>

#include <atomic>
#include <iterator>
#include <mutex>

namespace lithmar::fcs::testing {
namespace {

using ::lithmar::local::Fault;
using ::lithmar::local::RecordedRequest;
using ::lithmar::local::Response;
using ::testing::HasSubstr;
using ::testing::StartsWith;

std::string patternedBytes(std::size_t size)
{
    std::string bytes(size, '\0');
    std::uint32_t state = 12345;
    for (char& byte : bytes) {
        state = state * 1103515245u + 12345u;
        byte = static_cast<char>(state >> 24);
    }
    return bytes;
}

std::string fileText(const std::filesystem::path& path)
{
    std::ifstream stream(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(stream), std::istreambuf_iterator<char>()};
}

std::vector<RecordedRequest> checkins(const ::lithmar::local::HttpServer& server)
{
    std::vector<RecordedRequest> found;
    for (RecordedRequest& request : server.requests()) {
        if (request.path.rfind("/lithmar-fcs/checkin/", 0) == 0) {
            found.push_back(std::move(request));
        }
    }
    return found;
}

using FcsCheckin = CheckinTest;

TEST_F(FcsCheckin, SendsTheTicketThenTheFileStreamedWithItsLength)
{
    const auto slot = slots(1).at(0);
    const std::string bytes = patternedBytes(9 << 20);
    const std::wstring path = writeFile("d\u00e9p\u00f4t \u6570\u636e.bin", bytes);

    const auto receipt = sdk::FcsService::checkin(slot, path).get();

    const auto received = checkins(platform.server());
    ASSERT_EQ(received.size(), 1u);
    const RecordedRequest& request = received[0];
    EXPECT_EQ(request.method, "POST");
    EXPECT_EQ("http://127.0.0.1:" + std::to_string(platform.port()) + request.target,
              sdk::toUtf8(slot->getFcsFileUrl()));
    EXPECT_THAT(request.header("Content-Type"), StartsWith("multipart/form-data; boundary="));
    EXPECT_EQ(request.header("Content-Length"), std::to_string(request.bodySize)) << "streamed, yet with a length";
    ASSERT_EQ(request.parts.size(), 2u) << request.multipartError;
    EXPECT_EQ(request.parts[0].name, "__fcs__jobTicket");
    EXPECT_EQ(request.parts[0].data, sdk::toUtf8(slot->getFcsFileTicket()));
    EXPECT_EQ(request.parts[0].contentType, "");
    EXPECT_EQ(request.parts[1].name, "my-upload");
    EXPECT_EQ(request.parts[1].fileName, sdk::toUtf8(path)) << "the local path, in UTF-8";
    EXPECT_EQ(request.parts[1].contentType, "application/octet-stream");
    EXPECT_EQ(request.parts[1].size, bytes.size());
    ::lithmar::local::Checksum checksum;
    checksum.update(bytes);
    EXPECT_EQ(request.parts[1].checksum, checksum.value());

    EXPECT_EQ(receipt->getFcsStreamId(), slot->getFcsStreamId());
    const auto stored = platform.files().storedFile(sdk::toUtf8(slot->getFcsStreamId()));
    ASSERT_TRUE(stored);
    EXPECT_TRUE(fileText(stored->path) == bytes);
    EXPECT_EQ(sdk::toUtf8(receipt->getFcsReciept()),
              platform.store().uploads().checkin(sdk::toUtf8(slot->getFcsStreamId()))->receipt)
        << "the whole answer body";
}

TEST_F(FcsCheckin, AnEmptyFileIsCheckedIn)
{
    const auto slot = slots(1).at(0);
    sdk::FcsService::checkin(slot, writeFile("empty", "")).get();
    EXPECT_EQ(platform.files().storedFile(sdk::toUtf8(slot->getFcsStreamId()))->size, 0u);
}

TEST_F(FcsCheckin, TheReceiptIsTheAnswerBodyWhateverTheStatus)
{
    const auto slot = slots(1).at(0);
    const std::wstring path = writeFile("f", "x");
    struct Case {
        Response answer;
        std::wstring receipt;
    };
    const std::vector<Case> cases{
        {Response{500, "", {}, "<error>disk full</error>"}, L"<error>disk full</error>"},
        {Response{200, "", {}, ""}, L""},
        {Response{404, "", {{"Content-Type", "text/plain; charset=utf-8"}}, "kein Platz f\xc3\xbcr dich"},
         L"kein Platz f\u00fcr dich"},
    };
    for (const Case& c : cases) {
        platform.server().script("POST", "/lithmar-fcs/*", Fault::respond(c.answer));
        const auto receipt = sdk::FcsService::checkin(slot, path).get();
        EXPECT_EQ(receipt->getFcsReciept(), c.receipt);
        EXPECT_TRUE(receipt->fcsRecieptIsSet());
        EXPECT_EQ(receipt->getFcsStreamId(), slot->getFcsStreamId());
    }
    slot->setFcsFileTicket(L"wrong");
    const auto refused = sdk::FcsService::checkin(slot, path).get();
    EXPECT_THAT(sdk::toUtf8(refused->getFcsReciept()), HasSubstr("ticket does not match"));
}

TEST_F(FcsCheckin, AMissingFileThrowsBeforeAnythingIsSent)
{
    const auto slot = slots(1).at(0);
    const std::wstring missing = (scratch / "absent.bin").wstring();
    try {
        sdk::FcsService::checkin(slot, missing);
        FAIL() << "no exception";
    } catch (const std::runtime_error& error) {
        EXPECT_EQ(error.what(), "File not found: " + sdk::toUtf8(missing));
    }
    const std::wstring present = writeFile("present", "p");
    auto list = sdk::FcsService::checkin(slots(2), {present, missing});
    EXPECT_THROW(
        try { list.get(); } catch (const std::runtime_error& error) {
            EXPECT_THAT(error.what(), StartsWith("File not found: "));
            throw;
        },
        std::runtime_error);
    EXPECT_EQ(checkins(platform.server()).size(), 1u) << "the present file only, and no retry of the missing one";
}

TEST_F(FcsCheckin, AListIsCheckedInInOrderWithReceiptsInOrder)
{
    EXPECT_TRUE(sdk::FcsService::checkin(std::vector<std::shared_ptr<model::FcsFile>>{}, {}).get().empty());
    EXPECT_TRUE(checkins(platform.server()).empty());

    const auto files = slots(3);
    const std::vector<std::wstring> paths{writeFile("a", "first"), writeFile("b", "second"), writeFile("c", "third")};
    const auto receipts = sdk::FcsService::checkin(files, paths).get();
    ASSERT_EQ(receipts.size(), 3u);
    const auto received = checkins(platform.server());
    ASSERT_EQ(received.size(), 3u);
    for (std::size_t i = 0; i < 3; ++i) {
        EXPECT_EQ(receipts[i]->getFcsStreamId(), files[i]->getFcsStreamId());
        EXPECT_EQ(received[i].path, "/lithmar-fcs/checkin/" + sdk::toUtf8(files[i]->getFcsStreamId()));
        EXPECT_EQ(received[i].parts.at(1).fileName, sdk::toUtf8(paths[i]));
    }
    EXPECT_THROW(sdk::FcsService::checkin(files, {paths[0]}).get(), std::invalid_argument);
}

TEST_F(FcsCheckin, ReportsProgressUpToTheTotal)
{
    const auto files = slots(2);
    const std::vector<std::wstring> paths{writeFile("a", patternedBytes(5 << 20)), writeFile("b", "tiny")};
    std::mutex mutex;
    std::vector<sdk::CheckinProgress> reports;
    sdk::CheckinOptions options;
    options.onProgress = [&](const sdk::CheckinProgress& progress) {
        const std::lock_guard<std::mutex> lock(mutex);
        reports.push_back(progress);
    };
    sdk::FcsService::checkin(files, paths, options).get();

    ASSERT_FALSE(reports.empty());
    std::uint64_t last = 0;
    std::size_t file = 0;
    for (const auto& report : reports) {
        if (report.fileIndex != file) {
            EXPECT_EQ(report.fileIndex, file + 1);
            EXPECT_EQ(last, reports.front().bytesTotal) << "the first file went out whole";
            file = report.fileIndex;
            last = 0;
        }
        EXPECT_GE(report.bytesSent, last);
        EXPECT_LE(report.bytesSent, report.bytesTotal);
        last = report.bytesSent;
    }
    EXPECT_EQ(reports.front().bytesTotal, 5u << 20);
    EXPECT_EQ(reports.back().fileIndex, 1u);
    EXPECT_EQ(reports.back().bytesSent, 4u);
    EXPECT_EQ(reports.back().bytesTotal, 4u);
}

TEST_F(FcsCheckin, CancellingStopsTheUploadAndKeepsNothing)
{
    const auto slot = slots(1).at(0);
    const std::wstring path = writeFile("big", patternedBytes(64 << 20));
    pplx::cancellation_token_source cancel;
    sdk::CheckinOptions options;
    options.cancellation = cancel.get_token();
    options.onProgress = [&cancel](const sdk::CheckinProgress& progress) {
        if (progress.bytesSent > 0) {
            cancel.cancel();
        }
    };
    EXPECT_THROW(sdk::FcsService::checkin(slot, path, options).get(), pplx::task_canceled);
    ASSERT_TRUE(platform.server().waitForRequests(2)) << "the start and the abandoned check-in";
    const auto received = checkins(platform.server());
    ASSERT_EQ(received.size(), 1u);
    EXPECT_FALSE(received[0].complete);
    EXPECT_FALSE(platform.files().storedFile(sdk::toUtf8(slot->getFcsStreamId())));
    EXPECT_TRUE(std::filesystem::is_empty(platform.files().directory()));

    pplx::cancellation_token_source before;
    before.cancel();
    options.cancellation = before.get_token();
    EXPECT_THROW(sdk::FcsService::checkin(slots(2), {path, path}, options).get(), pplx::task_canceled);
}

} // namespace
} // namespace lithmar::fcs::testing
