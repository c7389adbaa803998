#include "tier2/tag_tree.h"

#include <algorithm>
#include <bit>
#include <new>

#include "tier2/packet_bit_reader.h"

namespace wbx {

namespace {

constexpr u16 kZeroPlanesLimit = 553;

u32 childIndex(u32 column, u32 row, i32 level) {
  return ((row >> level) & 1) * 2 + ((column >> level) & 1);
}

}  // namespace

void TagTree::setSize(u32 wide, u32 high) {
  rootLevel_ = static_cast<u8>(std::bit_width(std::max(wide, high) - 1));
}

const CodeBlock* TagTree::block(u32 column, u32 row) const {
  const TagNode* node = &root_;
  for (i32 level = rootLevel_; level > 0; --level) {
    if (node->children() == nullptr) return nullptr;
    node = &node->children()[childIndex(column, row, level - 1)];
  }
  return node->block();
}

InclusionWalk::InclusionWalk(TagTree& tree, u32 wide, u32 high, u32 layer, PacketBitReader& reader,
                             Arena& arena)
    : tree_(tree),
      reader_(reader),
      arena_(arena),
      wide_(wide),
      high_(high),
      threshold_(layer + 1),
      nextRow_(high) {
  tree.setSize(wide, high);
  path_[tree.rootLevel()] = &tree.root_;
}

TagNode* InclusionWalk::next() {
  for (;;) {
    if (column_ >= wide_) {
      if (nextRow_ >= high_) return nullptr;
      row_ = nextRow_;
      nextRow_ = high_;
      column_ = 0;
    }
    leafColumn_ = column_;
    TagNode* leaf = descend();
    if (outOfMemory_) return nullptr;
    column_ = ((column_ >> stopLevel_) + 1) << stopLevel_;
    nextRow_ = std::min(nextRow_, ((row_ >> stopLevel_) + 1) << stopLevel_);
    if (leaf != nullptr) return leaf;
  }
}

// From the lowest node above both the last place and this one, down to the leaf or to the first
// node that stays unknown; null for the latter.
TagNode* InclusionWalk::descend() {
  i32 level = tree_.rootLevel();
  if (column_ != 0) level = std::min(level, std::countr_zero(column_) + 1);
  u16 low = 0;
  for (;;) {
    TagNode& node = *path_[level];
    stopLevel_ = level;
    if (!decodeInclusion(node, low)) return nullptr;
    if (level == 0) return &node;
    low = node.inclusionLow;
    --level;
    path_[level] = child(node, level);
    if (path_[level] == nullptr) return nullptr;
  }
}

TagNode* InclusionWalk::child(TagNode& node, i32 level) {
  if (node.children() == nullptr) {
    TagNode* group = arena_.allocateArray<TagNode>(4);
    if (group == nullptr) {
      outOfMemory_ = true;
      return nullptr;
    }
    for (i32 i = 0; i < 4; ++i) new (&group[i]) TagNode();
    node.setChildren(group);
  }
  return &node.children()[childIndex(column_, row_, level)];
}

// A read that fails or lies behind the end counts as a 1; what follows it tells.
bool InclusionWalk::decodeInclusion(TagNode& node, u16 low) {
  if (node.inclusionValue != TagNode::kUnknown) return true;
  low = std::max(low, node.inclusionLow);
  while (low < threshold_) {
    if (reader_.readBit() != 0) {
      node.inclusionValue = low;
      break;
    }
    ++low;
  }
  node.inclusionLow = low;
  return node.inclusionValue != TagNode::kUnknown;
}

i32 InclusionWalk::decodeZeroPlanes() {
  u16 low = 0;
  for (i32 level = tree_.rootLevel(); level >= 0; --level) {
    TagNode& node = *path_[level];
    low = std::max(low, node.zeroPlanesLow);
    while (low < kZeroPlanesLimit && low < node.zeroPlanesValue) {
      if (reader_.readBit() != 0) {
        node.zeroPlanesValue = low;
      } else {
        ++low;
      }
    }
    node.zeroPlanesLow = low;
  }
  return low < kZeroPlanesLimit ? low : -1;
}

}  // namespace wbx
