// TagTree: the inclusion and the zero-bit-plane tag tree of a precinct (T.800 B.10.2) in one.
#pragma once

#include "base/arena.h"
#include "base/types.h"

namespace wbx {

struct CodeBlock;
class PacketBitReader;

// The state of both trees at one place. A value is kUnknown until its 1 bit was read; the low field
// is what the value is known to reach. Layers end at 65534 and zero bit planes at 552.
class TagNode {
 public:
  static constexpr u16 kUnknown = 0xFFFF;

  u16 inclusionValue = kUnknown;
  u16 inclusionLow = 0;
  u16 zeroPlanesValue = kUnknown;
  u16 zeroPlanesLow = 0;

  // Four: upper left, upper right, lower left, lower right. Null until they are made.
  [[nodiscard]] TagNode* children() const { return static_cast<TagNode*>(below_); }
  void setChildren(TagNode* group) { below_ = group; }
  // Of a leaf. Null until the block is included.
  [[nodiscard]] CodeBlock* block() const { return static_cast<CodeBlock*>(below_); }
  void setBlock(CodeBlock* block) { below_ = block; }

 private:
  void* below_ = nullptr;
};

// No bit of a header can reach the children of a node before the node's own inclusion value is
// known, so that is when they are made. A precinct of 2^28 announced blocks costs what its bits
// cost.
class TagTree {
 public:
  // `wide` and `high` are at least 1 and at most 2^16.
  void setSize(u32 wide, u32 high);
  // Of the root above the leaves, which are level 0.
  [[nodiscard]] i32 rootLevel() const { return rootLevel_; }

  // The code block at a leaf; null when it was never included.
  [[nodiscard]] const CodeBlock* block(u32 column, u32 row) const;

 private:
  friend class InclusionWalk;

  TagNode root_;
  u8 rootLevel_ = 0;
};

// One packet's walk over the leaves of a tree, row by row: reads the inclusion bits of each leaf in
// turn and stops at those whose block takes part in the layer or did so before.
//
// It passes over what no bit can change: a node that stays unknown settles all leaves under it for
// this layer, in this row and in the rows below.
class InclusionWalk {
 public:
  InclusionWalk(TagTree& tree, u32 wide, u32 high, u32 layer, PacketBitReader& reader,
                Arena& arena);

  // The next leaf of a known inclusion value, or null at the end or when memory has run out. The
  // bits that belong to the leaf's block are to be read before the next call.
  [[nodiscard]] TagNode* next();
  [[nodiscard]] bool outOfMemory() const { return outOfMemory_; }

  // Of the leaf that `next` gave.
  [[nodiscard]] u32 column() const { return leafColumn_; }
  [[nodiscard]] u32 row() const { return row_; }
  // Its zero bit planes, 0 to 552; -1 for more.
  [[nodiscard]] i32 decodeZeroPlanes();

 private:
  static constexpr i32 kMaxLevels = 17;

  [[nodiscard]] TagNode* descend();
  [[nodiscard]] bool decodeInclusion(TagNode& node, u16 low);
  [[nodiscard]] TagNode* child(TagNode& node, i32 level);

  TagTree& tree_;
  PacketBitReader& reader_;
  Arena& arena_;
  u32 wide_, high_;
  u32 threshold_;
  u32 column_ = 0, row_ = 0;  // where the walk goes on
  u32 nextRow_;               // first row in which anything can happen behind this one
  u32 leafColumn_ = 0;
  i32 stopLevel_ = 0;  // level at which the last descent ended
  bool outOfMemory_ = false;
  TagNode* path_[kMaxLevels];  // by level; the nodes above the walk's place
};

}  // namespace wbx
