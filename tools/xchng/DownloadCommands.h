#pragma once

#include "Output.h"

#include <lithmar/exchange/api/DataExchangeApi.h>

#include <string>

namespace lithmar::xchng {

struct DownloadRequest {
    bool feature = false; // a geologic feature rather than a model
    std::string id;
    std::string format;
    std::string detailLevel;
    std::string crs;
    std::string outputDirectory; // empty: list the files only
};

// Downloads a geologic model's or feature's files and lists them; saves them
// too when the request names an output directory.
void download(com::vantorel::lithmar::exploration::api::DataExchangeApi& api, const DownloadRequest& request,
              Output output);

} // namespace lithmar::xchng
