#include "parse/jp2_boxes.h"

#include <gtest/gtest.h>
#include <string>

#include "wbx.h"

#include "bytes.h"
#include "parse/metadata_reader.h"

namespace wbx {
namespace {

using test::parse::operator+;
using test::parse::be16;
using test::parse::be32;
using test::parse::box;
using test::parse::Bytes;
using test::parse::text;

const Bytes kGeoTiffUuid = {0xB1, 0x4B, 0xF8, 0xBD, 0x08, 0x3D, 0x4B, 0x43,
                            0xA5, 0xAE, 0x8C, 0xD7, 0xD5, 0xA6, 0xCE, 0x03};
const Bytes kOtherUuid(16, 0x77);
const Bytes kJp2c = box("jp2c", {}, 0);
constexpr u32 kHead = 32;  // signature and file type box

Bytes fileType(const char* brand, const Bytes& compatible) {
  return box("ftyp", text(brand) + be32(0) + compatible);
}

class Jp2BoxesTest : public testing::Test {
 protected:
  // A whole file, from its first byte on.
  i32 open(const Bytes& file) {
    bytes_ = file;
    stream_.open(bytes_.data(), static_cast<u32>(bytes_.size()));
    stream_.seek(2);
    return parseJP2(stream_, store_);
  }
  i32 walk(const Bytes& boxes) {
    return open(test::parse::kSignature + test::parse::kFileType + boxes);
  }
  i32 trail(const Bytes& boxes) {
    const i32 code = walk(kJp2c + boxes);
    return code != 0 ? code : parseTrailingBoxes(stream_, store_);
  }
  // "kind:data" of every entry.
  std::string entries() {
    std::string all;
    for (const MetadataEntry* e = store_.entry(0); e != nullptr; e = e->next)
      all += std::to_string(e->kind) + ":" +
             std::string(reinterpret_cast<const char*>(e->data), static_cast<size_t>(e->length)) +
             " ";
    return all;
  }

