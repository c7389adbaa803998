// One packet: its header and the place of its bytes (T.800 B.9, B.10).
#pragma once

#include "base/arena.h"
#include "base/types.h"
#include "tier2/packet_bit_reader.h"
#include "tier2/tile.h"

namespace wbx {

// The code blocks that a packet contributes to, in the order of its body.
class PendingBlocks {
 public:
  void append(CodeBlock& block);
  [[nodiscard]] CodeBlock* first() const { return first_; }

 private:
  CodeBlock* first_ = nullptr;
  CodeBlock* last_ = nullptr;
};

// What a packet's place in the progression and its component's coding say about it.
struct PacketContext {
  u32 precinct = 0;
  u16 layer = 0;
  u8 scod = 0;   // the SOP and EPH bits
  u8 style = 0;  // of the code blocks
};

// Reads one packet of a resolution that has precincts. Nothing of it is decoded: what stays is,
// for each block, its missing bit planes, its passes and where its bytes lie. Returns 0, 2, 3
// or 4.
[[nodiscard]] i32 readPacket(Resolution& resolution, Arena& arena, PacketBitReader& reader,
                             const PacketContext& packet);

// The part of a packet header that belongs to one subband.
[[nodiscard]] i32 readPrecinctHeader(Precinct& precinct, const BlockGrid& grid, Arena& arena,
                                     PacketBitReader& reader, const PacketContext& packet,
                                     PendingBlocks& pending);

}  // namespace wbx
