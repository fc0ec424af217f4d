#pragma once

#include "Output.h"

#include <lithmar/exchange/api/DataExchangeApi.h>

namespace lithmar::xchng {

void listCrs(com::vantorel::lithmar::exploration::api::DataExchangeApi& api, Output output);

} // namespace lithmar::xchng
