#include "UploadSession.h"

#include "ProgressBar.h"

#include <lithmar/exchange/fcs/FcsService.h>
#include <lithmar/runtime/Utf8.h>

#include <filesystem>
#include <stdexcept>

namespace lithmar::xchng {
namespace {

namespace lithmar = com::vantorel::lithmar;
namespace model = lithmar::exploration::model;

} // namespace

UploadSession::UploadSession(lithmar::exploration::api::DataExchangeApi& api, std::vector<std::string> files)
    : m_api(api), m_files(std::move(files))
{
    auto start = std::make_shared<model::StartUploadCommand>();
    start->setNumberOfFiles(static_cast<int>(m_files.size()));
    m_started = m_api.startUpload(start).get();
    m_id = m_started->getSessionId();
    if (m_started->getFcsFiles().size() != m_files.size()) {
        throw std::runtime_error("the service opened " + std::to_string(m_started->getFcsFiles().size()) +
                                 " slots for " + std::to_string(m_files.size()) + " files");
    }
}

void UploadSession::checkIn(std::ostream& progressOut, bool terminal)
{
    std::vector<std::string> names;
    for (const std::string& file : m_files) {
        names.push_back(std::filesystem::path(file).filename().string());
    }
    ProgressBar progress(progressOut, names, terminal);
    // One file per check-in, so that the receipts of the files before a
    // failure are known and can close the session; a one-file list keeps the
    // list check-in's retries.
    for (std::size_t i = 0; i < m_files.size(); ++i) {
        lithmar::CheckinOptions options;
        options.onProgress = [&progress, i](const lithmar::CheckinProgress& report) {
            progress.update(i, report.bytesSent, report.bytesTotal);
        };
        std::vector<std::shared_ptr<model::FcsFile>> slot{m_started->getFcsFiles()[i]};
        std::vector<std::wstring> path{lithmar::fromUtf8(m_files[i])};
        m_receipts.push_back(lithmar::FcsService::checkin(slot, path, options).get().at(0));
    }
    progress.finish();
}

std::vector<std::wstring> UploadSession::streamIds() const
{
    std::vector<std::wstring> ids;
    for (const auto& slot : m_started->getFcsFiles()) {
        ids.push_back(slot->getFcsStreamId());
    }
    return ids;
}

void UploadSession::finish()
{
    m_finishTried = true;
    auto finish = std::make_shared<model::FinishUploadCommand>();
    finish->setSessionId(m_id);
    finish->getFcsReceipts() = m_receipts;
    m_api.finishUpload(finish).get();
}

void UploadSession::closeAndRethrow()
{
    const std::exception_ptr cause = std::current_exception();
    SessionAftermath aftermath;
    aftermath.id = lithmar::toUtf8(m_id);
    aftermath.checkedIn.assign(m_files.begin(), m_files.begin() + static_cast<std::ptrdiff_t>(m_receipts.size()));
    if (m_finishTried) {
        aftermath.whyOpen = "finishing it failed";
    } else if (m_receipts.empty()) {
        aftermath.whyOpen = "a session is finished with the receipts of its files, and it has none";
    } else {
        try {
            finish();
            aftermath.finished = true;
        } catch (const std::exception& error) {
            aftermath.whyOpen = std::string("finishing it failed: ") + error.what();
        }
    }
    throw InterruptedSession{cause, std::move(aftermath)};
}

} // namespace lithmar::xchng
