#include "UploadCommands.h"

#include "Table.h"
#include "UploadSession.h"

#include <lithmar/runtime/Utf8.h>

#include <sstream>

namespace lithmar::xchng {
namespace {

namespace lithmar = com::vantorel::lithmar;
namespace model = lithmar::exploration::model;
using lithmar::exploration::api::DataExchangeApi;

} // namespace

void uploadFiles(DataExchangeApi& api, const std::vector<std::string>& files, bool terminal, Output output)
{
    // With --json the bars go nowhere: the output is for a program.
    std::ostringstream discarded;
    UploadSession session(api, files);
    try {
        session.checkIn(output.json ? discarded : output.out, terminal && !output.json);
        session.finish();
    } catch (...) {
        session.closeAndRethrow();
    }
    const auto& receipts = session.receipts();

    if (output.json) {
        model::FinishUploadCommand finished;
        finished.setSessionId(session.id());
        finished.getFcsReceipts() = receipts;
        output.out << finished.toJson().serialize() << '\n';
        return;
    }
    output.out << "upload session " << lithmar::toUtf8(session.id()) << " finished\n";
    Table table({"FILE", "STREAM", "RECEIPT"});
    for (std::size_t i = 0; i < receipts.size(); ++i) {
        table.add(
            {files[i], lithmar::toUtf8(receipts[i]->getFcsStreamId()), lithmar::toUtf8(receipts[i]->getFcsReciept())});
    }
    table.print(output.out);
}

} // namespace lithmar::xchng
