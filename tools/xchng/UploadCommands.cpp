#include "UploadCommands.h"

#include "ProgressBar.h"
#include "Table.h"

#include <lithmar/exchange/fcs/FcsService.h>
#include <lithmar/runtime/Utf8.h>

#include <filesystem>
#include <sstream>

namespace lithmar::xchng {
namespace {

namespace lithmar = com::vantorel::lithmar;
namespace model = lithmar::exploration::model;
using lithmar::exploration::api::DataExchangeApi;

} // namespace

CheckedInFiles checkInFiles(DataExchangeApi& api, const std::vector<std::string>& files, std::ostream& progressOut,
                            bool terminal)
{
    auto start = std::make_shared<model::StartUploadCommand>();
    start->setNumberOfFiles(static_cast<int>(files.size()));
    const auto session = api.startUpload(start).get();
    if (session->getFcsFiles().size() != files.size()) {
        throw std::runtime_error("the service opened " + std::to_string(session->getFcsFiles().size()) + " slots for " +
                                 std::to_string(files.size()) + " files");
    }

    std::vector<std::wstring> paths;
    std::vector<std::string> names;
    for (const std::string& file : files) {
        paths.push_back(lithmar::fromUtf8(file));
        names.push_back(std::filesystem::path(file).filename().string());
    }
    ProgressBar progress(progressOut, names, terminal);
    lithmar::CheckinOptions options;
    options.onProgress = [&progress](const lithmar::CheckinProgress& report) {
        progress.update(report.fileIndex, report.bytesSent, report.bytesTotal);
    };
    auto receipts = lithmar::FcsService::checkin(session->getFcsFiles(), paths, options).get();
    progress.finish();
    return {session, std::move(receipts)};
}

void uploadFiles(DataExchangeApi& api, const std::vector<std::string>& files, bool terminal, Output output)
{
    // With --json the bars go nowhere: the output is for a program.
    std::ostringstream discarded;
    const auto [session, receipts] =
        checkInFiles(api, files, output.json ? discarded : output.out, terminal && !output.json);

    auto finish = std::make_shared<model::FinishUploadCommand>();
    finish->setSessionId(session->getSessionId());
    finish->getFcsReceipts() = receipts;
    api.finishUpload(finish).get();

    if (output.json) {
        output.out << finish->toJson().serialize() << '\n';
        return;
    }
    output.out << "upload session " << lithmar::toUtf8(session->getSessionId()) << " finished\n";
    Table table({"FILE", "STREAM", "RECEIPT"});
    for (std::size_t i = 0; i < receipts.size(); ++i) {
        table.add(
            {files[i], lithmar::toUtf8(receipts[i]->getFcsStreamId()), lithmar::toUtf8(receipts[i]->getFcsReciept())});
    }
    table.print(output.out);
}

} // namespace lithmar::xchng
