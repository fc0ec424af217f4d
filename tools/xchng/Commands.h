#pragma once

#include <lithmar/exchange/api/DataExchangeApi.h>

#include <ostream>
#include <string>
#include <vector>

namespace lithmar::xchng {

struct Connection {
    std::string url;
    std::vector<std::string> headers;  // "Name: value"
    double timeoutSeconds = 30;
    std::string caFile;  // PEM certificates of a private CA to trust too; "" for none
};

struct Output {
    std::ostream& out;
    bool json = false;
};

struct DownloadRequest {
    bool feature = false;  // a geologic feature rather than a model
    std::string id;
    std::string format;
    std::string detailLevel;
    std::string crs;
    std::string outputDirectory;  // empty: list the files only
};

// The client settings of a connection: base URL, headers, time-out, the
// private CA, and the session cookie that `xchng signin` kept for the URL
// (unless a Cookie header is given).
std::shared_ptr<com::vantorel::lithmar::ApiConfiguration> configure(const Connection& connection);
com::vantorel::lithmar::exploration::api::DataExchangeApi connect(const Connection& connection);

void listSites(com::vantorel::lithmar::exploration::api::DataExchangeApi& api, Output output);
void createSite(com::vantorel::lithmar::exploration::api::DataExchangeApi& api, const std::string& name,
                Output output);
void showSite(com::vantorel::lithmar::exploration::api::DataExchangeApi& api, const std::string& id, Output output);
void listCrs(com::vantorel::lithmar::exploration::api::DataExchangeApi& api, Output output);
void download(com::vantorel::lithmar::exploration::api::DataExchangeApi& api, const DownloadRequest& request,
              Output output);

} // namespace lithmar::xchng
