#include "stream/stream.h"

#include "base/byte_order.h"

namespace wbx {

void Stream::readU16(u16* value) {
  readItem(value, sizeof *value);
  *value = swapBigEndian(*value);
}

void Stream::readU32(u32* value) {
  readItem(value, sizeof *value);
  *value = swapBigEndian(*value);
}

void Stream::readF32(f32* value) {
  u32 bits = std::bit_cast<u32>(*value);
  readU32(&bits);
  *value = std::bit_cast<f32>(bits);
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
  writeU32(std::bit_cast<u32>(value));
}

}  // namespace wbx
