#include <lithmar/exchange/fcs/FcsService.h>

#include <lithmar/exchange/fcs/detail/ProgressFileBuffer.h>
#include <lithmar/exchange/fcs/detail/TransientFailures.h>
#include <lithmar/runtime/ApiClient.h>
#include <lithmar/runtime/ModelBase.h>
#include <lithmar/runtime/MultipartFormData.h>
#include <lithmar/runtime/Utf8.h>
#include <lithmar/runtime/detail/Delay.h>

#include <chrono>
#include <stdexcept>

namespace com::vantorel::lithmar {
namespace {

namespace model = exploration::model;
using Receipt = std::shared_ptr<model::FcsReceipt>;
using Receipts = std::vector<Receipt>;

constexpr std::chrono::microseconds kRequestTimeout{1200000000}; // 20 minutes
constexpr int kMaxAttempts = 5;
constexpr std::chrono::milliseconds kRetryPause{1000};

// The process-wide proxy, unlocked by design (see setProxy).
struct ProxySettings {
    std::wstring url;
    std::wstring userName;
    std::wstring password;
};

ProxySettings& proxySettings()
{
    static ProxySettings settings;
    return settings;
}

void applyProxy(web::http::client::http_client_config& config)
{
    const ProxySettings& proxy = proxySettings();
    if (proxy.url.empty()) {
        return;
    }
    web::web_proxy webProxy{web::uri(toUtf8(proxy.url))};
    if (!proxy.userName.empty()) {
        webProxy.set_credentials(web::credentials(toUtf8(proxy.userName), toUtf8(proxy.password)));
    }
    config.set_proxy(webProxy);
}

// An open file whose reads are counted for progress and stop on cancellation.
class ProgressFileStream final : public std::istream {
public:
    ProgressFileStream(detail::ProgressFileBuffer::Report report, pplx::cancellation_token cancellation)
        : std::istream(nullptr), m_buffer(std::move(report), std::move(cancellation))
    {
        rdbuf(&m_buffer);
    }

