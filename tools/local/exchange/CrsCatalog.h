#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace lithmar::local {

struct Crs {
    std::string id; // "EPSG:4326"
    std::string name;
    std::string unitOfMeasure;
};

// The coordinate reference systems that the local platform offers: a few
// common ones from several parts of the world, in degrees, metres and feet.
const std::vector<Crs>& knownCrs();
// nullptr when `id` is not offered (compared exactly, as the platform does).
const Crs* findCrs(std::string_view id);
// What new sites get when the client names no coordinate reference system.
const Crs& defaultSiteCrs();

} // namespace lithmar::local
