#include "tier2/packet.h"

#include <gtest/gtest.h>
#include <memory>
#include <numeric>
#include <vector>

#include "tile_builder.h"

namespace wbx {
namespace {

using test::HeaderBits;
using test::TileBuilder;
using test::operator+;

using Bytes = std::vector<u8>;

// A tile of one resolution, and the stream of its packets.
class PacketTest : public testing::Test {
 protected:
  // Blocks of 64 by 64 in one component.
  void makeTile(u16 wide, u16 high, u16 layers = 1, u8 style = 0) {
    builder_ = std::make_unique<TileBuilder>(Rect{0, 0, wide, high});
    tile().style.layers = layers;
    builder_->coding().cblkStyle = style;
    ASSERT_EQ(builder_->build(), 0);
  }
  Tile& tile() { return builder_->tile; }
  void feed(Bytes bytes) {
    bytes_ = std::move(bytes);
    memory_.open(bytes_.data(), static_cast<u32>(bytes_.size()));
    reader_.attach(memory_);
  }
  i32 read() { return tile().readNextPacket(reader_); }
  i32 readOnly(Bytes bytes) {
    feed(std::move(bytes));
    return read();
  }
  const CodeBlock* block(u32 column = 0, u32 row = 0) {
    const Precinct* precinct = builder_->resolution(0).subbands[0].precincts.find(0);
    return precinct == nullptr ? nullptr : precinct->block(column, row);
  }

