#include "CrsCommands.h"

#include "Table.h"

#include <lithmar/runtime/Utf8.h>

namespace lithmar::xchng {
namespace {

namespace lithmar = com::vantorel::lithmar;
using lithmar::toUtf8;
using lithmar::exploration::api::DataExchangeApi;

} // namespace

void listCrs(DataExchangeApi& api, Output output)
{
    const auto result = api.getCrs().get();
    if (output.json) {
        output.out << result->toJson().serialize() << '\n';
        return;
    }
    Table systems({"ID", "NAME", "UNIT"});
    for (const auto& crs : result->getCrs()) {
        if (crs) {
            systems.add({toUtf8(crs->getId()), toUtf8(crs->getName()), toUtf8(crs->getUnitofmeasure())});
        }
    }
    systems.print(output.out);
}

} // namespace lithmar::xchng
