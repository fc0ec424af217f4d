// FcsService::checkin against the local platform's file server.

#include <lithmar/exchange/api/DataExchangeApi.h>
#include <lithmar/exchange/fcs/FcsService.h>
#include <lithmar/exchange/fcs/detail/CheckinRetry.h>
#include <lithmar/runtime/Utf8.h>
#include <lithmar/runtime/detail/RetryRules.h>

#include <tests/support/Client.h>
#include <tests/support/TemporaryDirectory.h>
#include <tests/support/TinyProxy.h>

#include <gmock/gmock.h>

#include <fstream>
#include <mutex>

namespace sdk = com::vantorel::lithmar;
namespace model = sdk::exploration::model;
namespace local = ::lithmar::local;
namespace test = ::lithmar::test;
using local::Fault;
using sdk::FcsService;
using Slots = std::vector<std::shared_ptr<model::FcsFile>>;
using ::testing::HasSubstr;

namespace {

constexpr const char* kCheckins = "/lithmar-fcs/*";
const Fault kNotHttp = Fault::garbage("SSH-2.0-OpenSSH_9.2\r\n\r\n");

// The failure's text ("http: " first for a transport failure), "" when none.
template <class Task> std::string failureOf(Task task)
{
    try {
        task.get();
        return "";
    } catch (const web::http::http_exception& failure) {
        return std::string("http: ") + failure.what();
    } catch (const std::exception& failure) {
        return failure.what();
    }
}

class Checkin : public testing::Test {
protected:
    Checkin() { platform.start(); }
    ~Checkin() override { FcsService::setProxy(L"", L"", L""); }

    // The slots of a new upload session; the requests recorded from here on are check-ins.
    Slots slots(int count)
    {
        auto command = std::make_shared<model::StartUploadCommand>();
        command->setNumberOfFiles(count);
        sdk::exploration::api::DataExchangeApi exchange(
            std::make_shared<sdk::ApiClient>(test::clientConfiguration(platform)));
        const Slots files = exchange.startUpload(command).get()->getFcsFiles();
        platform.server().clearRequests();
        return files;
    }
    std::wstring file(const std::string& name, const std::string& bytes)
    {
        return sdk::fromUtf8(scratch.write(name, bytes).string());
    }

