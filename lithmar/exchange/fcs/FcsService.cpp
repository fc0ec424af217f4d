#include <lithmar/exchange/fcs/FcsService.h>

#include <lithmar/exchange/detail/PerCallClient.h>
#include <lithmar/exchange/fcs/detail/CheckinRetry.h>
#include <lithmar/exchange/fcs/detail/ProgressFileBuffer.h>
#include <lithmar/runtime/ModelBase.h>
#include <lithmar/runtime/MultipartFormData.h>
#include <lithmar/runtime/Utf8.h>

#include <stdexcept>

namespace com::vantorel::lithmar {
namespace {

namespace model = exploration::model;
using Receipt = std::shared_ptr<model::FcsReceipt>;
using Receipts = std::vector<Receipt>;

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

void throwIfCancelled(const pplx::cancellation_token& cancellation)
{
    if (cancellation.is_canceled()) {
        throw pplx::task_canceled();
    }
}

// The check-in's form as every attempt opens it: no attempt starts once the
// check-in is cancelled, and one that starts reports so, which shows a
// repeated attempt as starting over.
class AttemptedForm final : public IHttpBody {
public:
    AttemptedForm(std::shared_ptr<IHttpBody> form, std::function<void()> onStart, pplx::cancellation_token cancellation)
        : m_form(std::move(form)), m_onStart(std::move(onStart)), m_cancellation(std::move(cancellation))
    {
    }

    void writeTo(std::ostream& stream) override { m_form->writeTo(stream); }

    std::unique_ptr<BodyReader> openReader() override
    {
        throwIfCancelled(m_cancellation);
        if (m_onStart) {
            m_onStart();
        }
        return m_form->openReader();
    }

private:
    std::shared_ptr<IHttpBody> m_form;
    std::function<void()> m_onStart;
    pplx::cancellation_token m_cancellation;
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

// One file, its attempts as `retry` says: steps up to the request are
// synchronous, so a missing file throws before anything is sent.
pplx::task<Receipt> checkinFile(const model::FcsFile& file, const std::wstring& path, const CheckinOptions& options,
                                std::size_t fileIndex, const RetryPolicy& retry)
{
    if (options.cancellation.is_canceled()) {
        return pplx::task_from_exception<Receipt>(pplx::task_canceled());
    }
    auto configuration = std::make_shared<ApiConfiguration>();
    configuration->setBaseUrl(file.getFcsFileUrl());
    configuration->setRetryPolicy(retry);
    applyProxy(configuration->getHttpConfig());
    auto client = detail::perCallClient(configuration);

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

    std::function<void()> onStart;
    if (onProgress) {
        *total = filePart->dataSize().value_or(0);
        onStart = [onProgress, fileIndex, total] { onProgress({fileIndex, 0, *total}); };
    }
    auto attempted = std::make_shared<AttemptedForm>(form, std::move(onStart), options.cancellation);

    const std::wstring streamId = file.getFcsStreamId();
    auto answer = client->callApiAndRetryOnError(L"", L"POST", {}, attempted, headers, {}, {}, contentType)
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

// The state of a list check-in, carried from one file's continuation to the
// next.
struct ListCheckin {
    std::vector<std::shared_ptr<model::FcsFile>> files;
    std::vector<std::wstring> paths;
    CheckinOptions options;
    Receipts receipts;
    std::size_t index = 0;
};

pplx::task<Receipts> checkinFrom(std::shared_ptr<ListCheckin> state)
{
    if (state->index == state->files.size()) {
        return pplx::task_from_result(std::move(state->receipts));
    }
    pplx::task<Receipt> current;
    try {
        current = checkinFile(*requireFile(state->files[state->index]), state->paths[state->index], state->options,
                              state->index, detail::checkinRetryPolicy());
    } catch (...) {
        return pplx::task_from_exception<Receipts>(std::current_exception());
    }
    return current.then([state](const Receipt& receipt) {
        state->receipts.push_back(receipt);
        ++state->index;
        return checkinFrom(state);
    });
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
    return checkinFile(*requireFile(file), path, options, 0, RetryPolicy::none());
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
