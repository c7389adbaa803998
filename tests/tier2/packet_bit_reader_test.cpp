#include "tier2/packet_bit_reader.h"

#include <gtest/gtest.h>
#include <memory>
#include <vector>

#include "tile_builder.h"

namespace wbx {
namespace {

// The same bytes in memory, read in place, and behind callbacks, one by one.
class PacketBitReaderTest : public testing::TestWithParam<bool> {
 protected:
  void start(std::vector<u8> bytes) {
    bytes_ = std::move(bytes);
    if (GetParam()) {
      memory_.open(bytes_.data(), static_cast<u32>(bytes_.size()));
      stream_ = &memory_;
    } else {
      source_ = std::make_unique<test::UnseekableSource>(bytes_);
      stream_ = &source_->stream;
    }
    reader_.attach(*stream_);
    reader_.beginHeader();
  }
  u32 bits(i32 count) {
    u32 value = 0;
    EXPECT_TRUE(reader_.readBits(count, value));
    return value;
  }
  // Where the stream stands once the header is closed.
  u32 alignedPosition() {
    reader_.align(0, 0);
    return stream_->tell();
  }

  std::vector<u8> bytes_;
  MemoryStream memory_;
  std::unique_ptr<test::UnseekableSource> source_;
  Stream* stream_ = nullptr;
  PacketBitReader reader_;
};

INSTANTIATE_TEST_SUITE_P(Sources, PacketBitReaderTest, testing::Bool(),
                         [](const auto& param) { return param.param ? "Memory" : "Callbacks"; });

TEST_P(PacketBitReaderTest, ReadsFromTheHighestBitDown) {
  start({0xA5, 0x0F});
  EXPECT_EQ(reader_.readBit(), 1);
  EXPECT_EQ(reader_.readBit(), 0);
  EXPECT_EQ(bits(10), 0x250u);
  EXPECT_EQ(bits(4), 0xFu);
  EXPECT_EQ(alignedPosition(), 2u);
}

TEST_P(PacketBitReaderTest, PassesOverTheBitStuffedBehindFF) {
  start({0xFF, 0x7F, 0x80});
  EXPECT_EQ(bits(15), 0x7FFFu);
  EXPECT_EQ(bits(1), 1u);
  EXPECT_EQ(bits(7), 0u);
}

TEST_P(PacketBitReaderTest, KeepsTheLowBitsOfALongNumber) {
  start({0x12, 0x34, 0x56, 0x78, 0x9A});
  EXPECT_EQ(bits(40), 0x3456789Au);
  EXPECT_EQ(bits(0), 0u);
}

TEST_P(PacketBitReaderTest, AlignStopsBehindTheByteInUse) {
  start({0x80, 0x55});
  EXPECT_EQ(reader_.readBit(), 1);
  EXPECT_EQ(alignedPosition(), 1u);
}

TEST_P(PacketBitReaderTest, AlignTakesNothingMoreAtAFullByte) {
  start({0x12, 0x55});
  EXPECT_EQ(bits(8), 0x12u);
  EXPECT_EQ(alignedPosition(), 1u);
}

TEST_P(PacketBitReaderTest, AlignTakesTheByteBehindAFinalFF) {
  start({0xFF, 0x01, 0x55});
  EXPECT_EQ(bits(8), 0xFFu);
  EXPECT_EQ(alignedPosition(), 2u);
}

TEST_P(PacketBitReaderTest, AlignTakesTheByteBehindAnUnfinishedFF) {
  start({0xFF, 0x01, 0x55});
  EXPECT_EQ(bits(3), 7u);
  EXPECT_EQ(alignedPosition(), 2u);
}

TEST_P(PacketBitReaderTest, AlignDemandsZerosBehindAnEmptyPacket) {
  start({0x00});
  EXPECT_EQ(reader_.readBit(), 0);
  EXPECT_TRUE(reader_.align(0x7F, 0));
  start({0x01});
  EXPECT_EQ(reader_.readBit(), 0);
  EXPECT_FALSE(reader_.align(0x7F, 0));
}

TEST_P(PacketBitReaderTest, AlignComparesTheFirstSevenBits) {
  start({0x7F, 0x00});
  EXPECT_EQ(bits(4), 7u);
  EXPECT_TRUE(reader_.align(0x78, 0x78));  // four bits are left, and the mask moves with them
  start({0xFF, 0x2A});
  EXPECT_EQ(bits(1), 1u);
  EXPECT_FALSE(reader_.align(0x7F, 0));  // the seven ones of 0xFF come before those of 0x2A
}

TEST_P(PacketBitReaderTest, ReadsOnesBehindTheEnd) {
  start({0x00});
  EXPECT_EQ(bits(8), 0u);
  EXPECT_FALSE(reader_.atEnd());
  EXPECT_EQ(bits(20), 0xFFFFFu);
  EXPECT_TRUE(reader_.atEnd());
  EXPECT_EQ(reader_.readPassCount(), 164);
  reader_.beginHeader();
  EXPECT_EQ(reader_.readBit(), 1);  // the end outlasts the packet
}

TEST_P(PacketBitReaderTest, FailsOnAStreamThatEndedBeforeTheHeader) {
  start({0x00});
  u8 scratch[2];
  stream_->readBytes(scratch, 2);
  reader_.beginHeader();
  EXPECT_EQ(reader_.readBit(), -1);
  EXPECT_FALSE(reader_.good());
  u32 value;
  EXPECT_FALSE(reader_.readBits(3, value));
  EXPECT_EQ(reader_.readPassCount(), -1);
  reader_.beginHeader();
  EXPECT_TRUE(reader_.align(0, 0));  // nothing to read before the first bit
}

TEST_P(PacketBitReaderTest, KnowsEveryPassCount) {
  for (i32 passes = 1; passes <= 164; ++passes) {
    test::HeaderBits header;
    const u32 n = static_cast<u32>(passes);
    if (passes <= 2) {
      header.put(passes == 1 ? "0" : "10");
    } else if (passes <= 5) {
      header.put("11").put(n - 3, 2);
    } else if (passes <= 36) {
      header.put("1111").put(n - 6, 5);
    } else {
      header.put("1111 11111").put(n - 37, 7);
    }
    header.put("10");
    start(header.bytes());
    EXPECT_EQ(reader_.readPassCount(), passes);
    EXPECT_EQ(bits(2), 2u) << passes;
  }
}

// A read callback that fails without an end delivers no byte. The header must still end.
TEST(PacketBitReader, TakesBytesThatNeverCameAsOnes) {
  CustomCallbacks callbacks = {};
  callbacks.read = [](void*, uint32_t, void*) -> int32_t { return -1; };
  CustomStream stream;
  stream.open(nullptr, callbacks);
  PacketBitReader reader;
  reader.attach(stream);
  reader.beginHeader();
  for (i32 i = 0; i < 50; ++i) EXPECT_EQ(reader.readBit(), 1);
}

}  // namespace
}  // namespace wbx
