#pragma once

#include "Output.h"

#include <lithmar/exchange/api/DataExchangeApi.h>

#include <string>

namespace lithmar::xchng {

void listSites(com::vantorel::lithmar::exploration::api::DataExchangeApi& api, Output output);
void createSite(com::vantorel::lithmar::exploration::api::DataExchangeApi& api, const std::string& name, Output output);
// Prints a site's tree, one node a line, children indented under their parent.
void showSite(com::vantorel::lithmar::exploration::api::DataExchangeApi& api, const std::string& id, Output output);

} // namespace lithmar::xchng
