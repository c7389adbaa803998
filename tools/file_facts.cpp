#include "file_facts.h"

#include <algorithm>

#include "byte_reader.h"
#include "markers.h"

namespace wbx::tool {

namespace {

uint32_t ceilShifted(uint32_t value, uint32_t shift) {
  return static_cast<uint32_t>((uint64_t{value} + (uint64_t{1} << shift) - 1) >> shift);
}

// How many tiles there are from the first one's begin to the image's end.
uint32_t tileCount(uint32_t begin, uint32_t end, uint32_t step) {
  if (step == 0 || end <= begin) return 0;
  return static_cast<uint32_t>((uint64_t{end} - begin + step - 1) / step);
}

// One edge of the tile grid, kept inside the image.
uint32_t gridLine(uint32_t begin, uint32_t step, uint64_t index, uint32_t low, uint32_t high) {
  return static_cast<uint32_t>(
      std::clamp<uint64_t>(begin + step * index, low, std::max(low, high)));
}

}  // namespace

Rect reduced(const Rect& rect, uint32_t level) {
  const uint32_t shift = std::min(level, 32u);
  return {ceilShifted(rect.x0, shift), ceilShifted(rect.y0, shift), ceilShifted(rect.x1, shift),
          ceilShifted(rect.y1, shift)};
}

uint32_t SizeFacts::tilesAcross() const {
  return tileCount(firstTile.x0, image.x1, firstTile.width());
}

uint32_t SizeFacts::tilesDown() const {
  return tileCount(firstTile.y0, image.y1, firstTile.height());
}

Rect SizeFacts::tile(uint32_t column, uint32_t row) const {
  const auto x = [&](uint64_t i) {
    return gridLine(firstTile.x0, firstTile.width(), i, image.x0, image.x1);
  };
  const auto y = [&](uint64_t i) {
    return gridLine(firstTile.y0, firstTile.height(), i, image.y0, image.y1);
  };
  return {x(column), y(row), x(uint64_t{column} + 1), y(uint64_t{row} + 1)};
}

FileFacts readFacts(ByteSource& source, Depth depth) {
  constexpr uint64_t kSignature = 0x0000000C6A502020;
  FileFacts facts;
  facts.fileSize = source.size();
  std::optional<CodestreamPlace> place;
  const std::vector<uint8_t> start = source.read(0, 8);
  if (ByteReader(start).u64() == kSignature) {
    facts.boxes = readBoxes(source, place);
  } else if (ByteReader(start).u16() == kSOC) {
    place = CodestreamPlace{0, source.size()};
  }
  if (place) facts.codestream = readCodestream(source, *place, depth);
  return facts;
}

}  // namespace wbx::tool
