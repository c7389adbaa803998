#include "tier1/mq_decoder.h"

namespace wbx {

MqSource::Registers MqSource::refillSlowly(Registers r) {
  constexpr i64 kRoom = 32;  // with this many bits in store, 8 more still fit below the high half
  do {
    const bool there = segment.hasByte();
    const u32 byte = there ? *segment.cursor() : 0xFF;  // past the end 1 bits follow
    const FedBits fed = fedBits(previous_, byte);
    if (fed.borrows && r.ct >= 0) break;
    r.c += u64{fed.bits} << (48 - fed.count - r.ct);
    if (fed.borrows) r.c -= u64{1} << (48 - r.ct);
    r.ct += fed.count;
    previous_ = static_cast<u8>(byte);
    if (there) segment.advance(1);
  } while (r.ct < 0 || (!byteByByte_ && r.ct <= kRoom));
  return r;
}

}  // namespace wbx
