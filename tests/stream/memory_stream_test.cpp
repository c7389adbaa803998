#include <gtest/gtest.h>

#include "stream/stream.h"
#include "stream/values.h"

namespace wbx {
namespace {

constexpr u8 kBytes[10] = {1, 2, 3, 4, 5, 6, 7, 8, 9, 10};

TEST(MemoryStream, IsEmptyUntilItIsOpened) {
  MemoryStream stream;
  u8 byte = 7;
  EXPECT_FALSE(stream.isGood());
  EXPECT_FALSE(stream.isOpen());
  EXPECT_FALSE(stream.isEof());
  EXPECT_FALSE(stream.seek(0));
  stream.readU8(&byte);
  EXPECT_EQ(byte, 7);
  stream.close();
}

TEST(MemoryStream, ReadsBigEndianValues) {
  MemoryStream stream;
  stream.open(kBytes, 10);
  test::expectBigEndianValues(stream);
  EXPECT_TRUE(stream.isSeekable());
  EXPECT_EQ(stream.type(), 4);
}

TEST(MemoryStream, SeeksInsideItsBytesOnly) {
  MemoryStream stream;
  stream.open(kBytes, 10);
  EXPECT_TRUE(stream.seek(9));
  EXPECT_FALSE(stream.seek(10));
  EXPECT_EQ(stream.tell(), 9u);
  EXPECT_TRUE(stream.isGood());
}

TEST(MemoryStream, CutsAReadAtItsEnd) {
  MemoryStream stream;
  stream.open(kBytes, 10);
  ASSERT_TRUE(stream.seek(8));
  u8 into[10] = {};
  EXPECT_EQ(stream.readBytes(into, 5), 2);
  EXPECT_EQ(into[1], 10);
  EXPECT_EQ(into[2], 0);
  EXPECT_EQ(stream.tell(), 10u);
  EXPECT_TRUE(stream.isEof());
  EXPECT_FALSE(stream.isGood());
  EXPECT_TRUE(stream.seek(0));
  EXPECT_FALSE(stream.isGood()) << "stays so";
  EXPECT_EQ(stream.readBytes(into, 0xFFFFFFFF - 4), 10) << "no wrap";
}

TEST(MemoryStream, DeliversAValueWholeOrNotAtAll) {
  MemoryStream stream;
  stream.open(kBytes, 10);
  ASSERT_TRUE(stream.seek(9));
  u16 half = 0x1234;
  stream.readU16(&half);
  EXPECT_TRUE(stream.isEof());
  EXPECT_EQ(stream.tell(), 9u);
  EXPECT_EQ(half, 0x3412) << "what was there, reversed";
  u8 byte = 0;
  stream.readU8(&byte);
  EXPECT_EQ(byte, 10);
  stream.readU8(&byte);
  EXPECT_EQ(byte, 10);
}

TEST(MemoryStream, Writes) {
  u8 bytes[4] = {};
  MemoryStream stream;
  stream.open(bytes, sizeof bytes);
  stream.writeU8(1);
  stream.writeU16(0x0203);
  stream.writeU16(0x0405);
  EXPECT_EQ(bytes[2], 3);
  EXPECT_EQ(bytes[3], 0);
  EXPECT_TRUE(stream.isEof());
  EXPECT_TRUE(stream.seek(0));
  stream.writeF32(1.0f);
  EXPECT_EQ(bytes[0], 0x3F);
  EXPECT_TRUE(stream.seek(0));
  f32 one = 0;
  stream.readF32(&one);
  EXPECT_EQ(one, 1.0f);
}

TEST(MemoryStream, ForgetsItsSourceOnClose) {
  MemoryStream stream;
  stream.open(kBytes, 10);
  ASSERT_TRUE(stream.seek(5));
  stream.close();
  stream.close();
  u8 into[2];
  EXPECT_EQ(stream.readBytes(into, 2), 0);
  EXPECT_FALSE(stream.isOpen());
  EXPECT_EQ(stream.tell(), 5u);
}

}  // namespace
}  // namespace wbx