    local::LocalPlatform platform;
    test::TemporaryDirectory scratch;
};

// The end-to-end flow: several files, each streamed as a two-part form, receipts in the files' order.
TEST_F(Checkin, ChecksInAListOneFileAfterTheOtherWithProgressAndReceipts)
{
    const auto files = slots(3);
    const std::vector<std::string> contents{test::pseudoRandomBytes(3 << 20, 1), "second", ""};
    const std::vector<std::wstring> paths{file("d\u00e9p\u00f4t \u6570\u636e.bin", contents[0]), file("b", contents[1]),
                                          file("empty", contents[2])};
    std::mutex mutex;
    std::vector<sdk::CheckinProgress> reports;
    sdk::CheckinOptions options;
    options.onProgress = [&](const sdk::CheckinProgress& progress) {
        const std::lock_guard<std::mutex> lock(mutex);
        reports.push_back(progress);
    };
    const auto receipts = FcsService::checkin(files, paths, options).get();

    const auto received = platform.server().requests();
    ASSERT_EQ(receipts.size(), 3u);
    ASSERT_EQ(received.size(), 3u);
    for (std::size_t i = 0; i < 3; ++i) {
        const local::RecordedRequest& request = received[i];
        EXPECT_EQ(request.method + " " + platform.baseUrl() + request.target,
                  "POST " + sdk::toUtf8(files[i]->getFcsFileUrl()));
        EXPECT_THAT(request.header("Content-Type"), ::testing::StartsWith("multipart/form-data; boundary="));
        EXPECT_EQ(request.header("Content-Length"), std::to_string(request.bodySize)) << "streamed, yet with a length";
        ASSERT_EQ(request.parts.size(), 2u) << request.multipartError;
        EXPECT_EQ(request.parts[0].name, "__fcs__jobTicket");
        EXPECT_EQ(request.parts[0].data, sdk::toUtf8(files[i]->getFcsFileTicket()));
        EXPECT_EQ(request.parts[0].contentType, "");
        EXPECT_EQ(request.parts[1].name, "my-upload");
        EXPECT_EQ(request.parts[1].fileName, sdk::toUtf8(paths[i])) << "the local path, in UTF-8";
        EXPECT_EQ(request.parts[1].contentType, "application/octet-stream");
        const std::string stream = sdk::toUtf8(files[i]->getFcsStreamId());
        const auto stored = platform.files().storedFile(stream);
        ASSERT_TRUE(stored);
        std::ifstream in(stored->path, std::ios::binary);
        EXPECT_TRUE(std::string(std::istreambuf_iterator<char>(in), {}) == contents[i]);
        EXPECT_EQ(receipts[i]->getFcsStreamId(), files[i]->getFcsStreamId());
        EXPECT_EQ(sdk::toUtf8(receipts[i]->getFcsReciept()), platform.store().uploads().checkin(stream)->receipt);
    }
    // Each file from 0 up to its size, never back; the files in turn.
    std::size_t current = 0;
    std::uint64_t last = 0;
    for (const auto& report : reports) {
        if (report.fileIndex != current) {
            EXPECT_EQ(report.fileIndex, current + 1);
            EXPECT_EQ(last, contents[current].size()) << "file " << current << " went out whole";
            current = report.fileIndex;
            last = 0;
        }
        EXPECT_EQ(report.bytesTotal, contents[current].size());
        EXPECT_GE(report.bytesSent, last);
        EXPECT_LE(report.bytesSent, report.bytesTotal);
        last = report.bytesSent;
    }
    EXPECT_EQ(current, 2u);
    EXPECT_TRUE(FcsService::checkin(Slots{}, {}).get().empty());
    EXPECT_THROW(FcsService::checkin(files, {paths[0]}).get(), std::invalid_argument);
}

TEST_F(Checkin, TheReceiptIsTheAnswerBodyWhateverTheStatus)
{
    const auto slot = slots(1).at(0);
    const std::wstring path = file("f", "x");
    for (const auto& [status, body, receipt] : std::vector<std::tuple<int, std::string, std::wstring>>{
             {500, "kein Platz f\xc3\xbcr dich", L"kein Platz f\u00fcr dich"}, // no Content-Type: read as UTF-8
             {200, "", L""},
         }) {
        platform.server().script("POST", kCheckins, Fault::respond({status, "", {}, body}));
        const auto answer = FcsService::checkin(slot, path).get();
        EXPECT_EQ(answer->getFcsReciept(), receipt);
        EXPECT_TRUE(answer->fcsRecieptIsSet());
    }
}

TEST_F(Checkin, AMissingFileThrowsBeforeAnythingIsSent)
{
    const auto files = slots(2);
    const std::wstring missing = sdk::fromUtf8((scratch.path() / "absent.bin").string());
    EXPECT_THROW(FcsService::checkin(files[0], missing), std::runtime_error) << "at once, not from the task";
    EXPECT_EQ(failureOf(FcsService::checkin(files, {file("present", "p"), missing})),
              "File not found: " + sdk::toUtf8(missing));
    EXPECT_EQ(platform.server().requests().size(), 1u) << "the present file only";
}

TEST(CheckinRetryRule, RetriesWhatTheHttpLayersSayOfANonHttpAnswerOrAFailedHandshake)
{
    for (const auto& [text, transient] : std::vector<std::pair<std::string, bool>>{
             {"WinHttpReceiveResponse: 12152: The server returned an invalid or unrecognized response", true},
             {"Error in: WINHTTP_CALLBACK_STATUS_FLAG_SECURITY_CHANNEL_ERROR", true},
             {"Invalid HTTP status line", true},
             {"Error in SSL handshake", true},
             {"Failed to read HTTP status line", false},
             {"Connection reset by peer", false},
         }) {
        const web::http::http_exception failure(text);
        EXPECT_EQ(sdk::repeatsFailure(sdk::detail::checkinRetryPolicy(), failure, "POST"), transient) << text;
    }
}

// Transient failures are retried after a pause, five attempts per file; any
// other failure ends the list at once. The single check-in never retries.
TEST_F(Checkin, TheListRetriesTransientFailuresOnly)
{
    const std::vector<std::wstring> paths{file("a", std::string(4 << 20, 'd')), file("b", "second")};
    auto files = slots(2);
    platform.server().script("POST", kCheckins, Fault::closeAfterBodyBytes(256 << 10));
    EXPECT_THAT(failureOf(FcsService::checkin(files, paths)), ::testing::StartsWith("http: "));
    EXPECT_EQ(platform.server().requests().size(), 1u) << "a dropped connection is not retried";
    EXPECT_TRUE(std::filesystem::is_empty(platform.files().directory())) << "nothing kept of it";

    files = slots(2);
    platform.server().script("POST", kCheckins, kNotHttp, 4);
    EXPECT_EQ(FcsService::checkin(files, paths).get().size(), 2u);
    EXPECT_EQ(platform.server().requests().size(), 5u + 1u) << "five attempts, then the second file";
    EXPECT_TRUE(platform.files().storedFile(sdk::toUtf8(files[0]->getFcsStreamId())));

    files = slots(2);
    platform.server().script("POST", kCheckins, kNotHttp, 5);
    const auto started = std::chrono::steady_clock::now();
    EXPECT_EQ(failureOf(FcsService::checkin(files, paths)), "Retries exhausted");
    // A lower bound only: the pauses cannot be shorter.
    EXPECT_GE(std::chrono::steady_clock::now() - started, std::chrono::seconds(4)) << "paused between the attempts";
    EXPECT_EQ(platform.server().requests().size(), 5u) << "the second file is never tried";

    // A TLS client gets an HTTP answer from the plain server: its handshake fails every time.
    const auto slot = slots(1).at(0);
    const std::wstring url = slot->getFcsFileUrl();
    slot->setFcsFileUrl(L"https" + url.substr(url.find(L':')));
    EXPECT_EQ(failureOf(FcsService::checkin(Slots{slot}, {paths[1]})), "Retries exhausted");
    EXPECT_EQ(failureOf(FcsService::checkin(slot, paths[1])), "http: Error in SSL handshake");
    platform.server().script("POST", kCheckins, kNotHttp);
    EXPECT_THAT(failureOf(FcsService::checkin(slots(1).at(0), paths[1])), HasSubstr("Invalid HTTP status line"));
}

TEST_F(Checkin, CancellingStopsTheUploadAndKeepsNothing)
{
    const auto slot = slots(1).at(0);
    const std::wstring path = file("big", test::pseudoRandomBytes(64 << 20, 2));
    pplx::cancellation_token_source cancel;
    sdk::CheckinOptions options;
    options.cancellation = cancel.get_token();
    options.onProgress = [&cancel](const sdk::CheckinProgress& progress) {
        if (progress.bytesSent > 0) {
            cancel.cancel();
        }
    };
    EXPECT_THROW(FcsService::checkin(slot, path, options).get(), pplx::task_canceled);
    ASSERT_TRUE(platform.server().waitForRequests(1)) << "the abandoned check-in";
    EXPECT_FALSE(platform.server().requests().at(0).complete);
    EXPECT_TRUE(std::filesystem::is_empty(platform.files().directory()));

    pplx::cancellation_token_source before;
    before.cancel();
    options.cancellation = before.get_token();
    EXPECT_THROW(FcsService::checkin(slots(2), {path, path}, options).get(), pplx::task_canceled);
    EXPECT_TRUE(platform.server().requests().empty());
}

// Through a real proxy that demands basic authentication.
TEST_F(Checkin, ThroughAProxyCredentialsGoWithAUserNameOnly)
{
    if (!test::TinyProxy::available()) {
        GTEST_SKIP() << "tinyproxy is not installed; scripts/install-deps.sh installs it";
    }
    const test::TinyProxy proxy(scratch.path());
    const std::wstring url = sdk::fromUtf8(proxy.url()), user = sdk::fromUtf8(test::TinyProxy::kUser),
                       password = sdk::fromUtf8(test::TinyProxy::kPassword);
    // The Via header with which a check-in reached the file server, "none" when it did not.
    const auto via = [&] {
        const auto slot = slots(1).at(0);
        failureOf(FcsService::checkin(slot, file("f", "through"))); // the proxy may reset on refusing
        const auto requests = platform.server().requests();
        return requests.empty() ? std::string("none") : requests[0].header("Via");
    };
    FcsService::setProxy(url, user, password);
    EXPECT_THAT(via(), HasSubstr("tinyproxy"));
    FcsService::setProxy(url, L"", password);
    EXPECT_EQ(via(), "none") << "refused by the proxy: no credentials without a user name";
    FcsService::setProxy(L"", user, password);
    EXPECT_EQ(via(), "") << "direct: a user name without a URL sets no proxy";
}

} // namespace
