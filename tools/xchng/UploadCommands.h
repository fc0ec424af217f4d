#pragma once

#include "Output.h"

#include <lithmar/exchange/api/DataExchangeApi.h>

#include <memory>
#include <ostream>
#include <string>
#include <vector>

namespace lithmar::xchng {

// An upload session whose files are checked in.
struct CheckedInFiles {
    std::shared_ptr<com::vantorel::lithmar::exploration::model::StartUploadResult> session;
    std::vector<std::shared_ptr<com::vantorel::lithmar::exploration::model::FcsReceipt>> receipts;
};

// Opens an upload session for `files` and checks them in to its slots, with
// a progress bar per file on `progress` (redrawn in place when `terminal`).
CheckedInFiles checkInFiles(com::vantorel::lithmar::exploration::api::DataExchangeApi& api,
                            const std::vector<std::string>& files, std::ostream& progress, bool terminal);

// Opens an upload session, checks `files` in to its slots with a progress
// bar per file, finishes the session with the receipts and prints them.
// `terminal`: the output is a terminal, so the bars redraw in place.
void uploadFiles(com::vantorel::lithmar::exploration::api::DataExchangeApi& api, const std::vector<std::string>& files,
                 bool terminal, Output output);

} // namespace lithmar::xchng
