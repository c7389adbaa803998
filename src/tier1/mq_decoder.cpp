#include "tier1/mq_decoder.h"

namespace wbx {

MqSource::Registers MqSource::refillSlowly(Registers r) {
  constexpr i64 kRoom = 32;  // with this many bits in store, 8 more still fit below the high half
  do {
    const bool there = segment.hasByte();
    const u32 byte = there ? *segment.cursor() : 0xFF;  // past the end 1 bits follow
    if (previous_ != 0xFF) {
      r.c += u64{0xFF - byte} << (40 - r.ct);
      r.ct += 8;
    } else if (byte > 0x8F) {  // a marker: it ends the data, and nothing is added
      r.ct += 8;
    } else {
      if (byte > 0x7F && r.ct >= 0) break;
      r.c += static_cast<u64>(i64{0xFE00} - (i64{byte} << 9)) << (32 - r.ct);
      r.ct += 7;
    }
    previous_ = static_cast<u8>(byte);
    if (there) segment.advance(1);
  } while (r.ct < 0 || (!byteByByte_ && r.ct <= kRoom));
  return r;
}

}  // namespace wbx
