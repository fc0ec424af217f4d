// Borehole interval sets: one interval table, logged along holes that the
// site's borehole collection has, becomes a named set at the top of the
// site.

#include <tools/local/common/JsonAnswer.h>
#include <tools/local/exchange/imports/BoreholeTables.h>
#include <tools/local/exchange/imports/ImportError.h>
#include <tools/local/exchange/imports/SiteImport.h>

#include <algorithm>
#include <map>
#include <memory>

namespace lithmar::local::imports {
namespace {

struct PlacedInterval {
    std::size_t row; // the file's row
    Interval interval;
};

struct IntervalFile {
    std::string label;
    std::vector<PlacedInterval> intervals;
};

// Intervals of one hole may touch but not overlap.
void checkOverlaps(const IntervalFile& file, std::map<std::string, std::vector<const PlacedInterval*>>& byHole)
{
    for (auto& [holeId, list] : byHole) {
        std::stable_sort(list.begin(), list.end(), [](const PlacedInterval* a, const PlacedInterval* b) {
            return a->interval.from < b->interval.from;
        });
        for (std::size_t i = 1; i < list.size(); ++i) {
            if (list[i]->interval.from < list[i - 1]->interval.to) {
                throw ImportError(file.label + ", row " + std::to_string(list[i]->row) + ": the interval of " + holeId +
                                  " overlaps the one on row " + std::to_string(list[i - 1]->row));
            }
        }
    }
}

Json intervalJson(const Interval& interval)
{
    Json json{{"from", interval.from}, {"to", interval.to}, {"lithology", interval.lithology}};
    if (interval.porosity) {
        json["porosity"] = *interval.porosity;
    }
    return json;
}

} // namespace

SiteWrite prepareIntervalSet(const ImportCommand& command, const std::vector<SourceFile>& files)
{
    if (files.size() != 1) {
        throw ImportError("an interval set is imported from one interval table, not " + std::to_string(files.size()));
    }
    const CsvTable table = CsvTable::parse(files[0]);
    if (boreholeTableOf(table) != BoreholeTable::Intervals) {
        throw ImportError(files[0].label() +
                          " is not an interval table (hole_id, depth_from, depth_to, lithology, optionally porosity)");
    }
    auto read = std::make_shared<IntervalFile>();
    read->label = files[0].label();
    auto intervals = readIntervals(table);
    for (std::size_t row = 0; row < intervals.size(); ++row) {
        read->intervals.push_back({row + 2, std::move(intervals[row])});
    }
    std::map<std::string, std::vector<const PlacedInterval*>> byHole;
    for (const PlacedInterval& placed : read->intervals) {
        byHole[placed.interval.holeId].push_back(&placed);
    }
    checkOverlaps(*read, byHole);

    return [read, name = command.name](ImportTarget& target) {
        const auto collection = target.site.firstOfKind("BoreholeCollection", "");
        const std::string stored = collection ? target.site.data(collection->id) : std::string();
        const Json holes = stored.empty() ? Json::object() : Json::parse(stored);

        Json holeIntervals = Json::object();
        for (const PlacedInterval& placed : read->intervals) {
            const Interval& interval = placed.interval;
            const auto hole = holes.find(interval.holeId);
            const std::string where = read->label + ", row " + std::to_string(placed.row);
            if (hole == holes.end()) {
                throw ImportError(where + ": the site has no borehole " + interval.holeId +
                                  "; import its collar first");
            }
            if (interval.to > (*hole)["totalDepth"].get<double>()) {
                throw ImportError(where + ": the interval ends below the end of the hole " + interval.holeId);
            }
            holeIntervals[interval.holeId].push_back(intervalJson(interval));
        }

        SiteObject set{newObjectId("bis-"),
                       target.record.id,
                       "",
                       "BoreholeIntervalSet",
                       name,
                       target.now,
                       {{"totalItems", std::to_string(read->intervals.size())}}};
        target.site.put(set);
        target.site.setData(set.id, Json{{"crs", target.crs}, {"holes", holeIntervals}}.dump());

        ImportOutcome outcome;
        outcome.count = std::to_string(read->intervals.size());
        outcome.id = set.id;
        return outcome;
    };
}

} // namespace lithmar::local::imports
