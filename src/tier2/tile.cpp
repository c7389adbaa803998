#include "tier2/tile.h"

#include <algorithm>
#include <new>

#include "wbx.h"

#include "base/logger.h"
#include "tier2/packet.h"

namespace wbx {

namespace {

// Number of cells of 2^exponent that the range from `first` to `end` touches.
u32 cellsTouched(u32 first, u32 end, u32 exponent) {
  return ((end + (1u << exponent) - 1) >> exponent) - (first >> exponent);
}

struct Range {
  u16 first, end;
};

// Cell `index` of a grid of 2^exponent that starts at the cell of `first`, clipped.
Range clippedCell(u32 index, u32 exponent, Range whole) {
  const u32 start = ((u32{whole.first} >> exponent) + index) << exponent;
  const u32 end = start + (1u << exponent);
  return {static_cast<u16>(std::clamp<u32>(start, whole.first, whole.end)),
          static_cast<u16>(std::min<u32>(end, whole.end))};
}

// One direction of a subband: its range, and its place behind the low band where it is high-pass.
struct BandSide {
  Range range;
  u16 from, to;
};

BandSide bandSide(u16 first, u16 end, bool highPass) {
  const u16 lowFirst = static_cast<u16>((first + 1) >> 1);
  const u16 lowEnd = static_cast<u16>((end + 1) >> 1);
  const u16 low = static_cast<u16>(lowEnd - lowFirst);
  if (!highPass) return {{lowFirst, lowEnd}, 0, low};
  const Range high = {static_cast<u16>(first >> 1), static_cast<u16>(end >> 1)};
  return {high, low, static_cast<u16>(low + high.end - high.first)};
}

u16 dividedUp(u16 value, u8 step) {
  return static_cast<u16>((value + step - 1) / step);
}

}  // namespace

SubbandRect subbandRect(const Resolution& resolution, u8 orientation) {
  const Rect& r = resolution.rect;
  if (orientation > 3) return {};
  if (orientation == 0) return {r, 0, 0, r.width(), r.height()};
  const BandSide x = bandSide(r.x0, r.x1, (orientation & 1) != 0);
  const BandSide y = bandSide(r.y0, r.y1, (orientation & 2) != 0);
  return {{x.range.first, y.range.first, x.range.end, y.range.end}, x.from, y.from, x.to, y.to};
}

bool CodeBlock::addChunk(Arena& arena, const Stream& stream, u32 length, u8 passesByte) {
  using Storage = DataChunk::Storage;
  // TERMALL lets a header say with two bytes that 164 segments of no bytes follow.
  if (length == 0 && lastChunk != nullptr && lastChunk->absorb(passesByte)) return true;
  Storage storage = Storage::kInline;
  if (length > DataChunk::kInlineLimit)
    storage = stream.isSeekable() ? Storage::kReference : Storage::kDetached;
  void* record = arena.allocate(DataChunk::recordSize(length, storage));
  if (record == nullptr) return false;
  DataChunk* chunk = new (record) DataChunk;
  chunk->initialise(length, storage, passesByte);
  if (pendingChunks == nullptr) pendingChunks = chunk;
  if (lastChunk == nullptr) {
    chunks = chunk;
  } else {
    lastChunk->setNext(chunk);
  }
  lastChunk = chunk;
  return true;
}

Rect BlockGrid::blockRect(u32 column, u32 row) const {
  const Range x = clippedCell(column, xcb, {area.x0, area.x1});
  const Range y = clippedCell(row, ycb, {area.y0, area.y1});
  return {x.first, y.first, x.end, y.end};
}

BlockGrid Subband::precinctGrid(u32 precinct) const {
  const Range x = clippedCell(precinct % precinctsWide, ppx, {rect.x0, rect.x1});
  const Range y = clippedCell(precinct / precinctsWide, ppy, {rect.y0, rect.y1});
  BlockGrid grid;
  grid.area = {x.first, y.first, x.end, y.end};
  grid.xcb = xcb;
  grid.ycb = ycb;
  if (grid.area.empty()) return grid;
  grid.wide = cellsTouched(x.first, x.end, xcb);
  grid.high = cellsTouched(y.first, y.end, ycb);
  return grid;
}

void Resolution::place(const Rect& where, u8 precinctWidthExp, u8 precinctHeightExp) {
  rect = where;
  ppx = precinctWidthExp;
  ppy = precinctHeightExp;
  if (rect.empty()) return;
  precinctsWide = static_cast<u16>(cellsTouched(rect.x0, rect.x1, ppx));
  precinctsHigh = static_cast<u16>(cellsTouched(rect.y0, rect.y1, ppy));
}

bool Resolution::build(Arena& arena, const ComponentCoding& coding, i32 index) {
  if (precinctCount() == 0) return true;
  const u8 halving = index == 0 ? 0 : 1;
  const i8 count = index == 0 ? 1 : 3;
  subbands = arena.allocateArray<Subband>(count);
  if (subbands == nullptr) return false;
  subbandCount = count;
  for (u8 b = 0; b < count; ++b) {
    Subband& band = *new (&subbands[b]) Subband();
    band.orientation = static_cast<u8>(b + halving);
    band.rect = subbandRect(*this, band.orientation).rect;
    band.ppx = static_cast<u8>(ppx - halving);
    band.ppy = static_cast<u8>(ppy - halving);
    band.xcb = std::min(coding.cblkWidthExp, band.ppx);
    band.ycb = std::min(coding.cblkHeightExp, band.ppy);
    band.precinctsWide = precinctsWide;
    band.precincts.setCount(precinctCount());
  }
  return true;
}

bool TileComponent::build(Arena& arena, const Rect& tile, const ComponentInfo& info,
                          const ComponentCoding& coding) {
  rect = {dividedUp(tile.x0, info.hsamp), dividedUp(tile.y0, info.vsamp),
          dividedUp(tile.x1, info.hsamp), dividedUp(tile.y1, info.vsamp)};
  precision = info.prec;
  isSigned = info.sgnd;
  xStep = info.hsamp;
  yStep = info.vsamp;
  resolutions = arena.allocateArray<Resolution>(coding.resolutions);
  if (resolutions == nullptr) return false;
  resolutionCount = static_cast<i8>(coding.resolutions);
  Rect running = rect;
  for (i32 r = resolutionCount - 1; r >= 0; --r) {
    const auto index = static_cast<size_t>(r);
    new (&resolutions[r]) Resolution();
    resolutions[r].place(running, coding.PPx[index], coding.PPy[index]);
    running = halveRect(running);
  }
  return true;
}

// A precinct 1 wide above the lowest resolution would be half a sample wide in its subbands.
bool Tile::precinctsHaveArea() const {
  for (i32 c = 0; c < componentCount; ++c) {
    const ComponentCoding& coding = style.component[c];
    for (size_t r = 1; r < coding.resolutions; ++r) {
      if (coding.PPx[r] == 0 || coding.PPy[r] == 0) return false;
    }
  }
  return true;
}

i32 Tile::build(const ComponentInfo* info, i32 count) {
  componentCount = static_cast<u16>(count);
  if (!precinctsHaveArea()) return WBX_ERROR_CORRUPT;
  logger.writeStamped(" - Tile: xstart=%u, ystart=%u, xend=%u, yend=%u", rect.x0, rect.y0, rect.x1,
                      rect.y1);
  for (i32 c = 0; c < count; ++c) {
    if (const i32 code = buildComponent(c, info[c])) return code;
  }
  return startIterator();
}

i32 Tile::buildComponent(i32 index, const ComponentInfo& info) {
  TileComponent& component = components[index];
  const ComponentCoding& coding = style.component[index];
  if (!component.build(*arena, rect, info, coding)) return WBX_ERROR_MEMORY;
  const Rect& r = component.rect;
  logger.writeStamped("   - Component[%d]: %u, %u, %u, %u", index, r.x0, r.y0, r.x1, r.y1);
  for (i32 i = 0; i < component.resolutionCount; ++i) {
    if (!component.resolutions[i].build(*arena, coding, i)) return WBX_ERROR_MEMORY;
  }
  return 0;
}

i32 Tile::startIterator() {
  iterator = PacketIterator();
  iterator.order = style.progression;
  iterator.layers = style.layers;
  iterator.components = componentCount;
  for (i32 c = 0; c < componentCount; ++c) {
    const u8 resolutions = static_cast<u8>(components[c].resolutionCount);
    iterator.resolutions = std::max(iterator.resolutions, resolutions);
  }
  return iterator.start(rect, components, *arena);
}

i32 Tile::readNextPacket(PacketBitReader& reader) {
  stream = &reader.stream();
  if (stream->isEof()) return WBX_ERROR_READ;
  Resolution* resolution = iterator.current(components);
  if (resolution == nullptr) {
    iterator.skipEmpty(components);
    return 0;
  }
  const PacketContext packet = {iterator.precinct, iterator.layer, style.scod,
                                style.component[iterator.component].cblkStyle};
  const i32 code = readPacket(*resolution, *arena, reader, packet);
  iterator.step(components);
  return code;
}

}  // namespace wbx
