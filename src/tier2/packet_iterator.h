// PacketIterator: which packet of a tile comes next (T.800 B.12).
#pragma once

#include "base/arena.h"
#include "base/types.h"

namespace wbx {

struct Resolution;
struct TileComponent;

// The precincts of one resolution of one component, on their way through PositionWalk. All
// positions are on the reference grid.
struct PrecinctTrack {
  static constexpr u32 kNowhere = 0xFFFFFFFF;

  u8 component = 0;
  u8 resolution = 0;
  u8 xStep = 1, yStep = 1;
  u8 xShift = 0, yShift = 0;  // a precinct measures step << shift on the reference grid
  u16 firstColumn = 0;        // of the grid that starts at 0
  u16 firstRow = 0;
  u16 wide = 0, high = 0;
  u16 column = 0, row = 0;         // the next precinct
  u32 x = kNowhere, y = kNowhere;  // its place; kNowhere behind the last one of the row, or of all

  void placeRow(const Rect& tile);
  void placeColumn(const Rect& tile);
};

// The walk over the precincts of a tile by their upper left corners (T.800 B.12.1.3 to B.12.1.5).
// It steps from corner to corner, never over the grid between them.
class PositionWalk {
 public:
  // Stands at the first precinct afterwards, or at the end when there is none. Returns 0 or 2.
  [[nodiscard]] i32 start(u8 order, const Rect& tile, const TileComponent* components, i32 count,
                          Arena& arena);
  void next();

  [[nodiscard]] bool atEnd() const { return current_ == count_; }
  [[nodiscard]] u8 component() const { return tracks_[current_].component; }
  [[nodiscard]] u8 resolution() const { return tracks_[current_].resolution; }
  [[nodiscard]] u32 precinct() const {
    const PrecinctTrack& track = tracks_[current_];
    return u32{track.row} * track.wide + track.column;
  }

 private:
  // Tracks that share one sweep over the tile stand next to each other.
  [[nodiscard]] bool sameSweep(i32 a, i32 b) const;
  void startSweep(i32 first);
  bool startNextRow();
  void endRow();
  [[nodiscard]] bool findInColumn(i32 from);
  [[nodiscard]] bool findNextColumn();

  u8 order_ = 0;
  Rect tile_;
  u32 x_ = 0, y_ = 0;
  i32 count_ = 0;
  i32 current_ = 0;
  i32 sweepBegin_ = 0, sweepEnd_ = 0;
  PrecinctTrack* tracks_ = nullptr;  // in the order of their packets at one position
};

struct PacketIterator {
  u8 done = 0;
  u8 order = 0;
  u16 layer = 0;
  u16 layers = 0;
  u8 resolution = 0;
  u8 resolutions = 0;  // the largest count among the components
  u16 component = 0;
  u16 components = 0;
  u32 precinct = 0;
  u32 precincts = 0;  // of the current resolution; the orders by position do not need it

  // Stands at the first place afterwards; order, layers, resolutions and components are set.
  // Returns 0 or 2.
  [[nodiscard]] i32 start(const Rect& tile, const TileComponent* tileComponents, Arena& arena);
  // On to the next place of the progression, which may hold no packet.
  void step(const TileComponent* tileComponents);
  // From a place without packet to the next one with a packet, or to the end.
  void skipEmpty(const TileComponent* tileComponents);
  // The resolution at the current place; null where the place holds no packet.
  [[nodiscard]] Resolution* current(const TileComponent* tileComponents) const;

 private:
  void stepLrcp();
  void stepRlcp();
  void stepByPosition();
  void nextComponent(const TileComponent* tileComponents);
  void refresh(const TileComponent* tileComponents);
  void takePosition();
  void finish();

  [[nodiscard]] bool isOccupied(u8 index) const { return ((occupied_ >> index) & 1u) != 0; }

  u32 occupied_ = 0;  // a bit for each resolution that has packets
  PositionWalk walk_;
};

}  // namespace wbx
