#pragma once

#include <lithmar/exchange/api/DataExchangeApi.h>

#include <memory>
#include <string>
#include <vector>

namespace lithmar::xchng {

struct Connection {
    std::string url;
    std::vector<std::string> headers; // "Name: value"
    double timeoutSeconds = 30;
    std::string caFile; // PEM certificates of a private CA to trust too; "" for none
};

// The client settings of a connection: base URL, headers, time-out, the
// private CA, and the session cookie that `xchng signin` kept for the URL
// (unless a Cookie header is given).
std::shared_ptr<com::vantorel::lithmar::ApiConfiguration> configure(const Connection& connection);
com::vantorel::lithmar::exploration::api::DataExchangeApi connect(const Connection& connection);

} // namespace lithmar::xchng
