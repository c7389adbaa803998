// Whole headers through the public functions: which code an open ends with.
#include <gtest/gtest.h>
#include <string>

#include "wbx.h"

#include "bytes.h"

namespace wbx {
namespace {

using test::parse::operator+;
using test::parse::be16;
using test::parse::be32;
using test::parse::box;
using test::parse::Bytes;
using test::parse::Cod;
using test::parse::codestream;
using test::parse::kEmptyPacket;
using test::parse::kEoc;
using test::parse::kQcd;
using test::parse::kSoc;
using test::parse::kSod;
using test::parse::segment;
using test::parse::Siz;
using test::parse::sot;

i32 openCode(const Bytes& file) {
  WBX_Handle handle = WBX_OpenMemory(file.data(), static_cast<i32>(file.size()));
  if (handle == nullptr) return WBX_getLastError();
  EXPECT_EQ(WBX_Close(handle), 0);
  return 0;
}

i32 openSiz(const Siz& siz) {
  return openCode(codestream(siz));
}

TEST(OpenSiz, Geometry) {
  EXPECT_EQ(openSiz({}), 0);
  EXPECT_EQ(openSiz({.XTsiz = 0xFFFFFFFF, .YTsiz = 100}), 0);
  EXPECT_EQ(openSiz({.XOsiz = 8}), WBX_ERROR_CORRUPT);
  EXPECT_EQ(openSiz({.YTsiz = 0}), WBX_ERROR_CORRUPT);
  EXPECT_EQ(openSiz({.XTOsiz = 1}), WBX_ERROR_CORRUPT);
  EXPECT_EQ(openSiz({.Xsiz = 120, .XOsiz = 100, .XTsiz = 100}), WBX_ERROR_CORRUPT);
  EXPECT_EQ(openSiz({.Xsiz = 108, .XOsiz = 100, .XTsiz = 101}), 0);
  EXPECT_EQ(openSiz({.components = {}}), WBX_ERROR_CORRUPT);
}

TEST(OpenSiz, LimitsOfThisDecoder) {
  EXPECT_EQ(openSiz({.Xsiz = 65536}), WBX_ERROR_TOO_LARGE);
  EXPECT_EQ(openSiz({.YTOsiz = 65536}), WBX_ERROR_TOO_LARGE);
  EXPECT_EQ(openSiz({.Xsiz = 65536, .components = {{}, {}, {}, {}, {}}}), WBX_ERROR_COMPONENTS);
  EXPECT_EQ(openSiz({.Xsiz = 4097, .Ysiz = 4096, .XTsiz = 1, .YTsiz = 1}), WBX_ERROR_MEMORY);
  EXPECT_EQ(openCode(kSoc + segment(0x51, Bytes(30, 0))), WBX_ERROR_READ);
}

TEST(OpenSiz, Components) {
  EXPECT_EQ(openSiz({.components = {{0x47, 0, 0}}}), 0);
  EXPECT_EQ(openSiz({.components = {{0x87, 1, 1}}}), WBX_ERROR_SIGNED);
  EXPECT_EQ(openSiz({.components = {{16, 1, 1}}}), WBX_ERROR_PRECISION);
  EXPECT_EQ(openSiz({.components = {{7, 1, 1}, {11, 1, 1}}}), WBX_ERROR_PRECISION);
  EXPECT_EQ(openSiz({.components = {{7, 2, 2}}}), 0);
  EXPECT_EQ(openSiz({.components = {{7, 3, 1}}}), WBX_ERROR_SUBSAMPLING);
  EXPECT_EQ(openSiz({.components = {{7, 1, 2}, {}, {}}}), WBX_ERROR_SUBSAMPLING);
}

TEST(OpenCoding, StylesThatAreNotDecoded) {
  EXPECT_EQ(openCode(codestream({}, {.style = 0x36})), 0);
  EXPECT_EQ(openCode(codestream({}, {.style = 0x01})), WBX_ERROR_BYPASS);
  EXPECT_EQ(openCode(codestream({}, {.style = 0x09})), WBX_ERROR_BYPASS);
  EXPECT_EQ(openCode(codestream({}, {.style = 0x08})), WBX_ERROR_CAUSAL);
  EXPECT_EQ(openCode(codestream({}, {.levels = 24, .style = 0x08})), WBX_ERROR_CAUSAL);
  EXPECT_EQ(openCode(codestream({}, {.levels = 24})), WBX_ERROR_RESOLUTION_LEVELS);
  EXPECT_EQ(openCode(codestream({}, {.levels = 255})), WBX_ERROR_MEMORY);
  EXPECT_EQ(openCode(codestream({}, {.width = 5, .height = 4})), 0);
  EXPECT_EQ(openCode(codestream({}, {.width = 6, .height = 2})), WBX_ERROR_CODE_BLOCK_SIZE);
  EXPECT_EQ(openCode(codestream({}, {.width = 4, .height = 5})), WBX_ERROR_CODE_BLOCK_SIZE);
  EXPECT_EQ(openCode(codestream({}, {}, segment(0x53, {0, 0, 0, 4, 4, 8, 1}))), WBX_ERROR_CAUSAL);
}

TEST(OpenCoding, SegmentsThatAreRefused) {
  const Bytes payload(4, 0);
  EXPECT_EQ(openCode(codestream({}, {}, segment(0x5F, payload))), WBX_ERROR_PROGRESSION_CHANGE);
  EXPECT_EQ(openCode(codestream({}, {}, {}, segment(0x5F, payload))), WBX_ERROR_PROGRESSION_CHANGE);
  EXPECT_EQ(openCode(codestream({}, {}, segment(0x60, payload))), WBX_ERROR_PACKED_HEADERS);
  EXPECT_EQ(openCode(codestream({}, {}, {}, segment(0x61, payload))), WBX_ERROR_PACKED_HEADERS);
}

TEST(OpenCoding, SegmentsThatAreSteppedOver) {
  const Bytes payload(300, 0xAB);
  EXPECT_EQ(openCode(codestream(
                {}, {}, segment(0x55, payload) + segment(0x57, payload) + segment(0x63, payload),
                segment(0x58, payload))),
            0);
}

TEST(OpenCoding, EveryTileNeedsBothCodAndQcd) {
  const Bytes head = kSoc + Siz{}.bytes();
  const Bytes tail = kSod + kEmptyPacket + kEoc;
  EXPECT_EQ(openCode(head + Cod{}.bytes() + sot(0, 0, 0, 1) + tail), WBX_ERROR_CORRUPT);
  EXPECT_EQ(openCode(head + kQcd + sot(0, 0, 0, 1) + tail), WBX_ERROR_CORRUPT);
  EXPECT_EQ(openCode(head + Cod{}.bytes() + sot(0, 0, 0, 1) + kQcd + tail), 0);
  EXPECT_EQ(openCode(head + sot(0, 0, 0, 1) + Cod{}.bytes() + kQcd + tail), 0);
  EXPECT_EQ(openCode(codestream({}, {.levels = 1})), WBX_ERROR_CORRUPT) << "one step size of four";
}

// A tile of two layers in two tile-parts, with `between` in the second header.
Bytes twoParts(u8 second, const Bytes& between = {}) {
  return kSoc + Siz{}.bytes() + Cod{.layers = 2}.bytes() + kQcd + sot(0, 15, 0, 2) + kSod +
         kEmptyPacket + sot(0, 0, second, 0) + between + kSod + kEmptyPacket + kEoc;
}

TEST(OpenTileParts, ComeInOrder) {
  EXPECT_EQ(openCode(twoParts(1)), 0);
  EXPECT_EQ(openCode(twoParts(0)), WBX_ERROR_CORRUPT);
  EXPECT_EQ(openCode(twoParts(2)), WBX_ERROR_CORRUPT);
  const Bytes head = kSoc + Siz{}.bytes() + Cod{}.bytes() + kQcd;
  EXPECT_EQ(openCode(head + sot(1, 0, 0, 1) + kSod + kEmptyPacket + kEoc), WBX_ERROR_CORRUPT);
}

TEST(OpenTileParts, OneMoreThanAnnouncedPasses) {
  Bytes file = kSoc + Siz{}.bytes() + Cod{.layers = 4}.bytes() + kQcd;
  for (u8 part = 0; part < 3; ++part) file = file + sot(0, 15, part, 2) + kSod + kEmptyPacket;
  EXPECT_EQ(openCode(file + kEoc), 0);
  EXPECT_EQ(openCode(file + sot(0, 15, 3, 2) + kSod + kEmptyPacket + kEoc), WBX_ERROR_CORRUPT);
}

TEST(OpenTileParts, MayInterleaveAndMayBeEmpty) {
  const Siz twoTiles{.Xsiz = 16};
  const Bytes head = kSoc + twoTiles.bytes() + Cod{.layers = 2}.bytes() + kQcd;
  const auto part = [](u16 tile, u8 index) {
    return sot(tile, 15, index, 0) + kSod + kEmptyPacket;
  };
  EXPECT_EQ(openCode(head + part(0, 0) + part(1, 0) + part(0, 1) + kEoc), 0);
  EXPECT_EQ(openCode(head + sot(1, 4, 0, 0) + kSod + kEoc), 0) << "Psot below the header's size";
}

TEST(OpenTileParts, LaterOnesCannotChangeTheCoding) {
  EXPECT_EQ(openCode(twoParts(1, Cod{.layers = 2}.bytes())), WBX_ERROR_CORRUPT);
  EXPECT_EQ(openCode(twoParts(1, segment(0x53, {0, 0, 0, 4, 4, 0, 1}))), WBX_ERROR_CORRUPT);
  EXPECT_EQ(openCode(twoParts(1, kQcd)), WBX_ERROR_CORRUPT);
  EXPECT_EQ(openCode(twoParts(1, segment(0x5D, {0, 0x40, 0x40}))), WBX_ERROR_CORRUPT);
  EXPECT_EQ(openCode(twoParts(1, segment(0x5E, {0, 0, 3}))), 0);
}

TEST(OpenTruncated, NeverOpensAndNeverCrashes) {
  const Bytes raw = codestream({}, {}, segment(0x64, be16(1) + test::parse::text("comment")));
  const Bytes file = test::parse::kSignature + test::parse::kFileType +
                     box("xml ", test::parse::text("<x/>")) + box("jp2c", raw);
  ASSERT_EQ(openCode(file), 0);
  for (size_t size = 1; size < file.size(); ++size)
    EXPECT_NE(openCode(Bytes(file.begin(), file.begin() + static_cast<i32>(size))), 0) << size;
  EXPECT_EQ(openCode(Bytes(raw.begin(), raw.end() - 2)), WBX_ERROR_CORRUPT) << "no EOC";
  EXPECT_EQ(openCode({0xFF}), WBX_ERROR_READ);
}

TEST(OpenJp2, MetadataComesInTheOrderOfTheFile) {
  const Bytes file =
      test::parse::kSignature + test::parse::kFileType + box("xml ", test::parse::text("<x/>")) +
      box("jp2c", codestream({}, {}, segment(0x64, be16(1) + test::parse::text("c")))) +
      box("url ", be32(0) + test::parse::text("u"));
  WBX_Handle handle = WBX_OpenMemory(file.data(), static_cast<i32>(file.size()));
  ASSERT_NE(handle, nullptr);
  const u32 expected[] = {3, 0, 4};
  for (i32 i = 0; i < 3; ++i) {
    i32 index = i;
    u32 kind = 99, length = 0;
    const void* data = nullptr;
    EXPECT_EQ(WBX_GetMetaData(handle, &index, &kind, &data, &length), 0);
    EXPECT_EQ(kind, expected[i]);
  }
  EXPECT_EQ(WBX_Close(handle), 0);
}

}  // namespace
}  // namespace wbx
