// Boreholes: collar tables, with survey tables for their direction, go into
// the site's borehole collection. A hole imported again is replaced, so the
// collection counts each hole once.

#include <tools/local/common/JsonAnswer.h>
#include <tools/local/exchange/imports/BoreholeTables.h>
#include <tools/local/exchange/imports/ImportError.h>
#include <tools/local/exchange/imports/SiteImport.h>

#include <algorithm>
#include <chrono>
#include <map>
#include <memory>
#include <set>

namespace lithmar::local::imports {
namespace {

using Clock = std::chrono::steady_clock;

struct PlacedStation {
    std::string where; // "surveys.csv (stream ...), row 4", for messages
    SurveyStation station;
};

struct BoreholeFiles {
    std::vector<Collar> collars;
    std::vector<PlacedStation> stations;
};

std::string milliseconds(Clock::duration duration)
{
    return std::to_string(std::chrono::duration_cast<std::chrono::milliseconds>(duration).count()) + " ms";
}

BoreholeFiles readBoreholeFiles(const std::vector<SourceFile>& files)
{
    BoreholeFiles read;
    std::set<std::string> holes;
    for (const SourceFile& file : files) {
        const CsvTable table = CsvTable::parse(file);
        switch (boreholeTableOf(table)) {
        case BoreholeTable::Collars:
            for (Collar& collar : readCollars(table)) {
                if (!holes.insert(collar.holeId).second) {
                    throw ImportError(file.label() + ": the hole " + collar.holeId +
                                      " has a collar in another file of this import too");
                }
                read.collars.push_back(std::move(collar));
            }
            break;
        case BoreholeTable::Surveys: {
            auto stations = readSurveys(table);
            for (std::size_t row = 0; row < stations.size(); ++row) {
                read.stations.push_back({file.label() + ", row " + std::to_string(row + 2), std::move(stations[row])});
            }
            break;
        }
        case BoreholeTable::Intervals:
            throw ImportError(file.label() + " is an interval table: import it as a borehole interval set");
        case BoreholeTable::Unknown:
            throw ImportError(file.label() +
                              " is neither a collar table (hole_id, easting, northing, elevation, total_depth) nor a "
                              "survey table (hole_id, depth, azimuth, dip)");
        }
    }
    return read;
}

Json collarJson(const Collar& collar, const std::string& crs)
{
    return Json{{"easting", collar.easting},       {"northing", collar.northing},   {"elevation", collar.elevation},
                {"totalDepth", collar.totalDepth}, {"drilledOn", collar.drilledOn}, {"crs", crs},
                {"survey", Json::array()}};
}

// Each surveyed hole's stations replace its former ones, ordered by depth.
void addSurveys(Json& holes, const std::vector<PlacedStation>& stations)
{
    std::map<std::string, std::vector<const PlacedStation*>> byHole;
    for (const PlacedStation& placed : stations) {
        const auto hole = holes.find(placed.station.holeId);
        if (hole == holes.end()) {
            throw ImportError(placed.where + ": the hole " + placed.station.holeId +
                              " has no collar, neither in this import nor in the site");
        }
        if (placed.station.depth > (*hole)["totalDepth"].get<double>()) {
            throw ImportError(placed.where + ": the depth " + std::to_string(placed.station.depth) +
                              " is below the end of the hole " + placed.station.holeId);
        }
        byHole[placed.station.holeId].push_back(&placed);
    }
    for (auto& [holeId, list] : byHole) {
        std::stable_sort(list.begin(), list.end(), [](const PlacedStation* a, const PlacedStation* b) {
            return a->station.depth < b->station.depth;
        });
        Json survey = Json::array();
        for (const PlacedStation* placed : list) {
            survey.push_back(
                {{"depth", placed->station.depth}, {"azimuth", placed->station.azimuth}, {"dip", placed->station.dip}});
        }
        holes[holeId]["survey"] = std::move(survey);
    }
}

} // namespace

SiteWrite prepareBoreholes(const ImportCommand&, const std::vector<SourceFile>& files)
{
    const auto started = Clock::now();
    auto read = std::make_shared<BoreholeFiles>(readBoreholeFiles(files));
    const std::string readTime = milliseconds(Clock::now() - started);

    return [read, readTime](ImportTarget& target) {
        const auto writing = Clock::now();
        SiteObject collection = topLevelContainer(target, "BoreholeCollection", "bhc-", "Boreholes");
        const std::string stored = target.site.data(collection.id);
        Json holes = stored.empty() ? Json::object() : Json::parse(stored);

        std::set<std::string> touched;
        std::size_t added = 0;
        for (const Collar& collar : read->collars) {
            added += holes.contains(collar.holeId) ? 0 : 1;
            holes[collar.holeId] = collarJson(collar, target.crs);
            touched.insert(collar.holeId);
        }
        addSurveys(holes, read->stations);
        for (const PlacedStation& placed : read->stations) {
            touched.insert(placed.station.holeId);
        }

        // A collection from before imports kept data counts its former
        // holes in totalItems only.
        const auto total = collection.details.find("totalItems");
        const std::size_t before = total == collection.details.end() ? 0 : std::stoul("0" + total->second);
        collection.details["totalItems"] = std::to_string(before + added);
        collection.modificationDate = target.now;
        target.site.put(collection);
        target.site.setData(collection.id, holes.dump());

        ImportOutcome outcome;
        outcome.count = std::to_string(touched.size());
        outcome.timing = "read " + readTime + ", stored " + milliseconds(Clock::now() - writing);
        return outcome;
    };
}

} // namespace lithmar::local::imports
