#pragma once

#include "Output.h"

#include <lithmar/exchange/api/DataExchangeApi.h>

#include <ostream>
#include <string>
#include <vector>

namespace lithmar::xchng {

// Opens an upload session, checks `files` in to its slots with a progress
// bar per file, finishes the session with the receipts and prints them.
// `terminal`: the output is a terminal, so the bars redraw in place.
void uploadFiles(com::vantorel::lithmar::exploration::api::DataExchangeApi& api, const std::vector<std::string>& files,
                 bool terminal, Output output);

} // namespace lithmar::xchng
