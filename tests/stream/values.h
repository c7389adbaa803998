#pragma once

#include <gtest/gtest.h>

#include "stream/stream.h"

namespace wbx::test {

// From a stream of the bytes 1, 2, 3 and so on: one value of each width.
inline void expectBigEndianValues(Stream& stream) {
  u8 a = 0;
  u16 b = 0;
  u32 c = 0;
  stream.readU8(&a);
  stream.readU16(&b);
  stream.readU32(&c);
  EXPECT_EQ(a, 1);
  EXPECT_EQ(b, 0x0203);
  EXPECT_EQ(c, 0x04050607u);
  EXPECT_EQ(stream.tell(), 7u);
  EXPECT_TRUE(stream.isGood());
}

}  // namespace wbx::test
