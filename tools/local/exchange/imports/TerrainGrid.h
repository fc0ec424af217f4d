#pragma once

#include <tools/local/exchange/imports/SourceFile.h>

#include <cstddef>
#include <optional>
#include <vector>

namespace lithmar::local::imports {

// A terrain as a regular grid of heights, read from the plain-text grid
// format: a header of "key value" lines
//
//     ncols 12
//     nrows 10
//     xllcorner 512000      (or xllcenter: the centre of the lower left cell)
//     yllcorner 5456000     (or yllcenter)
//     cellsize 50
//     nodata_value -9999    (optional)
//
// then nrows rows of ncols heights, the northernmost row first, separated
// by any blanks and line breaks. Keys are compared without case.
struct TerrainGrid {
    std::size_t columns = 0;
    std::size_t rows = 0;
    double xLowerLeft = 0; // the corner, also when the file gives the centre
    double yLowerLeft = 0;
    double cellSize = 0;
    std::optional<double> noData;
    std::vector<double> heights; // rows * columns, row by row from the north
    // Of the heights that are not noData; nullopt when every cell is.
    std::optional<double> lowest;
    std::optional<double> highest;
};

// Grids beyond this many cells are refused.
inline constexpr std::size_t kMaxTerrainCells = 16u << 20;

// Throws ImportError naming the line of the first fault: an unknown or
// missing key, a value that is not a number, a size or cell size not above
// 0, more or fewer heights than ncols * nrows.
TerrainGrid readTerrainGrid(const SourceFile& file);

} // namespace lithmar::local::imports
