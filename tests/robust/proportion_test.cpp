// Files of about a kilobyte that announce far more: what an open of them costs.
#include <cstdio>
#include <ctime>
#include <fstream>
#include <gtest/gtest.h>
#include <unistd.h>

#include "parse/bytes.h"
#include "robust/support.h"

namespace wbx::test::robust {
namespace {

using parse::operator+;
using parse::be16;
using parse::be32;
using parse::box;
using parse::Cod;
using parse::kEoc;
using parse::kFileType;
using parse::kQcd;
using parse::kSignature;
using parse::kSoc;
using parse::kSod;
using parse::segment;
using parse::Siz;
using parse::sot;
using parse::text;

constexpr u32 kHugeBox = 0x7FFFFFF8;
constexpr double kMostSeconds = 10;

// Of the processor: a machine with other work is no slower by it.
class Stopwatch {
 public:
  [[nodiscard]] double seconds() const {
    return static_cast<double>(std::clock() - start_) / CLOCKS_PER_SEC;
  }

 private:
  std::clock_t start_ = std::clock();
};

Bytes repeated(const Bytes& bytes, size_t times) {
  Bytes result;
  for (size_t i = 0; i < times; ++i) result.insert(result.end(), bytes.begin(), bytes.end());
  return result;
}

i64 residentBytes() {
  std::ifstream statm("/proc/self/statm");
  i64 total = 0, resident = 0;
  statm >> total >> resident;
  return resident * sysconf(_SC_PAGESIZE);
}

struct Cost {
  i32 code = WBX_OK;
  i64 requested = 0;  // bytes, without those that come as zero pages
  i64 zeroPages = 0;
  i64 resident = 0;
  double seconds = 0;
};

Cost costOfOpen(const Bytes& file) {
  const CountedMemory memory;
  const i64 before = residentBytes();
  const Stopwatch watch;
  const WBX_Handle handle = openBytes(file);
  Cost cost;
  cost.seconds = watch.seconds();
  cost.resident = residentBytes() - before;
  cost.requested = memory.bytes() - memory.zeroedBytes();
  cost.zeroPages = memory.zeroedBytes();
  cost.code = handle == nullptr ? WBX_getLastError() : WBX_OK;
  if (handle != nullptr) {
    EXPECT_EQ(WBX_Close(handle), WBX_OK);
  }
  EXPECT_EQ(memory.alive(), 0);
  if (fullRun()) {
    std::printf("%zu bytes: code %d, %lld + %lld bytes, %lld resident, %.3f s\n", file.size(),
                cost.code, static_cast<long long>(cost.requested),
                static_cast<long long>(cost.zeroPages), static_cast<long long>(cost.resident),
                cost.seconds);
  }
  return cost;
}

// Of the file's size `n`: a fixed part, and so much for each byte.
void expectInProportion(const Bytes& file, i32 code) {
  constexpr i64 kFixed = i64{8} << 20;
  constexpr i64 kForEachByte = 1500;
  const Cost cost = costOfOpen(file);
  EXPECT_EQ(cost.code, code);
  EXPECT_LT(cost.requested, kFixed + kForEachByte * static_cast<i64>(file.size()));
  EXPECT_LT(cost.seconds, kMostSeconds);
  if (!kSlow) {
    EXPECT_LT(cost.resident, kFixed + kForEachByte * static_cast<i64>(file.size()));
  }
}

// The largest picture there is, in the largest number of components.
Siz hugeImage(u32 tile = 0xFFFF) {
  return {
      .Xsiz = 0xFFFF, .Ysiz = 0xFFFF, .XTsiz = tile, .YTsiz = tile, .components = {{}, {}, {}, {}}};
}

const Bytes kManySteps = segment(0x5C, Bytes(1 + 70, 0x40));

// 24 resolutions of the smallest precincts and blocks, 65535 layers.
Bytes deepCod(u8 progression, u8 precincts = 0x11) {
  const Bytes fixed = {1, progression, 0xFF, 0xFF, 0, 23, 0, 0, 0, 1};
  return segment(0x52, fixed + Bytes(24, precincts));
}

Bytes deepHeader(u8 progression, const Siz& siz, u8 precincts = 0x11) {
  return kSoc + siz.bytes() + deepCod(progression, precincts) + kManySteps;
}

TEST(Proportion, TileGrids) {
  const auto grid = [](u32 width, u32 height) {
    return parse::codestream(
        {.Xsiz = width, .Ysiz = height, .XTsiz = 1, .YTsiz = 1, .components = {{}}});
  };
  expectInProportion(grid(0xFFFF, 0xFFFF), WBX_ERROR_CORRUPT);
  expectInProportion(grid(40000, 40000), WBX_ERROR_MEMORY);
  expectInProportion(grid(4096, 4096), WBX_OK);
}

// None of them looks at each tile.
TEST(Proportion, TheQueriesOfTheLargestGrid) {
  const Bytes file = parse::codestream({.Xsiz = 4096, .Ysiz = 4096, .XTsiz = 1, .YTsiz = 1});
  const WBX_Handle handle = openBytes(file);
  ASSERT_NE(handle, nullptr);
  const Stopwatch watch;
  for (i32 round = 0; round < 20; ++round) {
    i32 count = 0;
    u32 width = 0, height = 0;
    EXPECT_EQ(WBX_SelectTiles(handle, 0, -1, 1), WBX_OK);
    EXPECT_EQ(WBX_GetResolutions(handle, &count), WBX_OK);
    EXPECT_EQ(WBX_GetResolutionDimensions(handle, count - 1, &width, &height), WBX_OK);
    EXPECT_EQ(WBX_SelectTiles(handle, 1, -1, 0), WBX_OK);
    EXPECT_EQ(WBX_GetResolutionDimensionsByStr(handle, "rl=0", &width, &height), WBX_OK);
    EXPECT_EQ(width * height, 1u);
    EXPECT_EQ(decodeExternal(handle).bytes.size(), 1u);
  }
  EXPECT_LT(watch.seconds(), 1);
  EXPECT_EQ(WBX_Close(handle), WBX_OK);
}

TEST(Proportion, TreesThatNoPacketFills) {
  for (u8 progression = 0; progression < 5; ++progression) {
    SCOPED_TRACE(int{progression});
    const Bytes header = deepHeader(progression, hugeImage());
    // No packet, empty packets, packets of nothing but ones and of content without end.
    expectInProportion(header + sot(0, 14, 0, 1) + kSod + kEoc, WBX_OK);
    expectInProportion(header + sot(0, 14 + 700, 0, 1) + kSod + Bytes(700, 0) + kEoc, WBX_OK);
    const Cost ones = costOfOpen(header + sot(0, 0, 0, 1) + kSod + Bytes(700, 0xFF) + kEoc);
    EXPECT_NE(ones.code, WBX_OK);
    EXPECT_LT(ones.requested, 10 << 20);
    EXPECT_LT(ones.seconds, kMostSeconds);
    for (const u8 content : {u8{0x80}, u8{0xC0}, u8{0xE0}, u8{0xA5}}) {
      const Cost some = costOfOpen(header + sot(0, 0, 0, 1) + kSod + Bytes(700, content) + kEoc);
      EXPECT_LT(some.requested, 10 << 20);
      EXPECT_LT(some.seconds, kMostSeconds);
    }
  }
}

TEST(Proportion, LayersWithoutPackets) {
  // A picture of one sample has nothing in 23 of its 24 resolutions.
  for (u8 progression = 0; progression < 5; ++progression) {
    const Siz siz = {.Xsiz = 2, .Ysiz = 2, .XOsiz = 1, .YOsiz = 1, .components = {{}, {}, {}, {}}};
    const Bytes header = deepHeader(progression, siz);
    expectInProportion(header + sot(0, 14 + 800, 0, 1) + kSod + Bytes(800, 0) + kEoc, WBX_OK);
    expectInProportion(header + sot(0, 0, 0, 1) + kSod + Bytes(800, 0) + kEoc, WBX_ERROR_READ);
  }
  // Nothing at all in any resolution: sub-sampling leaves the component no sample.
  const Siz nothing = {.Xsiz = 2, .Ysiz = 2, .XOsiz = 1, .YOsiz = 1, .components = {{7, 2, 2}}};
  for (u8 progression = 0; progression < 5; ++progression) {
    const Bytes header = deepHeader(progression, nothing);
    const Cost cost = costOfOpen(header + sot(0, 0, 0, 1) + kSod + Bytes(70000, 0) + kEoc);
    EXPECT_LT(cost.seconds, kMostSeconds);
  }
}

TEST(Proportion, ManyTiles) {
  // A tile each for 14 bytes and for 15 with an empty packet, in the order that costs most.
  for (const u8 progression : {u8{0}, u8{3}}) {
    const Bytes header = deepHeader(progression, hugeImage(257));
    Bytes none = header, one = header, content = header;
    for (u16 i = 0; i < 60; ++i) {
      none = none + sot(i, 14, 0, 1) + kSod;
      one = one + sot(i, 15, 0, 1) + kSod + Bytes{0};
      content = content + sot(i, 14 + 36, 0, 1) + kSod + Bytes(36, 0x80);
    }
    expectInProportion(none + kEoc, WBX_OK);
    expectInProportion(one + kEoc, WBX_OK);
    const Cost cost = costOfOpen(content + kEoc);
    EXPECT_LT(cost.requested, i64{1500} * static_cast<i64>(content.size()) + (4 << 20));
  }
}

// A text or palette behind the codestream may be cut off, and its entry has the length that its
// box claims all the same, in pages that nobody touched.
TEST(Proportion, BoxesThatClaimWhatIsNotThere) {
  const Bytes jp2 = kSignature + kFileType;
  const Bytes image = box("jp2c", parse::codestream());
  for (const char* type : {"xml ", "pclr", "url ", "uuid", "cdef", "free", "jp2h", "colr"}) {
    for (const u32 length :
         {kHugeBox, u32{0x40000000}, u32{0x7FFFFFFF}, u32{0x80000000}, u32{0xFFFFFFFF}}) {
      // The shadow of so much memory takes a sanitizer seconds.
      if (kSlow && !fullRun() && length != kHugeBox && length != 0xFFFFFFFF) continue;
      SCOPED_TRACE(std::string(type) + " of " + std::to_string(length));
      for (const Bytes& payload : {Bytes(900, 2), Bytes{}}) {
        if (kSlow && !fullRun() && payload.empty()) continue;
        for (const Bytes& file :
             {jp2 + image + box(type, payload, length), jp2 + box(type, payload, length) + image}) {
          const Cost cost = costOfOpen(file);
          EXPECT_LT(cost.requested, 1 << 20);
          EXPECT_LE(cost.zeroPages, (i64{1} << 31) + 8);
          EXPECT_LT(cost.seconds, kMostSeconds);
          if (!kSlow) {
            EXPECT_LT(cost.resident, 4 << 20);
          }
        }
      }
    }
  }
  const WBX_Handle handle = openBytes(jp2 + image + box("xml ", text("<a/>"), 0x10000008));
  ASSERT_NE(handle, nullptr);
  i32 index = 0;
  u32 kind = 0, length = 0;
  const void* data = nullptr;
  EXPECT_EQ(WBX_GetMetaData(handle, &index, &kind, &data, &length), WBX_OK);
  EXPECT_EQ(length, 0x10000000u);
  EXPECT_STREQ(static_cast<const char*>(data), "<a/>");
  EXPECT_EQ(static_cast<const u8*>(data)[length], 0);
  EXPECT_EQ(WBX_Close(handle), WBX_OK);
}

TEST(Proportion, CommentsAndBoxesByTheThousand) {
  const Bytes comment = segment(0x64, {0, 1});
  const Bytes comments = parse::codestream({}, {}, repeated(comment, 100000));
  expectInProportion(comments, WBX_OK);
  expectInProportion(
      kSignature + kFileType + repeated(box("xml "), 50000) + box("jp2c", parse::codestream()),
      WBX_OK);
  expectInProportion(
      kSignature + kFileType + repeated(box("free", {1}), 50000) + box("jp2c", parse::codestream()),
      WBX_OK);
  const WBX_Handle handle = openBytes(comments);
  ASSERT_NE(handle, nullptr);
  const Stopwatch watch;
  EXPECT_EQ(walkMetadata(handle), WBX_OK);
  EXPECT_LT(watch.seconds(), kMostSeconds);
  EXPECT_EQ(WBX_Close(handle), WBX_OK);
}

TEST(Proportion, MetadataInAnyOrder) {
  const Bytes file = parse::codestream(
      {}, {}, segment(0x64, {0, 1, 'a'}) + segment(0x64, {0, 1, 'b'}) + segment(0x64, {0, 1, 'c'}));
  const WBX_Handle handle = openBytes(file);
  ASSERT_NE(handle, nullptr);
  for (const i32 wanted : {2, 0, 1, 1, 2, 3, 0, -1, 1, 0x7FFFFFFF, 2}) {
    i32 index = wanted;
    u32 kind = 0, length = 0;
    const void* data = &kind;
    EXPECT_EQ(WBX_GetMetaData(handle, &index, &kind, &data, &length), WBX_OK);
    if (wanted < 0 || wanted > 2) {
      EXPECT_EQ(data, nullptr);
    } else {
      EXPECT_EQ(*static_cast<const char*>(data), 'a' + wanted);
    }
  }
  EXPECT_EQ(WBX_Close(handle), WBX_OK);
}

}  // namespace
}  // namespace wbx::test::robust