  std::unique_ptr<TileBuilder> builder_;
  Bytes bytes_;
  MemoryStream memory_;
  PacketBitReader reader_;
};

Bytes counting(size_t count) {
  Bytes bytes(count);
  std::iota(bytes.begin(), bytes.end(), u8{1});
  return bytes;
}

// Content, first inclusion of a lone block with no zero bit planes.
HeaderBits firstInclusion() {
  return HeaderBits().put("1 1 1");
}

TEST_F(PacketTest, KeepsShortContributionsInline) {
  makeTile(64, 64);
  const Bytes body = {0xAA, 0xBB, 0xCC};
  const Bytes header = HeaderBits().put("1 1 001 10 0").put(3, 4).bytes();
  ASSERT_EQ(readOnly(header + body + Bytes{0x55}), 0);
  EXPECT_EQ(memory_.tell(), header.size() + 3);
  EXPECT_EQ(tile().iterator.done, 1);
  ASSERT_NE(block(), nullptr);
  EXPECT_EQ(block()->rect, (Rect{0, 0, 64, 64}));
  EXPECT_EQ(block()->zeroPlanes, 2);
  EXPECT_EQ(block()->firstPass, 6);
  EXPECT_EQ(block()->passCount, 2);
  EXPECT_EQ(block()->lblock, 3);
  EXPECT_EQ(block()->pendingChunks, nullptr);
  const DataChunk* chunk = block()->chunks;
  EXPECT_EQ(chunk->passes(), 2);
  EXPECT_FALSE(chunk->endsSegment());
  EXPECT_EQ(Bytes(chunk->data(), chunk->data() + chunk->length()), body);
  EXPECT_EQ(chunk->next(), nullptr);
}

TEST_F(PacketTest, LeavesLongContributionsInTheSource) {
  for (u32 length : {64u, 65u}) {
    makeTile(64, 64);
    const Bytes header = firstInclusion().put("0 11110").put(length, 7).bytes();
    ASSERT_EQ(readOnly(header + counting(length) + Bytes{0x55}), 0);
    EXPECT_EQ(memory_.tell(), header.size() + length);
    EXPECT_EQ(block()->lblock, 7);
    EXPECT_EQ(block()->chunks->isReference(), length == 65);
    EXPECT_EQ(block()->chunks->length(), length);
    if (length == 65) {
      EXPECT_EQ(block()->chunks->position(), header.size());
    }
  }
}

TEST_F(PacketTest, EmptyPacketTouchesNothing) {
  makeTile(64, 64, 2);
  feed({0x00, 0x01, 0x00});
  EXPECT_EQ(read(), 0);
  EXPECT_EQ(memory_.tell(), 1u);
  EXPECT_EQ(block(), nullptr);
  EXPECT_EQ(read(), 4);  // the second one has a bit behind its flag
}

TEST_F(PacketTest, PacketMayIncludeNoBlock) {
  makeTile(64, 64);
  EXPECT_EQ(readOnly({0x80, 0x55}), 0);
  EXPECT_EQ(memory_.tell(), 1u);
  EXPECT_EQ(block(), nullptr);
}

TEST_F(PacketTest, LaterLayersGoOnWhereTheTreesStand) {
  makeTile(128, 64, 3);
  Bytes packets = HeaderBits().put("1  1 1 1 1 0 0 001  0").bytes() + Bytes{0x11};
  // The first block again; the second one for the first time, with one zero bit plane.
  packets = packets + HeaderBits().put("1  1 0 0 010  1 01 10 0 0010").bytes() +
            Bytes{0x21, 0x22, 0x31, 0x32};
  packets = packets + HeaderBits().put("1  0  1 0 0 001").bytes() + Bytes{0x41};
  feed(packets);
  for (i32 layer = 0; layer < 3; ++layer) ASSERT_EQ(read(), 0) << layer;
  EXPECT_EQ(memory_.tell(), packets.size());
  const CodeBlock& left = *block(0, 0);
  const CodeBlock& right = *block(1, 0);
  EXPECT_EQ(left.passCount, 2);
  EXPECT_EQ(left.chunks->data()[0], 0x11);
  EXPECT_EQ(left.chunks->next()->data()[1], 0x22);
  EXPECT_EQ(left.lastChunk, left.chunks->next());
  EXPECT_EQ(right.rect, (Rect{64, 0, 128, 64}));
  EXPECT_EQ(right.zeroPlanes, 1);
  EXPECT_EQ(right.passCount, 3);
  EXPECT_EQ(right.chunks->data()[1], 0x32);
  EXPECT_EQ(right.chunks->next()->data()[0], 0x41);
}

TEST_F(PacketTest, TermallGivesEachPassAChunk) {
  makeTile(64, 64, 1, kStyleTermall);
  ASSERT_EQ(readOnly(firstInclusion().put("1100 0 001 000 010").bytes() + Bytes{7, 8, 9}), 0);
  const DataChunk* chunk = block()->chunks;
  for (u32 length : {1u, 0u, 2u}) {
    ASSERT_NE(chunk, nullptr);
    EXPECT_EQ(chunk->length(), length);
    EXPECT_EQ(chunk->passes(), 1);
    EXPECT_TRUE(chunk->endsSegment());
    chunk = chunk->next();
  }
  EXPECT_EQ(chunk, nullptr);
  EXPECT_EQ(block()->lastChunk->data()[1], 9);
}

TEST_F(PacketTest, SopAndEphArePassedOverUnseen) {
  makeTile(64, 64);
  tile().style.scod = kScodSop | kScodEph;
  const Bytes header = firstInclusion().put("0 0 001").bytes();
  feed(Bytes{1, 2, 3, 4, 5, 6} + header + Bytes{7, 8} + Bytes{0x99});
  ASSERT_EQ(read(), 0);
  EXPECT_EQ(memory_.tell(), bytes_.size());
  EXPECT_EQ(block()->chunks->data()[0], 0x99);
}

TEST_F(PacketTest, RefusesLengthsBeyondTheRecord) {
  makeTile(64, 64);
  const HeaderBits grown = firstInclusion().put("0").put(0xFFFFF, 20).put("0");
  EXPECT_EQ(readOnly(HeaderBits(grown).put(1u << 21, 23).bytes()), 3);
  makeTile(64, 64);
  EXPECT_EQ(readOnly(HeaderBits(grown).put((1u << 21) - 1, 23).bytes()), 0);
}

TEST_F(PacketTest, RefusesMorePassesThanAChunkHolds) {
  makeTile(64, 64);
  EXPECT_EQ(
      readOnly(firstInclusion().put("1111 11111").put(127 - 37, 7).put("0").put(0, 9).bytes()), 0);
  makeTile(64, 64);
  EXPECT_EQ(
      readOnly(firstInclusion().put("1111 11111").put(128 - 37, 7).put("0").put(0, 10).bytes()), 4);
  makeTile(64, 64, 1, kStyleTermall);
  HeaderBits each = firstInclusion().put("1111 11111").put(163 - 37, 7).put("0");
  for (i32 i = 0; i < 163; ++i) each.put("000");
  EXPECT_EQ(readOnly(each.bytes()), 0);
  EXPECT_EQ(block()->passCount, static_cast<i8>(163));
}

// Lblock counts in 8 bits, and below 1 a length takes no bits.
TEST_F(PacketTest, LblockWraps) {
  makeTile(64, 64);
  HeaderBits header = firstInclusion().put("0");
  for (i32 i = 0; i < 253; ++i) header.put("1");
  EXPECT_EQ(readOnly(header.put("0").bytes()), 0);
  EXPECT_EQ(block()->lblock, 0);
  EXPECT_EQ(block()->chunks->length(), 0u);
}

TEST_F(PacketTest, EndsACommaCodeAtItsLimit) {
  for (i32 ones : {55553, 55554}) {
    makeTile(64, 64);
    HeaderBits header = firstInclusion().put("0");
    for (i32 i = 0; i < ones; ++i) header.put("1");
    EXPECT_EQ(readOnly(header.put("0").bytes() + Bytes(8)), ones == 55553 ? 0 : 4);
  }
}

// After 256 passes the count stands at 0 again, and the block's inclusion needs no bit.
TEST_F(PacketTest, PassCountWraps) {
  makeTile(64, 64, 4);
  const u32 passes = 64 - 37;
  feed(firstInclusion().put("1111 11111").put(passes, 7).put("0").put(0, 9).bytes() +
       HeaderBits().put("1 1 1111 11111").put(passes + 64, 7).put("0").put(0, 10).bytes());
  EXPECT_EQ(read(), 0);
  EXPECT_EQ(read(), 4);
  makeTile(64, 64, 4);
  const HeaderBits more = HeaderBits().put("1 1 1111 11111").put(passes, 7).put("0").put(0, 9);
  feed(firstInclusion().put("1111 11111").put(passes, 7).put("0").put(0, 9).bytes() + more.bytes() +
       more.bytes() + more.bytes());
  for (i32 i = 0; i < 4; ++i) ASSERT_EQ(read(), 0);
  EXPECT_EQ(block()->passCount, 0);
}

TEST_F(PacketTest, TruncationInAHeaderIsAReadError) {
  makeTile(64, 64);
  EXPECT_EQ(readOnly({0b11111110}), 4);  // in the midst of a pass count
  makeTile(64, 64);
  feed({});
  EXPECT_EQ(read(), 4);
  makeTile(64, 64);
  EXPECT_EQ(readOnly({0x00}), 0);
  EXPECT_EQ(read(), 0);  // done: nothing is read
}

TEST_F(PacketTest, EndOfStreamIsSeenBeforeAnEmptyPlace) {
  makeTile(64, 64, 2);
  feed({0x00});
  EXPECT_EQ(read(), 0);
  u8 beyond;
  memory_.readU8(&beyond);
  EXPECT_EQ(read(), 4);
  EXPECT_EQ(tile().iterator.layer, 1);  // no step was made
}

TEST_F(PacketTest, BytesThatNeverCameAreNoPartOfTheBlock) {
  makeTile(64, 64);
  EXPECT_EQ(readOnly(firstInclusion().put("0 0 101").bytes() + Bytes{1, 2}), 0);
  EXPECT_EQ(block()->chunks->length(), 2u);
  EXPECT_TRUE(memory_.isEof());
}

TEST_F(PacketTest, UnseekableSourceIsCopiedHoweverLong) {
  makeTile(64, 64);
  const Bytes header = firstInclusion().put("0").put(0x3FF, 10).put("0").put(5000, 13).bytes();
  test::UnseekableSource source(header + counting(5000));
  reader_.attach(source.stream);
  ASSERT_EQ(read(), 0);
  const DataChunk* chunk = block()->chunks;
  EXPECT_FALSE(chunk->isReference());
  EXPECT_EQ(Bytes(chunk->data(), chunk->data() + chunk->length()), counting(5000));
}

// Each layer announces two megabytes of which none comes.
TEST_F(PacketTest, AnnouncedBytesTakeNoMemoryUntilTheyCome) {
  makeTile(64, 64, 1, kStyleTermall);
  HeaderBits header = firstInclusion().put("1111 11111").put(163 - 37, 7);
  header.put(0x3FFFF, 18).put("0");
  for (i32 i = 0; i < 163; ++i) header.put((1u << 21) - 1, 21);
  test::UnseekableSource source(header.bytes() + counting(1000));
  reader_.attach(source.stream);
  ASSERT_EQ(read(), 0);
  EXPECT_EQ(block()->chunks->length(), 1000u);
  u32 total = 0;
  for (const DataChunk* c = block()->chunks; c != nullptr; c = c->next()) total += c->length();
  EXPECT_EQ(total, 1000u);
}

// A precinct without samples in a subband has no header bits there.
TEST(Packet, PassesOverEmptyCells) {
  TileBuilder b({15, 0, 48, 16}, 1, 2);
  b.coding().PPx[1] = b.coding().PPy[1] = 4;
  ASSERT_EQ(b.build(), 0);
  // LL; then HL, LH, HH of three precincts, of which the last holds nothing of LH.
  const Bytes bytes = {0x00, 0x00, 0x00, 0b11100001, 0b01000000, 0x77};
  MemoryStream stream;
  stream.open(bytes.data(), static_cast<u32>(bytes.size()));
  PacketBitReader reader;
  reader.attach(stream);
  for (i32 i = 0; i < 4; ++i) ASSERT_EQ(b.tile.readNextPacket(reader), 0);
  EXPECT_EQ(stream.tell(), bytes.size());
  EXPECT_EQ(b.tile.iterator.done, 1);
  const Precinct* last = b.resolution(1).subbands[0].precincts.find(2);
  ASSERT_NE(last, nullptr);
  EXPECT_EQ(last->block(0, 0)->chunks->data()[0], 0x77);
  EXPECT_EQ(b.resolution(1).subbands[1].precincts.find(2), nullptr);
}

}  // namespace
}  // namespace wbx
