// Field observations: station tables become a point sample set below the
// site's point sample collection, or join an existing set (a station seen
// again is replaced).

#include <tools/local/common/JsonAnswer.h>
#include <tools/local/exchange/imports/FieldObservations.h>
#include <tools/local/exchange/imports/ImportError.h>
#include <tools/local/exchange/imports/SiteImport.h>

#include <memory>

namespace lithmar::local::imports {
namespace {

Json observationJson(const FieldObservation& observation, const std::string& crs)
{
    Json json{{"easting", observation.easting}, {"northing", observation.northing}, {"crs", crs}};
    const auto optional = [&json](const char* key, const std::optional<double>& value) {
        if (value) {
            json[key] = *value;
        }
    };
    optional("elevation", observation.elevation);
    json["observedOn"] = observation.observedOn;
    json["rockType"] = observation.rockType;
    optional("strike", observation.strike);
    optional("dip", observation.dip);
    json["note"] = observation.note;
    return json;
}

} // namespace

SiteWrite prepareFieldObservations(const ImportCommand& command, const std::vector<SourceFile>& files)
{
    auto observations = std::make_shared<std::vector<FieldObservation>>();
    for (const SourceFile& file : files) {
        for (FieldObservation& observation : readFieldObservations(CsvTable::parse(file))) {
            observations->push_back(std::move(observation));
        }
    }
    return [observations, command](ImportTarget& target) {
        SiteObject set;
        if (!command.existingId.empty()) {
            set = existingObject(target, command.existingId, "PointSampleSet", "point sample set");
        } else {
            const SiteObject collection = topLevelContainer(target, "PointSampleCollection", "psc-", "Point samples");
            set = SiteObject{newObjectId("pss-"), target.record.id, collection.id, "PointSampleSet", {}, {}, {}};
        }
        if (!command.name.empty()) {
            set.name = command.name;
        }
        const std::string stored = target.site.data(set.id);
        Json stations = stored.empty() ? Json::object() : Json::parse(stored);
        for (const FieldObservation& observation : *observations) {
            stations[observation.stationId] = observationJson(observation, target.crs);
        }
        // A set from before imports kept data has only its count.
        const auto total = set.details.find("totalItems");
        const std::size_t before = stored.empty() && total != set.details.end() ? std::stoul("0" + total->second) : 0;
        set.details["totalItems"] = std::to_string(before + stations.size());
        set.modificationDate = target.now;
        target.site.put(set);
        target.site.setData(set.id, stations.dump());

        ImportOutcome outcome;
        outcome.count = std::to_string(observations->size());
        outcome.id = set.id;
        return outcome;
    };
}

} // namespace lithmar::local::imports
