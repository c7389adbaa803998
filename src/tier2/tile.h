// The tree of a tile: Tile, TileComponent, Resolution, Subband, Precinct, CodeBlock (T.800 B).
#pragma once

#include "base/arena.h"
#include "base/types.h"
#include "image/coding_style.h"
#include "image/image_header.h"
#include "stream/stream.h"
#include "tier2/data_chunk.h"
#include "tier2/packet_iterator.h"
#include "tier2/paged_table.h"
#include "tier2/tag_tree.h"

namespace wbx {

class PacketBitReader;

// Made when the block is first included in a packet.
struct CodeBlock {
  Rect rect;                    // in subband coordinates
  i8 passCount = 0;             // coding passes received so far, in 8 bits
  i8 firstPass = 0;             // 3 times zeroPlanes, in 8 bits
  i8 zeroPlanes = 0;            // missing most significant bit planes, in 8 bits
  i8 lblock = 3;                // T.800 B.10.7.1
  DataChunk* chunks = nullptr;  // first chunk of all
  DataChunk* lastChunk = nullptr;
  DataChunk* pendingChunks = nullptr;  // first chunk whose body the current packet still owes
  CodeBlock* nextPending = nullptr;    // in the current packet

  // Appends a contribution; false when the Arena refuses.
  [[nodiscard]] bool addChunk(Arena& arena, const Stream& stream, u32 length, u8 passesByte);
};

// Geometry of the code blocks of one precinct in one subband.
struct BlockGrid {
  Rect area;            // the precinct's cell clipped to the subband; empty when it holds nothing
  u8 xcb = 0, ycb = 0;  // block exponents as they apply here
  u32 wide = 0, high = 0;

  [[nodiscard]] Rect blockRect(u32 column, u32 row) const;
};

// What the packets brought for one precinct of one subband; made by the first packet with content.
struct Precinct {
  TagTree tree;  // both tag trees, and the code blocks at their leaves

  // Null when the block was never included.
  [[nodiscard]] const CodeBlock* block(u32 column, u32 row) const {
    return tree.block(column, row);
  }
};

struct Subband {
  Rect rect;            // in subband coordinates
  u8 orientation = 0;   // 0 LL, 1 HL, 2 LH, 3 HH
  u8 ppx = 0, ppy = 0;  // precinct exponents as they apply here
  u8 xcb = 0, ycb = 0;  // block exponents as they apply here
  u16 precinctsWide = 0;
  PagedTable<Precinct> precincts;  // row by row

  // The grid is taken from the subband's own first coordinate, so that the last cells of a subband
  // that begins just past a cell boundary of its resolution's grid come out empty.
  [[nodiscard]] BlockGrid precinctGrid(u32 precinct) const;
};

struct Resolution {
  Rect rect;
  u16 precinctsWide = 0, precinctsHigh = 0;  // both 0 when the rectangle is empty
  u8 ppx = 0, ppy = 0;
  i8 subbandCount = 0;          // 0, 1 at the lowest resolution, or 3
  Subband* subbands = nullptr;  // in the Arena; null when the rectangle is empty

  [[nodiscard]] u32 precinctCount() const { return u32{precinctsWide} * precinctsHigh; }
  // A subband with an empty rectangle has no precincts at all.
  [[nodiscard]] static bool hasPrecincts(const Subband& band) { return !band.rect.empty(); }

  // Takes the rectangle and the precinct exponents, and lays out the precinct grid.
  void place(const Rect& where, u8 precinctWidthExp, u8 precinctHeightExp);
  // Makes the subbands of resolution `index`, once it is placed. False when the Arena refuses.
  [[nodiscard]] bool build(Arena& arena, const ComponentCoding& coding, i32 index);
};

struct TileComponent {
  Rect rect;
  u8 precision = 0;
  u8 isSigned = 0;
  u8 xStep = 1, yStep = 1;
  i8 resolutionCount = 0;
  Resolution* resolutions = nullptr;  // index 0 is the lowest

  // False when the Arena refuses.
  [[nodiscard]] bool build(Arena& arena, const Rect& tile, const ComponentInfo& info,
                           const ComponentCoding& coding);
};

struct Tile {
  Rect rect;
  u16 partsSeen = 0;   // 0: the tree is not built yet
  u16 partsTotal = 0;  // 0 while SOT announced none
  u16 componentCount = 0;
  TileComponent components[kMaxComponents];
  CodingStyle style;
  Stream* stream = nullptr;
  Arena* arena = nullptr;
  u32 partEnd = 0;  // one past the current tile-part; 0 when its length is not known
  PacketIterator iterator;

  // Builds the tree. Precincts and code blocks are left to the packets that fill them.
  // Returns 0, 2, or 3 for a precinct of exponent 0 above the lowest resolution.
  [[nodiscard]] i32 build(const ComponentInfo* info, i32 count);
  // Reads the packet at the iterator's position and steps on. Returns 0 or an error code.
  [[nodiscard]] i32 readNextPacket(PacketBitReader& reader);

  [[nodiscard]] bool isBuilt() const { return partsSeen != 0; }

 private:
  [[nodiscard]] bool precinctsHaveArea() const;
  [[nodiscard]] i32 buildComponent(i32 index, const ComponentInfo& info);
  [[nodiscard]] i32 startIterator();
};

// A subband's rectangle, and where it lies in the plane of its resolution in the usual arrangement
// of LL upper left, HL upper right, LH lower left, HH lower right.
struct SubbandRect {
  Rect rect;
  u16 left = 0, top = 0, right = 0, bottom = 0;
};

// All zero for an orientation above 3.
[[nodiscard]] SubbandRect subbandRect(const Resolution& resolution, u8 orientation);

}  // namespace wbx
