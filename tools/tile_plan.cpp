#include "tile_plan.h"

#include <algorithm>

namespace wbx::tool {

namespace {

// Bands of fewer rows of pixels, or more bands than this, cost time for nothing.
constexpr uint32_t kFewestRows = 16;
constexpr uint32_t kMostBands = 256;

struct Columns {
  uint32_t first = 0;
  uint32_t last = 0;

  bool operator==(const Columns&) const = default;
};

uint32_t tileRowsOfBand(const SizeFacts& size, uint32_t tileRows) {
  const uint32_t height = std::max(size.firstTile.height(), 1u);
  return std::max((kFewestRows + height - 1) / height, (tileRows + kMostBands - 1) / kMostBands);
}

Rect around(const Rect& a, const Rect& b) {
  return {std::min(a.x0, b.x0), std::min(a.y0, b.y0), std::max(a.x1, b.x1), std::max(a.y1, b.y1)};
}

// `columnsOf` tells which columns of a row of tiles belong to the picture.
template <class ColumnsOf>
TilePlan planRows(const SizeFacts& size, uint32_t firstRow, uint32_t lastRow, uint32_t rowsOfBand,
                  const ColumnsOf& columnsOf) {
  TilePlan plan;
  for (uint32_t row = firstRow; row <= lastRow;) {
    const Columns columns = columnsOf(row);
    const uint32_t begin = row++;
    while (row <= lastRow && row - begin < rowsOfBand && columnsOf(row) == columns) ++row;
    const Rect rect = around(size.tile(columns.first, begin), size.tile(columns.last, row - 1));
    plan.bands.push_back({begin, row - 1, columns.first, columns.last, rect});
    plan.tiles += uint64_t{row - begin} * (columns.last - columns.first + 1);
    plan.picture = plan.bands.size() == 1 ? rect : around(plan.picture, rect);
  }
  return plan;
}

// The first tile that ends behind a place, given where tiles end.
template <class EndOf>
uint32_t tileAt(uint32_t place, uint32_t count, const EndOf& endOf) {
  uint32_t low = 0;
  uint32_t high = count - 1;
  while (low < high) {
    const uint32_t middle = low + (high - low) / 2;
    if (endOf(middle) > place) {
      high = middle;
    } else {
      low = middle + 1;
    }
  }
  return low;
}

uint32_t clippedSum(uint32_t a, uint32_t b, uint32_t most) {
  return static_cast<uint32_t>(std::min<uint64_t>(uint64_t{a} + b, most));
}

}  // namespace

TilePlan planTiles(const SizeFacts& size, const std::optional<TileRange>& range, bool inOneBand) {
  const uint32_t across = size.tilesAcross();
  const uint32_t down = size.tilesDown();
  const uint32_t first = range ? static_cast<uint32_t>(range->first) : 0;
  const uint32_t last = range ? static_cast<uint32_t>(range->last) : across * down - 1;
  const uint32_t firstRow = first / across;
  const uint32_t lastRow = last / across;
  const auto columnsOf = [&](uint32_t row) {
    return Columns{row == firstRow ? first % across : 0,
                   row == lastRow ? last % across : across - 1};
  };
  const uint32_t rows = inOneBand ? down : tileRowsOfBand(size, lastRow - firstRow + 1);
  return planRows(size, firstRow, lastRow, rows, columnsOf);
}

std::optional<TilePlan> planRegion(const SizeFacts& size, const Region& region) {
  const Rect& image = size.image;
  Rect wanted;
  wanted.x0 = clippedSum(image.x0, region.x, image.x1);
  wanted.y0 = clippedSum(image.y0, region.y, image.y1);
  wanted.x1 = clippedSum(wanted.x0, region.width, image.x1);
  wanted.y1 = clippedSum(wanted.y0, region.height, image.y1);
  if (wanted.empty()) return std::nullopt;
  const auto rightOf = [&](uint32_t column) { return size.tile(column, 0).x1; };
  const auto bottomOf = [&](uint32_t row) { return size.tile(0, row).y1; };
  const Columns columns{tileAt(wanted.x0, size.tilesAcross(), rightOf),
                        tileAt(wanted.x1 - 1, size.tilesAcross(), rightOf)};
  const uint32_t firstRow = tileAt(wanted.y0, size.tilesDown(), bottomOf);
  const uint32_t lastRow = tileAt(wanted.y1 - 1, size.tilesDown(), bottomOf);
  TilePlan plan = planRows(size, firstRow, lastRow, tileRowsOfBand(size, lastRow - firstRow + 1),
                           [&](uint32_t) { return columns; });
  plan.picture = wanted;
  return plan;
}

}  // namespace wbx::tool
