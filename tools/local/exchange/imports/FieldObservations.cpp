#include <tools/local/exchange/imports/FieldObservations.h>

#include <set>

namespace lithmar::local::imports {
namespace {

std::string optionalText(const CsvTable& table, std::size_t row, const std::optional<std::size_t>& column)
{
    return column ? table.text(row, *column) : std::string();
}

std::optional<double> optionalWithin(const CsvTable& table, std::size_t row, const std::optional<std::size_t>& column,
                                     double low, double high, bool highOpen = false)
{
    return column ? table.optionalNumberWithin(row, *column, low, high, highOpen) : std::nullopt;
}

} // namespace

std::vector<FieldObservation> readFieldObservations(const CsvTable& table)
{
    const std::size_t id = table.column("station_id");
    const std::size_t easting = table.column("easting");
    const std::size_t northing = table.column("northing");
    const auto elevation = table.optionalColumn("elevation");
    const auto observedOn = table.optionalColumn("observed_on");
    const auto rockType = table.optionalColumn("rock_type");
    const auto strike = table.optionalColumn("strike");
    const auto dip = table.optionalColumn("dip");
    const auto note = table.optionalColumn("note");
    std::vector<FieldObservation> observations;
    std::set<std::string> seen;
    for (std::size_t row = 0; row < table.rowCount(); ++row) {
        FieldObservation observation{table.requiredText(row, id),
                                     table.number(row, easting),
                                     table.number(row, northing),
                                     elevation ? table.optionalNumber(row, *elevation) : std::nullopt,
                                     optionalText(table, row, observedOn),
                                     optionalText(table, row, rockType),
                                     optionalWithin(table, row, strike, 0, 360, true),
                                     optionalWithin(table, row, dip, 0, 90),
                                     optionalText(table, row, note)};
        if (!seen.insert(observation.stationId).second) {
            table.fail(row, id, "the station " + observation.stationId + " is listed twice");
        }
        observations.push_back(std::move(observation));
    }
    return observations;
}

} // namespace lithmar::local::imports
