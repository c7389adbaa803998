#include <algorithm>
#include <cstring>
#include <gtest/gtest.h>
#include <vector>

#include "stream/stream.h"
#include "stream/values.h"

namespace wbx {
namespace {

// A source of counting bytes that remembers what was asked of it.
struct Source {
  static i32 seek(void* user, u32 offset) {
    Source& self = *static_cast<Source*>(user);
    self.seeks.push_back(offset);
    self.at = offset;
    return self.seekResult;
  }
  static i32 read(void* buffer, u32 count, void* user) {
    Source& self = *static_cast<Source*>(user);
    const i32 delivered =
        self.readResult < 0 ? 0 : std::min(self.readResult, static_cast<i32>(count));
    for (i32 i = 0; i < delivered; ++i) static_cast<u8*>(buffer)[i] = static_cast<u8>(++self.at);
    return self.readResult < 0 ? self.readResult : delivered;
  }
  static void close(void* user) { ++static_cast<Source*>(user)->closes; }

  std::vector<u32> seeks;
  u32 at = 0;
  i32 seekResult = 0;
  i32 readResult = 1000;  // bytes to deliver at most, or an error
  int closes = 0;
};

constexpr CustomCallbacks kCallbacks = {Source::seek, Source::read, Source::close};

TEST(CustomStream, LearnsAtOpenWhetherItCanSeek) {
  Source source;
  CustomStream stream;
  stream.open(&source, kCallbacks);
  EXPECT_EQ(source.seeks, std::vector<u32>{0});
  EXPECT_TRUE(stream.isSeekable());
  EXPECT_EQ(stream.type(), 5);

  source.seekResult = -1;
  CustomStream refused;
  refused.open(&source, kCallbacks);
  EXPECT_FALSE(refused.isSeekable());

  CustomStream without;
  without.open(&source, {nullptr, Source::read, nullptr});
  EXPECT_FALSE(without.isSeekable());
  EXPECT_FALSE(without.seek(0));
}

class OpenCustomStream : public testing::Test {
 protected:
  void SetUp() override { stream_.open(&source_, kCallbacks); }

  Source source_;
  CustomStream stream_;
};

TEST_F(OpenCustomStream, ReadsBigEndianValues) {
  test::expectBigEndianValues(stream_);
}

TEST_F(OpenCustomStream, FewerBytesAreTheEndOfTheData) {
  source_.readResult = 3;
  u32 value = 0;
  stream_.readU32(&value);
  EXPECT_EQ(stream_.tell(), 4u);
  EXPECT_TRUE(stream_.isEof());
  EXPECT_TRUE(stream_.seek(0));
  EXPECT_FALSE(stream_.isGood()) << "stays so";

  u8 into[10];
  EXPECT_EQ(stream_.readBytes(into, 10), 3);
  EXPECT_EQ(stream_.tell(), 10u);
}

TEST(CustomStream, AnErrorEndsTheDataButForSingleBytes) {
  const auto eofAfter = [](i32 result, auto read) {
    Source source;
    CustomStream stream;
    stream.open(&source, kCallbacks);
    source.readResult = result;
    read(stream);
    return stream.isEof();
  };
  u8 byte = 0;
  u16 half = 0;
  const auto readByte = [&](CustomStream& stream) { stream.readU8(&byte); };
  EXPECT_FALSE(eofAfter(-1, readByte));
  EXPECT_TRUE(eofAfter(0, readByte));
  EXPECT_TRUE(eofAfter(-1, [&](CustomStream& stream) { stream.readU16(&half); }));
  EXPECT_TRUE(
      eofAfter(-1, [&](CustomStream& stream) { EXPECT_EQ(stream.readBytes(&byte, 1), -1); }));
}

TEST_F(OpenCustomStream, NotesThePositionOfAFailedSeekToo) {
  source_.seekResult = 1;
  EXPECT_FALSE(stream_.seek(42));
  EXPECT_EQ(stream_.tell(), 42u);
}

TEST_F(OpenCustomStream, WritesNothing) {
  stream_.writeU32(1);
  EXPECT_EQ(stream_.writeBytes("x", 1), 0);
  EXPECT_EQ(stream_.tell(), 0u);
}

TEST(CustomStream, ClosesItsSourceOnce) {
  Source source;
  {
    CustomStream stream;
    stream.close();
    stream.open(&source, kCallbacks);
    EXPECT_TRUE(stream.isOpen());
    stream.close();
    stream.close();
    EXPECT_FALSE(stream.isOpen());
    EXPECT_EQ(stream.tell(), 0u);
    u8 byte = 0;
    stream.readU8(&byte);
    EXPECT_TRUE(stream.isEof());
  }
  EXPECT_EQ(source.closes, 1);
}

}  // namespace
}  // namespace wbx
