// MqDecoder: the arithmetic decoder of T.800 C.3, arranged for a short chain between decisions.
#pragma once

#include <bit>
#include <cstring>

#include "base/types.h"
#include "tier1/mq_table.h"
#include "tier1/segment_reader.h"

namespace wbx {

// What one byte of a codeword segment adds to the bits before it (T.800 C.3.4), complemented.
struct FedBits {
  u32 bits;
  u32 count;
  bool borrows;  // a stuffed byte above 0x7F takes 1 off the bits above its own
};

inline FedBits fedBits(u32 previous, u32 byte) {
  if (previous != 0xFF) return {0xFF - byte, 8, false};
  if (byte > 0x8F) return {0, 8, false};  // a marker: it ends the data, and nothing is added
  return {~byte & 0x7F, 7, byte > 0x7F};
}

// The source side of the decoder: turns bytes into bits of the code register.
//
// The register c is that of the software conventions (T.800 J.1) with the incoming bytes
// complemented, held in 64 bits: its high half, which is compared with the interval, stands in
// bits 48 to 63, and `ct` counts the fed bits below it. A refill is due when a shift has made ct
// negative; it then feeds as many bytes as fit, since bits below the high half change nothing
// until they are shifted up. Two things keep this equal to feeding one byte at the last moment:
// a byte above 0x7F that is stuffed behind 0xFF borrows from the bits above it, so it waits until
// its bits are due; and where segments end inside a block, a segment is given up by how far its
// bytes are used, so there each byte waits.
class MqSource {
 public:
  struct Registers {
    u64 c;
    i64 ct;
  };

  explicit MqSource(Arena& arena) : segment(arena) {}

  // Begins a codeword segment at the segment reader's cursor.
  [[nodiscard]] Registers start() {
    u8 byte = 0xFF;
    if (segment.hasByte()) {
      byte = *segment.cursor();
      segment.advance(1);
    }
    previous_ = byte;
    return refill({(u64{0xFF} - byte) << 55, -7});
  }

  // Feeds bytes until ct is not negative.
  [[nodiscard]] Registers refill(Registers r) {
    if (!byteByByte_ && previous_ != 0xFF && segment.left() >= 8) {
      u64 bytes;
      std::memcpy(&bytes, segment.cursor(), sizeof bytes);
      if constexpr (std::endian::native == std::endian::little) bytes = __builtin_bswap64(bytes);
      const u64 flipped = ~bytes;
      // Six bytes at a time, unless one is 0xFF: a zero byte in the complement.
      const u64 probe = flipped | 0xFFFF;
      if (((probe - 0x0101010101010101) & ~probe & 0x8080808080808080) == 0) {
        r.c += (flipped >> 16) << -r.ct;
        previous_ = wrapTo<u8>(bytes >> 16);
        segment.advance(6);
        return {r.c, r.ct + 48};
      }
    }
    return refillSlowly(r);
  }

  // How the next block's segments are read; see above.
  void setByteByByte(bool on) { byteByByte_ = on; }

  SegmentReader segment;

 private:
  [[nodiscard]] Registers refillSlowly(Registers r);

  u8 previous_ = 0;  // the last byte fed
  bool byteByByte_ = false;
};

// The registers of one coding pass. A pass holds one of these as a local, so that a, c and ct stay
// in machine registers, and gives them back at its end.
struct MqDecoder {
  u64 a = 0;  // the interval, aligned with c; at least 2^63 between decisions
  u64 c = 0;
  i64 ct = 0;

  void start(MqSource& source) {
    const MqSource::Registers r = source.start();
    a = u64{0x8000} << 48;
    c = r.c;
    ct = r.ct;
  }

  // One decision in the given context. There is no branch on the outcome: a decision of a natural
  // picture is close to a coin toss, and a branch taken wrongly costs more than both of its sides.
  // Both successor rows are on their way before the outcome is known.
  [[gnu::always_inline]] inline u32 decode(MqRow& context, MqSource& source) {
    const MqRow row = context;
    const u64 qe = row & kMqQeMask;
    const MqRow onMps = kMqRows[(row >> 8) & 0xFF];
    const MqRow onLps = kMqRows[(row >> 16) & 0xFF];
    const u64 lower = a - qe;
    const MqRow stay = static_cast<i64>(lower) < 0 ? row : onMps;
    const u64 upperMask = c >= lower ? ~u64{0} : 0;
    const u64 exchangeMask = lower < qe ? ~u64{0} : 0;
    const u64 lpsMask = upperMask ^ exchangeMask;
    context = stay ^ ((stay ^ onLps) & lpsMask);
    c -= lower & upperMask;
    a = lower ^ ((lower ^ qe) & upperMask);
    renormalise(source);
    return static_cast<u32>(row ^ lpsMask) & 1;
  }

  // Makes `count` decisions at once, at most 16, if each of them gives 0 and leaves the context as
  // it is: an MPS without renormalisation.
  [[gnu::always_inline]] inline bool skipZeros(MqRow context, u32 count) {
    const u64 taken = (context >> 48) * count;
    const u64 lower = a - (taken << 48);
    if ((context & 1) != 0 || taken >= 0x8000 || c >= lower || static_cast<i64>(lower) >= 0)
      return false;
    a = lower;
    return true;
  }

  // The same for contexts whose outcome is mostly foreseen: an MPS without renormalisation costs a
  // subtraction and two comparisons, both predicted.
  [[gnu::always_inline]] inline u32 decodeLikely(MqRow& context, MqSource& source) {
    const u64 lower = a - (context & kMqQeMask);
    if (c < lower && static_cast<i64>(lower) < 0) [[likely]] {
      a = lower;
      return static_cast<u32>(context) & 1;
    }
    return decode(context, source);
  }

 private:
  [[gnu::always_inline]] inline void renormalise(MqSource& source) {
    const int shift = __builtin_clzll(a);  // a is never 0
    a <<= shift;
    c <<= shift;
    ct -= shift;
    if (ct < 0) [[unlikely]] {
      const MqSource::Registers r = source.refill({c, ct});
      c = r.c;
      ct = r.ct;
    }
  }
};

}  // namespace wbx
