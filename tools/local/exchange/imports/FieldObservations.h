#pragma once

#include <tools/local/exchange/imports/CsvTable.h>

#include <optional>
#include <string>
#include <vector>

namespace lithmar::local::imports {

// What a geologist noted at one station in the field.
struct FieldObservation {
    std::string stationId;
    double easting = 0;
    double northing = 0;
    std::optional<double> elevation;
    std::string observedOn;
    std::string rockType;
    std::optional<double> strike; // degrees [0, 360), of a measured plane
    std::optional<double> dip;    // degrees [0, 90]
    std::string note;
};

// Columns station_id, easting, northing (required); elevation, observed_on,
// rock_type, strike, dip, note (optional). Throws ImportError on a bad row
// or a station listed twice.
std::vector<FieldObservation> readFieldObservations(const CsvTable& table);

} // namespace lithmar::local::imports