  Arena arena_{1000};
  MetadataStore store_{arena_};
  Bytes bytes_;
  MemoryStream stream_;
};

TEST_F(Jp2BoxesTest, StopsAtThePayloadOfTheCodestreamBox) {
  for (u32 length : {0u, 8u, 9999u}) {
    EXPECT_EQ(walk(box("jp2c", {1, 2, 3}, length)), 0);
    EXPECT_EQ(stream_.tell(), kHead + 8);
  }
  EXPECT_TRUE(store_.isJP2);
  EXPECT_EQ(store_.colourSpace, 0x8001u);
}

TEST_F(Jp2BoxesTest, SignatureAndFileType) {
  EXPECT_EQ(open({0, 0, 0, 12, 'j', 'P', ' ', ' ', 0x0D, 0x0A, 0x87, 0x0B}), WBX_ERROR_NOT_PART1);
  EXPECT_EQ(open({0, 0, 0, 12, 'j', 'P', ' ', ' '}), WBX_ERROR_READ);
  const auto openWith = [this](const Bytes& type) {
    return open(test::parse::kSignature + type + kJp2c);
  };
  EXPECT_EQ(openWith(fileType("abc ", text("jp2 "))), WBX_ERROR_NOT_PART1);
  EXPECT_EQ(openWith(fileType("jp2 ", text("abc "))), WBX_ERROR_NOT_PART1);
  EXPECT_EQ(openWith(fileType("jp2 ", {})), WBX_ERROR_NOT_PART1);
  EXPECT_EQ(openWith(box("ftyp", text("jp2 "))), WBX_ERROR_CORRUPT);
  Bytes many(31 * 4, 'x');
  EXPECT_EQ(openWith(fileType("jp2 ", many + text("jpx "))), 0);
  EXPECT_EQ(openWith(fileType("jp2 ", many + text("jpx jpx "))), WBX_ERROR_CORRUPT);
  EXPECT_EQ(openWith(fileType("jpx ", text("jp2 "))), 0);
  EXPECT_TRUE(store_.isJPX);
  EXPECT_FALSE(store_.isJP2);
}

TEST_F(Jp2BoxesTest, KeepsWhatAnApplicationMayWant) {
  const Bytes header = box("jp2h", box("ihdr", Bytes(14, 0)) + box("pclr", text("pal")));
  EXPECT_EQ(walk(header + box("xml ", text("<a/>")) + box("url ", be32(0) + text("u")) +
                 box("uuid", kGeoTiffUuid + text("geo")) + box("uuid", kOtherUuid + text("me")) +
                 box("xml ") + kJp2c),
            0);
  EXPECT_EQ(entries(), "5:pal 3:<a/> 4:u 2:geo 7:" + std::string(16, 0x77) + "me 3: ");
}

TEST_F(Jp2BoxesTest, ColourSpecification) {
  const auto enumerated = [](u32 space) { return box("colr", Bytes{1, 0, 0} + be32(space)); };
  EXPECT_EQ(walk(enumerated(18) + enumerated(17) + kJp2c), 0);
  EXPECT_EQ(store_.colourSpace, u32{kColourYcc});
  EXPECT_EQ(open(test::parse::kSignature + fileType("jpx ", text("jpx ")) + enumerated(18) + kJp2c),
            0);
  EXPECT_EQ(store_.colourSpace, 18u);
  EXPECT_EQ(walk(box("colr", Bytes{2, 0, 0} + text("icc")) + kJp2c), 0);
  EXPECT_EQ(store_.colourSpace, u32{kColourRestrictedIcc});
  EXPECT_EQ(entries(), "6:icc ");
  EXPECT_EQ(walk(box("colr", {3, 0}) + kJp2c), WBX_ERROR_MEMORY);
  EXPECT_EQ(store_.colourSpace, u32{kColourIcc});
  EXPECT_EQ(walk(box("colr", {4, 0, 0}) + kJp2c), WBX_ERROR_NOT_PART1);
  EXPECT_EQ(walk(box("colr", {1, 0, 0, 0})), WBX_ERROR_READ);
}

TEST_F(Jp2BoxesTest, ChannelDefinition) {
  const auto entry = [](u32 a, u32 b, u32 c) { return be16(a) + be16(b) + be16(c); };
  EXPECT_EQ(walk(box("cdef", be16(3) + entry(3, 1, 0) + entry(4, 9, 9) + entry(0, 0, 3)) + kJp2c),
            0);
  EXPECT_EQ(store_.channelCount, 3);
  EXPECT_EQ(store_.channelDefinition[3].type, 1);
  EXPECT_EQ(store_.channelDefinition[0].association, 3);
  EXPECT_EQ(store_.channelDefinition[1].type, 0);
}

TEST_F(Jp2BoxesTest, BoxLengthsAtTheEdges) {
  EXPECT_EQ(walk(box("free", {}, 1) + kJp2c), WBX_ERROR_BOX);
  EXPECT_EQ(walk(box("jp2c", {}, 1)), WBX_ERROR_BOX);
  EXPECT_EQ(walk(box("free", {}, 2) + kJp2c), WBX_ERROR_NOT_PART1);
  EXPECT_EQ(walk(box("free", {}, 7) + kJp2c), WBX_ERROR_NOT_PART1);
  for (u32 length : {0x80000000u, 0x80000007u, 0xFFFFFFFFu})
    EXPECT_EQ(walk(box("free", Bytes(30, 0), length) + kJp2c), WBX_ERROR_BOX);
  for (u32 length : {0u, 0x80000008u, 0xFFFFFFFFu})
    for (const char* type : {"xml ", "url ", "uuid", "pclr"})
      EXPECT_EQ(walk(box(type, kGeoTiffUuid, length) + kJp2c), WBX_ERROR_MEMORY) << type << length;
}

TEST_F(Jp2BoxesTest, AnEmptyBoxEndsTheWalk) {
  for (u32 length : {0u, 8u}) {
    EXPECT_EQ(walk(box("free", {}, length) + kJp2c), 0);
    EXPECT_EQ(stream_.tell(), kHead + 8);
  }
}

TEST_F(Jp2BoxesTest, ShortUuids) {
  EXPECT_EQ(walk(box("uuid", kOtherUuid, 8) + kJp2c), WBX_ERROR_MEMORY);
  EXPECT_EQ(walk(box("uuid", kOtherUuid, 9) + kJp2c), WBX_ERROR_CORRUPT);
  EXPECT_EQ(walk(box("uuid", kOtherUuid, 23) + kJp2c), WBX_ERROR_CORRUPT);
  EXPECT_EQ(walk(box("uuid", kGeoTiffUuid, 23) + kJp2c), WBX_ERROR_MEMORY);
  EXPECT_EQ(walk(box("uuid", kGeoTiffUuid) + box("uuid", kOtherUuid) + kJp2c), 0);
  EXPECT_EQ(entries(), "2: 7:" + std::string(16, 0x77) + " ");
}

TEST_F(Jp2BoxesTest, BytesThatAreNotThereReadAsZeros) {
  EXPECT_EQ(walk(box("xml ", text("ab"), 20)), WBX_ERROR_READ);
  EXPECT_EQ(entries(), "3:ab" + std::string(10, '\0') + " ");
  EXPECT_EQ(walk(box("uuid", kOtherUuid + text("a"), 28)), WBX_ERROR_READ);
  EXPECT_EQ(walk(box("url ", be32(0), 28)), WBX_ERROR_READ);
}

TEST_F(Jp2BoxesTest, ALengthFarBeyondTheSourceIsKeptAsItStands) {
  constexpr u32 kClaimed = 1u << 28;
  EXPECT_EQ(trail(box("xml ", text("ab"), kClaimed + 8)), 0);
  const MetadataEntry* entry = store_.entry(0);
  ASSERT_NE(entry, nullptr);
  EXPECT_EQ(entry->length, i32{kClaimed});
  EXPECT_STREQ(reinterpret_cast<const char*>(entry->data), "ab");
  EXPECT_EQ(entry->data[kClaimed / 2], 0);
  EXPECT_EQ(entry->data[kClaimed], 0);
  EXPECT_NE(arena_.allocate(100), nullptr);
}

TEST_F(Jp2BoxesTest, BoxesBehindTheCodestream) {
  EXPECT_EQ(trail({}), 0);
  EXPECT_EQ(trail(box("jp2h", box("xml ", text("no"))) + box("colr", {9, 9, 9}) + box("jp2c", {1}) +
                  box("xml ", text("yes"))),
            0);
  EXPECT_EQ(entries(), "3:yes ");
  EXPECT_EQ(trail({0, 0, 0, 20}), 0);
  EXPECT_EQ(trail(box("free", {}, 3)), WBX_ERROR_NOT_PART1);
  EXPECT_EQ(trail(box("free", {}, 1)), WBX_ERROR_BOX);
  EXPECT_EQ(trail(box("uuid", kOtherUuid, 100)), WBX_ERROR_READ);
}

TEST(TrailingBoxes, AreNotLookedForBehindARawCodestream) {
  Arena arena(100);
  MetadataStore store(arena);
  const Bytes garbage = box("free", {}, 3);
  MemoryStream stream;
  stream.open(garbage.data(), static_cast<u32>(garbage.size()));
  EXPECT_EQ(parseTrailingBoxes(stream, store), 0);
  EXPECT_EQ(stream.tell(), 0u);
}

TEST(Comments, AreKeptInTheirOrder) {
  Arena arena(100);
  MetadataStore store(arena);
  const Bytes bytes = be16(1) + text("hello") + be16(0) + Bytes{1, 0, 2} + be16(7);
  MemoryStream stream;
  stream.open(bytes.data(), static_cast<u32>(bytes.size()));
  EXPECT_EQ(parseCOM(stream, store, 7), 0);
  EXPECT_EQ(parseCOM(stream, store, 5), 0);
  EXPECT_EQ(parseCOM(stream, store, 2), 0);
  const MetadataEntry* entry = store.entry(0);
  EXPECT_STREQ(reinterpret_cast<const char*>(entry->data), "hello");
  EXPECT_EQ(entry->kind, kMetaText);
  entry = entry->next;
  EXPECT_EQ(entry->kind, kMetaBinary);
  EXPECT_EQ(entry->length, 3);
  entry = entry->next;
  EXPECT_EQ(entry->kind, kMetaText);
  EXPECT_EQ(entry->length, 0);
  EXPECT_EQ(entry->next, nullptr);
  EXPECT_EQ(parseCOM(stream, store, 1), WBX_ERROR_MEMORY);
}

}  // namespace
}  // namespace wbx
