#include <tools/local/exchange/imports/BoreholeTables.h>

#include <set>

namespace lithmar::local::imports {
namespace {

const std::vector<const char*> kCollarColumns{"hole_id", "easting", "northing", "elevation", "total_depth"};
const std::vector<const char*> kSurveyColumns{"hole_id", "depth", "azimuth", "dip"};
const std::vector<const char*> kIntervalColumns{"hole_id", "depth_from", "depth_to", "lithology"};

} // namespace

BoreholeTable boreholeTableOf(const CsvTable& table)
{
    if (table.hasColumns(kCollarColumns)) {
        return BoreholeTable::Collars;
    }
    if (table.hasColumns(kSurveyColumns)) {
        return BoreholeTable::Surveys;
    }
    if (table.hasColumns(kIntervalColumns)) {
        return BoreholeTable::Intervals;
    }
    return BoreholeTable::Unknown;
}

std::vector<Collar> readCollars(const CsvTable& table)
{
    const std::size_t id = table.column("hole_id");
    const std::size_t easting = table.column("easting");
    const std::size_t northing = table.column("northing");
    const std::size_t elevation = table.column("elevation");
    const std::size_t depth = table.column("total_depth");
    const auto drilledOn = table.optionalColumn("drilled_on");
    std::vector<Collar> collars;
    std::set<std::string> seen;
    for (std::size_t row = 0; row < table.rowCount(); ++row) {
        Collar collar{table.requiredText(row, id), table.number(row, easting),
                      table.number(row, northing), table.number(row, elevation),
                      table.number(row, depth),    drilledOn ? table.text(row, *drilledOn) : std::string()};
        if (collar.totalDepth <= 0) {
            table.fail(row, depth, "the depth of a hole must be above 0");
        }
        if (!seen.insert(collar.holeId).second) {
            table.fail(row, id, "the hole " + collar.holeId + " is listed twice");
        }
        collars.push_back(std::move(collar));
    }
    return collars;
}

std::vector<SurveyStation> readSurveys(const CsvTable& table)
{
    const std::size_t id = table.column("hole_id");
    const std::size_t depth = table.column("depth");
    const std::size_t azimuth = table.column("azimuth");
    const std::size_t dip = table.column("dip");
    std::vector<SurveyStation> stations;
    for (std::size_t row = 0; row < table.rowCount(); ++row) {
        SurveyStation station{table.requiredText(row, id), table.number(row, depth),
                              table.numberWithin(row, azimuth, 0, 360, true), table.numberWithin(row, dip, -90, 90)};
        if (station.depth < 0) {
            table.fail(row, depth, "a depth below the collar cannot be negative");
        }
        stations.push_back(std::move(station));
    }
    return stations;
}

std::vector<Interval> readIntervals(const CsvTable& table)
{
    const std::size_t id = table.column("hole_id");
    const std::size_t from = table.column("depth_from");
    const std::size_t to = table.column("depth_to");
    const std::size_t lithology = table.column("lithology");
    const auto porosity = table.optionalColumn("porosity");
    std::vector<Interval> intervals;
    for (std::size_t row = 0; row < table.rowCount(); ++row) {
        Interval interval{table.requiredText(row, id), table.number(row, from), table.number(row, to),
                          table.text(row, lithology), std::nullopt};
        if (interval.from < 0 || interval.to <= interval.from) {
            table.fail(row, "an interval needs 0 <= depth_from < depth_to");
        }
        if (porosity && !table.text(row, *porosity).empty()) {
            interval.porosity = table.numberWithin(row, *porosity, 0, 1);
        }
        intervals.push_back(std::move(interval));
    }
    return intervals;
}

} // namespace lithmar::local::imports
