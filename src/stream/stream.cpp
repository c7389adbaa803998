#include "stream/stream.h"

#include "base/byte_order.h"

namespace wbx {

// What the stream does not deliver is the old value with its bytes reversed, on every machine: so
// the bytes of the old value lie there last one first.
void Stream::readU16(u16* value) {
  u8 bytes[] = {wrapTo<u8>(*value), wrapTo<u8>(*value >> 8)};
  readItem(bytes, sizeof bytes);
  *value = static_cast<u16>(bytes[0] << 8 | bytes[1]);
}

void Stream::readU32(u32* value) {
  u8 bytes[] = {wrapTo<u8>(*value), wrapTo<u8>(*value >> 8), wrapTo<u8>(*value >> 16),
                wrapTo<u8>(*value >> 24)};
  readItem(bytes, sizeof bytes);
  *value = u32{bytes[0]} << 24 | u32{bytes[1]} << 16 | u32{bytes[2]} << 8 | bytes[3];
}

void Stream::readF32(f32* value) {
  u32 bits = __builtin_bit_cast(u32, *value);
  readU32(&bits);
  *value = __builtin_bit_cast(f32, bits);
}

void Stream::writeU16(u16 value) {
  value = swapBigEndian(value);
  writeItem(&value, sizeof value);
}

void Stream::writeU32(u32 value) {
  value = swapBigEndian(value);
  writeItem(&value, sizeof value);
}

void Stream::writeF32(f32 value) {
  writeU32(__builtin_bit_cast(u32, value));
}

}  // namespace wbx
