// Fields of marker segments and boxes, one value a call.
#pragma once

#include "base/types.h"
#include "stream/stream.h"

namespace wbx {

// Zero where the stream has nothing to deliver: a parser asks the stream once, behind a group of
// fields, whether they were there.
[[nodiscard]] inline u8 takeU8(Stream& stream) {
  u8 value = 0;
  stream.readU8(&value);
  return value;
}

[[nodiscard]] inline u16 takeU16(Stream& stream) {
  u16 value = 0;
  stream.readU16(&value);
  return value;
}

[[nodiscard]] inline u32 takeU32(Stream& stream) {
  u32 value = 0;
  stream.readU32(&value);
  return value;
}

// Reads `count` bytes, or what there is of them, that nobody looks at.
void readAndDrop(Stream& stream, u32 count);

// Moves on by `count` bytes whose contents nobody looks at, as far as the stream goes. False, with
// nothing moved, when the position would not fit 32 bits: it must never run backwards.
[[nodiscard]] bool skipBytes(Stream& stream, u32 count);

}  // namespace wbx
