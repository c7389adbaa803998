// The coding passes over a group of eight code blocks at once.
#pragma once

#include <bit>

#include "base/types.h"

namespace wbx {

// One 64-bit value for each member of a group, in the order of the elements of a vector register.
// Arrays of them begin on a cache line.
struct GroupWord {
  static constexpr i32 kMembers = 8;
  u64 member[kMembers] = {};
};

// How a member's word holds a fact about 32 samples, 8 columns of one stripe: with a margin of one
// sample on all sides, 10 columns of 6 rows in scan order from bit 63 down. So all 8 neighbours of
// a sample stand in its own word, at fixed distances, and the first sample that is left to do is
// the highest bit. In memory the margins are clear; a pass fills them in from the words around.
namespace group_layout {

inline constexpr i32 kColumns = 8;
inline constexpr i32 kRows = 4;
inline constexpr i32 kPitch = kRows + 2;  // bits from a column to the next

// `column` holds the bits of one column, row 0 highest of 4; the same in all 8 columns.
constexpr u64 inAllColumns(u64 column) {
  u64 word = 0;
  for (int i = 1; i <= kColumns; ++i) word |= column << (59 - kPitch * i);
  return word;
}

// All bits of the margin column in front and of the next `count` columns.
constexpr u64 firstColumns(i32 count) {
  return ~u64{0} << (64 - kPitch * (count + 1));
}

// From a sample to its neighbours.
inline constexpr int kN = 1, kS = -1, kW = kPitch, kE = -kPitch;

inline constexpr u64 kSamples = inAllColumns(0xF);
inline constexpr u64 kFirstRow = inAllColumns(0x8);
inline constexpr u64 kRowAbove = inAllColumns(0x10);
inline constexpr u64 kRowBelow = inAllColumns(0x1) >> 1;
inline constexpr u64 kColumnBefore = firstColumns(0);

}  // namespace group_layout

// Eight MQ decoders, and the blocks that they decode.
struct GroupState {
  // Registers and contexts of the decoders, as the implementation arranges them.
  GroupWord registers[12];
  u8 orientation[GroupWord::kMembers] = {};  // of the members' subbands

  // The complemented bits of each codeword segment, stuffing taken out, zeros behind.
  GroupWord bits;    // address of the first byte
  GroupWord length;  // in bytes; at least eight zeros follow
  GroupWord fed;     // bits that went into c
  // Where a stuffed byte above 0x7F stands, which borrows from the bits above it: it waits until
  // its bits are due. The next such place, and the address of its entry in an ascending list.
  GroupWord borrowAt, borrowList;

  // Facts about the samples, stripe by stripe, with one margin word in front of each stripe and a
  // margin stripe before the first and behind the last.
  GroupWord* real = nullptr;  // samples inside the block
  GroupWord* significant = nullptr;
  GroupWord* negative = nullptr;
  GroupWord* visited = nullptr;  // by the significance pass of the current plane
  GroupWord* refined = nullptr;  // at least once
  GroupWord* ones = nullptr;     // magnitude bits of the current plane
  i32 wordsAcross = 0;
  i32 wordPitch = 0;
  i32 stripes = 0;
};

// One implementation of the passes. `members` has a bit for each member that takes part. The first
// pass of a plane writes all of `ones`.
struct GroupPasses {
  void (*start)(GroupState& state);  // for new blocks, before the next two
  void (*resetContexts)(GroupState& state, u32 members);
  // Sets the registers for the segments that bits, length and the borrows tell of; fed is 0.
  void (*beginSegments)(GroupState& state, u32 members);
  // The bits of its segment that a member's decoder has in its code register by now.
  u64 (*usedBits)(const GroupState& state, i32 member);
  void (*cleanup)(GroupState& state, u32 members);
  void (*significance)(GroupState& state, u32 members);
  void (*refinement)(GroupState& state, u32 members);
  // Decodes the segmentation symbol behind a cleanup pass, and does not look at it.
  void (*skipSymbol)(GroupState& state, u32 members);
  // Takes one member's coefficients out of its words, in the quads of BlockDecoder with no margin:
  // `planes` arrays of `ones`, the first for the bit plane `firstPlane`.
  void (*collect)(const GroupState& state, i32 member, const GroupWord* ones, i32 planes,
                  i32 firstPlane, u32* quads);
};

// Neighbours of a sample, each with a weight, a power of 2, and the sum over the significant ones.
// To form it, a vector instruction brings a piece of a word with the sample at bit 63 into each of
// eight bytes, so that the neighbour stands at the bit of its weight.
struct ContextTap {
  int distance, weight;
};

struct ContextTaps {
  ContextTap tap[8];

  [[nodiscard]] constexpr u64 shifts() const {
    u64 word = 0;
    for (int i = 0; i < 8; ++i) {
      const int bit = 63 + tap[i].distance - std::countr_zero(static_cast<u32>(tap[i].weight));
      word |= static_cast<u64>(bit & 63) << (8 * i);
    }
    return word;
  }
  [[nodiscard]] constexpr u64 weights() const {
    u64 word = 0;
    for (int i = 0; i < 8; ++i) word |= static_cast<u64>(tap[i].weight) << (8 * i);
    return word;
  }
};

// The sum of a subband's taps, taken off `base`, is the index of an entry of kGroupZeroCodingTable.
struct GroupZeroCoding {
  ContextTaps taps;
  u8 base;

  // Eight bytes from which the taps are taken off one by one; together they make the base.
  [[nodiscard]] constexpr u64 minuends() const {
    u32 sum = 0;
    for (const ContextTap& each : taps.tap) sum += static_cast<u32>(each.weight);
    return taps.weights() + (base - sum);
  }
};

[[nodiscard]] const GroupZeroCoding& groupZeroCoding(u8 orientation);

// The places of zero-coding contexts, with 64 added in the word of the run length.
struct alignas(64) GroupTable {
  u8 entry[128] = {};
};
extern const GroupTable kGroupZeroCodingTable;

inline constexpr u8 kGroupRunLength = 64 + 1;  // the place of its context

#ifdef WBX_HAVE_AVX2
namespace avx2 {
extern const GroupPasses kGroupPasses;
}
#endif
#ifdef WBX_HAVE_AVX512
namespace avx512 {
extern const GroupPasses kGroupPasses;
}
#endif

}  // namespace wbx
