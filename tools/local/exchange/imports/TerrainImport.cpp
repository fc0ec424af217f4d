// Terrains: one height grid becomes a terrain below the site's terrain
// collection, or replaces the grid of an existing terrain.

#include <tools/local/common/JsonAnswer.h>
#include <tools/local/exchange/imports/ImportError.h>
#include <tools/local/exchange/imports/SiteImport.h>
#include <tools/local/exchange/imports/TerrainGrid.h>

#include <memory>

namespace lithmar::local::imports {
namespace {

Json gridJson(const TerrainGrid& grid, const std::string& crs)
{
    Json json{{"crs", crs},
              {"columns", grid.columns},
              {"rows", grid.rows},
              {"xLowerLeft", grid.xLowerLeft},
              {"yLowerLeft", grid.yLowerLeft},
              {"cellSize", grid.cellSize}};
    if (grid.noData) {
        json["noData"] = *grid.noData;
    }
    if (grid.lowest) {
        json["lowest"] = *grid.lowest;
        json["highest"] = *grid.highest;
    }
    json["heights"] = grid.heights;
    return json;
}

} // namespace

SiteWrite prepareTerrain(const ImportCommand& command, const std::vector<SourceFile>& files)
{
    if (files.size() != 1) {
        throw ImportError("a terrain is imported from one grid file, not " + std::to_string(files.size()));
    }
    auto grid = std::make_shared<TerrainGrid>(readTerrainGrid(files[0]));
    return [grid, command, size = totalSize(files)](ImportTarget& target) {
        SiteObject terrain;
        if (!command.existingId.empty()) {
            terrain = existingObject(target, command.existingId, "Terrain", "terrain");
        } else {
            const SiteObject collection = topLevelContainer(target, "TerrainCollection", "trc-", "Terrains");
            terrain = SiteObject{newObjectId("ter-"), target.record.id, collection.id, "Terrain", {}, {}, {}};
        }
        if (!command.name.empty()) {
            terrain.name = command.name;
        }
        terrain.modificationDate = target.now;
        target.site.put(terrain);
        target.site.setData(terrain.id, gridJson(*grid, target.crs).dump());

        ImportOutcome outcome;
        outcome.id = terrain.id;
        outcome.modificationDate = terrain.modificationDate;
        outcome.size = size;
        return outcome;
    };
}

} // namespace lithmar::local::imports
