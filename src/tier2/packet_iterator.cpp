#include "tier2/packet_iterator.h"

#include <algorithm>
#include <array>
#include <memory>

#include "wbx.h"

#include "tier2/tile.h"

namespace wbx {

namespace {

// Null for a resolution that the component does not have and for one without precincts.
Resolution* withPackets(const TileComponent& component, i32 resolution) {
  if (resolution >= component.resolutionCount) return nullptr;
  Resolution& found = component.resolutions[resolution];
  return found.precinctCount() != 0 ? &found : nullptr;
}

// Where line `index` of a precinct grid crosses the tile. The first line may lie before the tile.
u32 gridPosition(u32 index, i32 shift, u32 step, u16 tileStart) {
  return static_cast<u32>(std::max<u64>((u64{index} << shift) * step, tileStart));
}

PrecinctTrack makeTrack(const TileComponent& component, i32 c, i32 r) {
  const Resolution& resolution = component.resolutions[r];
  const i32 reduction = component.resolutionCount - 1 - r;
  PrecinctTrack track;
  track.component = static_cast<u8>(c);
  track.resolution = static_cast<u8>(r);
  track.xStep = component.xStep;
  track.yStep = component.yStep;
  track.xShift = static_cast<u8>(resolution.ppx + reduction);
  track.yShift = static_cast<u8>(resolution.ppy + reduction);
  track.firstColumn = static_cast<u16>(resolution.rect.x0 >> resolution.ppx);
  track.firstRow = static_cast<u16>(resolution.rect.y0 >> resolution.ppy);
  track.wide = resolution.precinctsWide;
  track.high = resolution.precinctsHigh;
  return track;
}

}  // namespace

void PrecinctTrack::placeRow(const Rect& tile) {
  y = row == high ? kNowhere : gridPosition(u32{firstRow} + row, yShift, yStep, tile.y0);
}

void PrecinctTrack::placeColumn(const Rect& tile) {
  x = column == wide ? kNowhere : gridPosition(u32{firstColumn} + column, xShift, xStep, tile.x0);
}

i32 PositionWalk::start(u8 order, const Rect& tile, const TileComponent* components, i32 count,
                        Arena& arena) {
  std::array<PrecinctTrack, kMaxComponents * kMaxResolutions> found;
  const bool byResolution = order == kRpcl;
  const i32 outerCount = byResolution ? kMaxResolutions : count;
  const i32 innerCount = byResolution ? count : kMaxResolutions;
  for (i32 outer = 0; outer < outerCount; ++outer) {
    for (i32 inner = 0; inner < innerCount; ++inner) {
      const i32 c = byResolution ? inner : outer;
      const i32 r = byResolution ? outer : inner;
      if (withPackets(components[c], r) == nullptr) continue;
      found[static_cast<size_t>(count_++)] = makeTrack(components[c], c, r);
    }
  }
  if (count_ == 0) return 0;
  tracks_ = arena.allocateArray<PrecinctTrack>(count_);
  if (tracks_ == nullptr) return WBX_ERROR_MEMORY;
  std::uninitialized_copy_n(found.begin(), count_, tracks_);
  order_ = order;
  tile_ = tile;
  startSweep(0);
  return 0;
}

bool PositionWalk::sameSweep(i32 a, i32 b) const {
  switch (order_) {
    case kRpcl:
      return tracks_[a].resolution == tracks_[b].resolution;
    case kCprl:
      return tracks_[a].component == tracks_[b].component;
    default:
      return true;
  }
}

void PositionWalk::startSweep(i32 first) {
  sweepBegin_ = sweepEnd_ = current_ = first;
  while (sweepEnd_ < count_ && sameSweep(first, sweepEnd_)) tracks_[sweepEnd_++].placeRow(tile_);
  if (first < count_) startNextRow();
}

// Goes to the highest row of precincts that is left; only tracks that have precincts in it take
// part in the walk along it.
bool PositionWalk::startNextRow() {
  u32 y = PrecinctTrack::kNowhere;
  for (i32 i = sweepBegin_; i < sweepEnd_; ++i) y = std::min(y, tracks_[i].y);
  if (y == PrecinctTrack::kNowhere) return false;
  for (i32 i = sweepBegin_; i < sweepEnd_; ++i) {
    PrecinctTrack& track = tracks_[i];
    track.x = PrecinctTrack::kNowhere;
    if (track.y != y) continue;
    track.column = 0;
    track.placeColumn(tile_);
  }
  y_ = y;
  return findNextColumn();
}

bool PositionWalk::findInColumn(i32 from) {
  for (i32 i = from; i < sweepEnd_; ++i) {
    if (tracks_[i].x != x_) continue;
    current_ = i;
    return true;
  }
  return false;
}

bool PositionWalk::findNextColumn() {
  x_ = PrecinctTrack::kNowhere;
  for (i32 i = sweepBegin_; i < sweepEnd_; ++i) x_ = std::min(x_, tracks_[i].x);
  return x_ != PrecinctTrack::kNowhere && findInColumn(sweepBegin_);
}

void PositionWalk::endRow() {
  for (i32 i = sweepBegin_; i < sweepEnd_; ++i) {
    if (tracks_[i].y != y_) continue;
    ++tracks_[i].row;
    tracks_[i].placeRow(tile_);
  }
}

void PositionWalk::next() {
  PrecinctTrack& track = tracks_[current_];
  ++track.column;
  track.placeColumn(tile_);
  if (findInColumn(current_ + 1) || findNextColumn()) return;
  endRow();
  if (!startNextRow()) startSweep(sweepEnd_);
}

i32 PacketIterator::start(const Rect& tile, const TileComponent* tileComponents, Arena& arena) {
  for (i32 c = 0; c < components; ++c) {
    for (i32 r = 0; r < tileComponents[c].resolutionCount; ++r) {
      if (withPackets(tileComponents[c], r) != nullptr) occupied_ |= 1u << r;
    }
  }
  refresh(tileComponents);
  if (order < kRpcl) return 0;
  const i32 code = walk_.start(order, tile, tileComponents, components, arena);
  if (code == 0) takePosition();
  return code;
}

Resolution* PacketIterator::current(const TileComponent* tileComponents) const {
  return done != 0 ? nullptr : withPackets(tileComponents[component], resolution);
}

void PacketIterator::step(const TileComponent* tileComponents) {
  if (order >= kRpcl) {
    stepByPosition();
    return;
  }
  if (++precinct < precincts) return;
  precinct = 0;
  nextComponent(tileComponents);
  if (component >= components) {
    component = 0;
    order == kLrcp ? stepLrcp() : stepRlcp();
  }
  refresh(tileComponents);
}

// Passes over components that have no such resolution.
void PacketIterator::nextComponent(const TileComponent* tileComponents) {
  do {
    ++component;
  } while (component < components && tileComponents[component].resolutionCount <= resolution);
}

void PacketIterator::stepLrcp() {
  if (++resolution < resolutions) return;
  resolution = 0;
  if (++layer >= layers) finish();
}

// A resolution that is empty in all components is empty in all layers, and 65535 of them are not
// worth a walk.
void PacketIterator::stepRlcp() {
  if (isOccupied(resolution) && ++layer < layers) return;
  layer = 0;
  if (++resolution >= resolutions) finish();
}

void PacketIterator::stepByPosition() {
  if (++layer < layers) return;
  layer = 0;
  walk_.next();
  takePosition();
}

void PacketIterator::takePosition() {
  if (walk_.atEnd()) {
    finish();
    return;
  }
  component = walk_.component();
  resolution = walk_.resolution();
  precinct = walk_.precinct();
}

void PacketIterator::refresh(const TileComponent* tileComponents) {
  const Resolution* found = withPackets(tileComponents[component], resolution);
  precincts = found == nullptr ? 0 : found->precinctCount();
}

void PacketIterator::finish() {
  done = 1;
  layer = component = 0;
  resolution = 0;
  precinct = 0;
}

void PacketIterator::skipEmpty(const TileComponent* tileComponents) {
  if (occupied_ == 0) finish();
  while (done == 0 && current(tileComponents) == nullptr) step(tileComponents);
}

}  // namespace wbx