    bool open(const std::string& path) { return m_buffer.open(path, std::ios::in | std::ios::binary) != nullptr; }

private:
    detail::ProgressFileBuffer m_buffer;
};

// The task of `work`, or pplx::task_canceled as soon as `cancellation` fires,
// whichever comes first. The abandoned work ends on its own.
template <typename T> pplx::task<T> unlessCancelled(pplx::task<T> work, const pplx::cancellation_token& cancellation)
{
    if (!cancellation.is_cancelable()) {
        return work;
    }
    pplx::task_completion_event<T> outcome;
    const auto registration =
        cancellation.register_callback([outcome] { outcome.set_exception(pplx::task_canceled()); });
    work.then([outcome, cancellation, registration](pplx::task<T> done) {
        cancellation.deregister_callback(registration);
        try {
            outcome.set(done.get());
        } catch (...) {
            outcome.set_exception(std::current_exception());
        }
    });
    return pplx::create_task(outcome);
}

void throwIfCancelled(const pplx::cancellation_token& cancellation)
{
    if (cancellation.is_canceled()) {
        throw pplx::task_canceled();
    }
}

// One attempt for one file: steps up to the request are synchronous, so a
// missing file throws before anything is sent.
pplx::task<Receipt> checkinOnce(const model::FcsFile& file, const std::wstring& path, const CheckinOptions& options,
                                std::size_t fileIndex)
{
    if (options.cancellation.is_canceled()) {
        return pplx::task_from_exception<Receipt>(pplx::task_canceled());
    }
    auto configuration = std::make_shared<ApiConfiguration>();
    configuration->setBaseUrl(file.getFcsFileUrl());
    configuration->getHttpConfig().set_timeout(kRequestTimeout);
    applyProxy(configuration->getHttpConfig());
    auto client = std::make_shared<ApiClient>(configuration);

    // The total is known once the part can measure its stream.
    auto total = std::make_shared<std::uint64_t>(0);
    const auto onProgress = options.onProgress;
    detail::ProgressFileBuffer::Report report;
    if (onProgress) {
        report = [onProgress, fileIndex, total](std::uint64_t sent) { onProgress({fileIndex, sent, *total}); };
    }
    auto data = std::make_shared<ProgressFileStream>(std::move(report), options.cancellation);
    if (!data->open(toUtf8(path))) {
        throw std::runtime_error("File not found: " + toUtf8(path));
    }
    auto filePart = std::make_shared<HttpContent>();
    filePart->setContentDisposition(L"form-data");
    filePart->setFileName(path);
    filePart->setContentType(L"application/octet-stream");
    filePart->setData(data);

    auto form = std::make_shared<MultipartFormData>();
    form->add(ModelBase::toHttpContent(L"__fcs__jobTicket", file.getFcsFileTicket(), L""));
    form->add(ModelBase::toHttpContent(L"my-upload", filePart));
    const std::wstring contentType = L"multipart/form-data; boundary=" + form->getBoundary();
    std::map<std::wstring, std::wstring> headers = configuration->getDefaultHeaders();
    headers[L"Content-Type"] = contentType;

    if (onProgress) {
        *total = filePart->dataSize().value_or(0);
        onProgress({fileIndex, 0, *total});
    }

    const std::wstring streamId = file.getFcsStreamId();
    auto answer = client->callApi(L"", L"POST", {}, form, headers, {}, {}, contentType)
                      .then([client](web::http::http_response response) { return response.extract_utf8string(true); })
                      .then([streamId](const std::string& body) {
                          auto receipt = std::make_shared<model::FcsReceipt>();
                          receipt->setFcsStreamId(streamId);
                          receipt->setFcsReciept(fromUtf8(body));
                          return receipt;
                      });
    return unlessCancelled(answer, options.cancellation);
}

std::shared_ptr<model::FcsFile> requireFile(const std::shared_ptr<model::FcsFile>& file)
{
    if (!file) {
        throw std::invalid_argument("FcsService::checkin needs a check-in slot, not a null FcsFile");
    }
    return file;
}

// The state of a list check-in, carried from one continuation to the next.
struct ListCheckin {
    std::vector<std::shared_ptr<model::FcsFile>> files;
    std::vector<std::wstring> paths;
    CheckinOptions options;
    Receipts receipts;
    std::size_t index = 0;
    int failedAttempts = 0;
};

pplx::task<Receipts> checkinFrom(std::shared_ptr<ListCheckin> state);

pplx::task<Receipts> attemptCurrent(std::shared_ptr<ListCheckin> state)
{
    pplx::task<Receipt> attempt;
    try {
        attempt = checkinOnce(*requireFile(state->files[state->index]), state->paths[state->index], state->options,
                              state->index);
    } catch (...) {
        return pplx::task_from_exception<Receipts>(std::current_exception());
    }
    return attempt.then([state](pplx::task<Receipt> done) {
        try {
            state->receipts.push_back(done.get());
        } catch (const web::http::http_exception& failure) {
            if (!detail::isTransientCheckinFailure(failure.what())) {
                throw;
            }
            return detail::delay(kRetryPause).then([state] {
                throwIfCancelled(state->options.cancellation);
                if (++state->failedAttempts >= kMaxAttempts) {
                    throw std::runtime_error("Retries exhausted");
                }
                return attemptCurrent(state);
            });
        }
        ++state->index;
        state->failedAttempts = 0;
        return checkinFrom(state);
    });
}

pplx::task<Receipts> checkinFrom(std::shared_ptr<ListCheckin> state)
{
    if (state->index == state->files.size()) {
        return pplx::task_from_result(std::move(state->receipts));
    }
    return attemptCurrent(std::move(state));
}

} // namespace

pplx::task<Receipt> FcsService::checkin(std::shared_ptr<model::FcsFile> file, std::wstring path)
{
    return checkin(std::move(file), std::move(path), CheckinOptions{});
}

pplx::task<Receipts> FcsService::checkin(std::vector<std::shared_ptr<model::FcsFile>> files,
                                         std::vector<std::wstring> paths)
{
    return checkin(std::move(files), std::move(paths), CheckinOptions{});
}

pplx::task<Receipt> FcsService::checkin(std::shared_ptr<model::FcsFile> file, std::wstring path, CheckinOptions options)
{
    return checkinOnce(*requireFile(file), path, options, 0);
}

pplx::task<Receipts> FcsService::checkin(std::vector<std::shared_ptr<model::FcsFile>> files,
                                         std::vector<std::wstring> paths, CheckinOptions options)
{
    if (paths.size() < files.size()) {
        return pplx::task_from_exception<Receipts>(std::invalid_argument(
            "FcsService::checkin got " + std::to_string(files.size()) + " check-in slots but only " +
            std::to_string(paths.size()) + " paths; give one path per slot"));
    }
    auto state = std::make_shared<ListCheckin>();
    state->files = std::move(files);
    state->paths = std::move(paths);
    state->options = std::move(options);
    const auto cancellation = state->options.cancellation;
    return unlessCancelled(checkinFrom(std::move(state)), cancellation);
}

void FcsService::setProxy(std::wstring proxyUrl, std::wstring userName, std::wstring password)
{
    ProxySettings& proxy = proxySettings();
    proxy.url = std::move(proxyUrl);
    proxy.userName = std::move(userName);
    proxy.password = std::move(password);
}

} // namespace com::vantorel::lithmar
