#pragma once

#include <tools/local/exchange/imports/CsvTable.h>

#include <optional>
#include <string>
#include <vector>

namespace lithmar::local::imports {

// Where a borehole starts. Depths along the hole are in the site's unit,
// from the collar.
struct Collar {
    std::string holeId;
    double easting = 0;
    double northing = 0;
    double elevation = 0;
    double totalDepth = 0;
    std::string drilledOn; // as written, may be empty
};

// The direction of the hole at a depth: azimuth clockwise from north in
// degrees [0, 360), dip in degrees [-90, 90] (negative downwards).
struct SurveyStation {
    std::string holeId;
    double depth = 0;
    double azimuth = 0;
    double dip = 0;
};

// A logged stretch of a hole.
struct Interval {
    std::string holeId;
    double from = 0;
    double to = 0;
    std::string lithology;
    std::optional<double> porosity; // fraction [0, 1]
};

enum class BoreholeTable { Collars, Surveys, Intervals, Unknown };

// Which table the file is, from its header.
BoreholeTable boreholeTableOf(const CsvTable& table);

// Each throws ImportError naming the file, row and column of the first bad
// field: a missing column, an empty id, a value out of its range, a hole
// listed twice among the collars.
std::vector<Collar> readCollars(const CsvTable& table);
std::vector<SurveyStation> readSurveys(const CsvTable& table);
std::vector<Interval> readIntervals(const CsvTable& table);

} // namespace lithmar::local::imports
