#include <tools/local/exchange/CrsCatalog.h>

#include <algorithm>

namespace lithmar::local {

const std::vector<Crs>& knownCrs()
{
    static const std::vector<Crs> catalog{
        {"EPSG:4326", "WGS 84", "degree"},
        {"EPSG:3857", "WGS 84 / Pseudo-Mercator", "metre"},
        {"EPSG:32633", "WGS 84 / UTM zone 33N", "metre"},
        {"EPSG:2154", "RGF93 / Lambert-93", "metre"},
        {"EPSG:27700", "OSGB36 / British National Grid", "metre"},
        {"EPSG:26911", "NAD83 / UTM zone 11N", "metre"},
        {"EPSG:28355", "GDA94 / MGA zone 55", "metre"},
        {"EPSG:2193", "NZGD2000 / New Zealand Transverse Mercator", "metre"},
        {"EPSG:2230", "NAD83 / California zone 6", "US survey foot"},
    };
    return catalog;
}

const Crs* findCrs(std::string_view id)
{
    const auto& catalog = knownCrs();
    const auto found = std::find_if(catalog.begin(), catalog.end(), [id](const Crs& crs) { return crs.id == id; });
    return found == catalog.end() ? nullptr : &*found;
}

const Crs& defaultSiteCrs()
{
    // A projected system in metres: what geological sites mostly use.
    return *findCrs("EPSG:32633");
}

} // namespace lithmar::local
