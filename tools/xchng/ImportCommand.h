#pragma once

#include "Output.h"

#include <lithmar/exchange/api/DataExchangeApi.h>

#include <optional>
#include <string>
#include <vector>

namespace lithmar::xchng {

// One import of local files into a site: the files are checked in to the
// platform's file server, the import is asked for, and its result awaited.
struct UploadRequest {
    std::string kind; // one of uploadKinds()
    std::vector<std::string> files;
    std::string siteId;
    std::string name;       // of the new object; "" for the first file's name without extension
    std::string crs;        // of the data; "" leaves it to the service
    std::string importType; // as the service words it, "CREATE" unless given
    // Seconds to wait for the import's result (the API object's asynchronous
    // response time-out); unset keeps the library's default.
    std::optional<int> timeOutSeconds;
};

// The kinds of import, as the command line names them.
const std::vector<std::string>& uploadKinds();

// Starts an upload session, checks the files in, asks for the import, waits
// for its result (a spinner on a terminal; Ctrl+C stops waiting; progress on
// `err`, except with --json), closes the
// session and prints the result. The site is fetched first, so that a wrong
// one fails before any file goes out. Throws FailedImport when the result
// is not a success, InterruptedSession when a failure (Ctrl+C included)
// came after the session opened, and what the library threw otherwise.
void upload(com::vantorel::lithmar::exploration::api::DataExchangeApi& api, const UploadRequest& request, Output output,
            std::ostream& err, bool terminal);

} // namespace lithmar::xchng
