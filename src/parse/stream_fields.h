// Small reads that every handler of a marker segment or box makes.
#pragma once

#include "api/types.h"
#include "stream/stream.h"

namespace wbx {

// A value that cannot be read is 0; the stream's state tells.
inline u8 readU8(Stream& stream) {
  u8 value = 0;
  stream.readU8(&value);
  return value;
}
inline u16 readU16(Stream& stream) {
  u16 value = 0;
  stream.readU16(&value);
  return value;
}
inline u32 readU32(Stream& stream) {
  u32 value = 0;
  stream.readU32(&value);
  return value;
}

// Moves on by `count` bytes: by a seek where the stream can, else by reading. Reading stops as
// soon as the stream goes bad.
void stepOver(Stream& stream, u32 count);

}  // namespace wbx
