#include "parse/marker.h"

#include <gtest/gtest.h>

#include "wbx.h"

#include "bytes.h"
#include "parse/fields.h"

namespace wbx {
namespace {

using test::parse::Bytes;

class MarkerTest : public testing::Test {
 protected:
  i32 read(const Bytes& bytes, u8 phase) {
    bytes_ = bytes;
    stream_.open(bytes_.data(), static_cast<u32>(bytes_.size()));
    marker_.state = phase;
    return marker_.readMarker(stream_);
  }

  Bytes bytes_;
  MemoryStream stream_;
  MarkerState marker_;
};

constexpr u8 kEveryPhase[] = {kPhaseStart,          kPhaseSiz,
                              kPhaseMainHeader,     kPhaseBetweenTileParts,
                              kPhaseTilePartHeader, kPhaseEnd};

TEST_F(MarkerTest, EachMarkerStandsInItsPhasesOnly) {
  struct Row {
    u8 code, phases, next;
  };
  constexpr Row kRows[] = {
      {0x00, 0x01, 0}, {0x4F, 0x01, 0x02}, {0x51, 0x02, 0x04}, {0x52, 0x14, 0},   {0x53, 0x14, 0},
      {0x5C, 0x14, 0}, {0x5D, 0x14, 0},    {0x5E, 0x14, 0},    {0x5F, 0x14, 0},   {0x55, 0x04, 0},
      {0x57, 0x04, 0}, {0x58, 0x10, 0},    {0x60, 0x04, 0},    {0x61, 0x10, 0},   {0x63, 0x04, 0},
      {0x64, 0x14, 0}, {0x90, 0x0C, 0x10}, {0x93, 0x10, 0x08}, {0xD9, 0x08, 0x20}};
  for (const Row& row : kRows) {
    for (u8 phase : kEveryPhase) {
      SCOPED_TRACE(testing::Message() << "marker " << int{row.code} << " phase " << int{phase});
      const bool permitted = (row.phases & phase) != 0;
      EXPECT_EQ(read({0xFF, row.code, 0, 5}, phase), permitted ? WBX_OK : WBX_ERROR_CORRUPT);
      EXPECT_EQ(marker_.code, row.code);
      EXPECT_EQ(marker_.state, permitted && row.next != 0 ? row.next : phase);
    }
  }
}

TEST_F(MarkerTest, OnlySegmentsHaveALength) {
  EXPECT_EQ(read({0xFF, 0x52, 0x01, 0x04}, kPhaseMainHeader), 0);
  EXPECT_EQ(marker_.length, 0x102);
  EXPECT_EQ(stream_.tell(), 4u);
  EXPECT_EQ(read({0xFF, 0x93, 0x01, 0x04}, kPhaseTilePartHeader), 0);
  EXPECT_EQ(marker_.length, 0);
  EXPECT_EQ(stream_.tell(), 2u);
}

TEST_F(MarkerTest, RefusesALengthWithoutPayload) {
  for (u8 length : {u8{0}, u8{1}, u8{2}})
    EXPECT_EQ(read({0xFF, 0x52, 0, length}, kPhaseMainHeader), WBX_ERROR_CORRUPT);
  EXPECT_EQ(read({0xFF, 0x52, 0, 3}, kPhaseMainHeader), 0);
  EXPECT_EQ(marker_.length, 1);
  EXPECT_EQ(read({0xFF, 0x52, 9}, kPhaseMainHeader), WBX_ERROR_CORRUPT);
}

TEST_F(MarkerTest, LooksAtTheLowByteAlone) {
  EXPECT_EQ(read({0x00, 0x4F}, kPhaseStart), 0);
  EXPECT_EQ(read({0xFF, 0x00}, kPhaseStart), 0);
  EXPECT_EQ(marker_.code, kNul);
  for (u8 unknown : Bytes{0x30, 0x91, 0x92, 0x50})
    EXPECT_EQ(read({0xFF, unknown}, kPhaseMainHeader), WBX_ERROR_CORRUPT);
}

TEST_F(MarkerTest, EndOfDataIsANulMarker) {
  marker_.code = kSOD;
  EXPECT_EQ(read({0xFF}, kPhaseBetweenTileParts), WBX_ERROR_CORRUPT);
  EXPECT_EQ(marker_.code, kNul);
  EXPECT_EQ(read({}, kPhaseStart), 0);
  EXPECT_FALSE(stream_.isGood());
}

TEST(SkipBytes, StepsOverByReadingWhereASourceCannotSeek) {
  const Bytes bytes(400, 7);
  test::parse::UnseekableSource source(bytes);
  EXPECT_TRUE(skipBytes(source.stream, 300));
  EXPECT_EQ(source.stream.tell(), 300u);
  EXPECT_TRUE(source.stream.isGood());
  EXPECT_TRUE(skipBytes(source.stream, 0x7FFFFFFF));
  EXPECT_FALSE(source.stream.isGood());
  EXPECT_LT(source.stream.tell(), 600u);
}

TEST(SkipBytes, NeverMovesBackwards) {
  const Bytes bytes(16, 0);
  MemoryStream stream;
  stream.open(bytes.data(), 16);
  stream.seek(12);
  EXPECT_FALSE(skipBytes(stream, 0xFFFFFFF8));
  EXPECT_EQ(stream.tell(), 12u);
  EXPECT_TRUE(skipBytes(stream, 3));
  EXPECT_EQ(stream.tell(), 15u);
}

}  // namespace
}  // namespace wbx
