// Files of about a kilobyte that announce far more: what an open of them costs.
#include <ctime>
#include <fstream>
#include <gtest/gtest.h>

#include "robust/support.h"

namespace wbx::test {
namespace {

constexpr double kMostSeconds = 10;
constexpr int64_t kFixed = int64_t{8} << 20;

struct Cost {
  int32_t code = WBX_OK;
  int64_t requested = 0;  // bytes, without those that come as zero pages
  int64_t zeroPages = 0;
  int64_t resident = 0;
  double seconds = 0;  // of the processor: a machine with other work is no slower by it
};

// In pages of 4096 bytes; 0 on a system that does not tell.
int64_t residentPages() {
  std::ifstream statm("/proc/self/statm");
  int64_t total = 0, resident = 0;
  statm >> total >> resident;
  return resident;
}

double secondsSince(std::clock_t start) {
  return static_cast<double>(std::clock() - start) / CLOCKS_PER_SEC;
}

Cost costOfOpen(const Bytes& file) {
  const CountedMemory memory(CountedMemory::kNever, false, false);
  const int64_t before = residentPages();
  const std::clock_t start = std::clock();
  Source source(file, Way::kMemory);
  Cost cost;
  cost.code = source.open() == nullptr ? WBX_getLastError() : WBX_OK;
  cost.seconds = secondsSince(start);
  cost.resident = kSlow ? 0 : (residentPages() - before) * 4096;
  cost.requested = memory.bytes();
  cost.zeroPages = memory.zeroedBytes();
  if (cost.code == WBX_OK) {
    EXPECT_EQ(source.close(), WBX_OK);
  }
  EXPECT_EQ(memory.alive(), 0);
  EXPECT_LT(cost.seconds, kMostSeconds);
  return cost;
}

// A fixed part, and so much for each byte.
void expectInProportion(const Bytes& file, int32_t code) {
  const Cost cost = costOfOpen(file);
  const int64_t most = kFixed + 1500 * static_cast<int64_t>(file.size());
  EXPECT_EQ(cost.code, code);
  EXPECT_LT(cost.requested, most);
  EXPECT_LT(cost.resident, most);
}

Bytes repeated(const Bytes& bytes, int times) {
  Bytes result;
  for (int i = 0; i < times; ++i) result.insert(result.end(), bytes.begin(), bytes.end());
  return result;
}

// 24 resolutions of the smallest precincts and blocks, 65535 layers.
Bytes deepHeader(uint8_t progression, const Grid& grid) {
  const Bytes coding = {1, progression, 0xFF, 0xFF, 0, 23, 0, 0, 0, 1};
  return siz(grid) + segment(0x52, coding + Bytes(24, 0x11)) + segment(0x5C, Bytes(1 + 70, 0x40));
}

const Grid kHuge = {.x1 = 0xFFFF, .y1 = 0xFFFF, .tile = 0xFFFF, .components = 4};

TEST(Proportion, TileGrids) {
  const auto grid = [](uint32_t side) { return simpleStream({.x1 = side, .y1 = side, .tile = 1}); };
  expectInProportion(grid(0xFFFF), WBX_ERROR_CORRUPT);
  expectInProportion(grid(40000), WBX_ERROR_MEMORY);
  expectInProportion(grid(4096), WBX_OK);

  // No query looks at each tile.
  const Bytes file = grid(4096);
  Source source(file, Way::kMemory);
  ASSERT_NE(source.open(), nullptr);
  const std::clock_t start = std::clock();
  for (int round = 0; round < 20; ++round) {
    int32_t count = 0;
    uint32_t width = 0, height = 0;
    EXPECT_EQ(WBX_SelectTiles(source.handle, 0, -1, 1), WBX_OK);
    EXPECT_EQ(WBX_GetResolutions(source.handle, &count), WBX_OK);
    EXPECT_EQ(WBX_SelectTiles(source.handle, 1, -1, 0), WBX_OK);
    EXPECT_EQ(WBX_GetResolutionDimensions(source.handle, 0, &width, &height), WBX_OK);
    EXPECT_EQ(width * height, 1u);
    EXPECT_EQ(decode(source.handle).bytes.size(), 1u);
  }
  EXPECT_LT(secondsSince(start), 1);
}

TEST(Proportion, TreesThatNoPacketFills) {
  for (uint8_t progression = 0; progression < 5; ++progression) {
    SCOPED_TRACE(int{progression});
    const Bytes header = deepHeader(progression, kHuge);
    const auto stream = [&](uint32_t length, size_t bytes, uint8_t content) {
      return header + sot(0, length) + kSod + Bytes(bytes, content) + kEoc;
    };
    expectInProportion(stream(14, 0, 0), WBX_OK);
    expectInProportion(stream(14 + 700, 700, 0), WBX_OK);
    for (const uint8_t content : {uint8_t{0xFF}, uint8_t{0x80}, uint8_t{0xC0}, uint8_t{0xA5}})
      EXPECT_LT(costOfOpen(stream(0, 700, content)).requested, 10 << 20);
    // A picture of one sample has nothing in 23 of its 24 resolutions; one whose sub-sampling
    // leaves no sample has nothing at all.
    const Bytes one =
        deepHeader(progression, {.x1 = 2, .y1 = 2, .x0 = 1, .y0 = 1, .components = 4});
    expectInProportion(one + sot(0, 14 + 800) + kSod + Bytes(800, 0) + kEoc, WBX_OK);
    expectInProportion(one + sot(0, 0) + kSod + Bytes(800, 0) + kEoc, WBX_ERROR_READ);
    const Bytes none = deepHeader(progression, {.x1 = 2, .y1 = 2, .x0 = 1, .y0 = 1, .step = 2});
    costOfOpen(none + sot(0, 0) + kSod + Bytes(70000, 0) + kEoc);
  }
}

// A tile each for 14 bytes, for 15 with an empty packet, and for 50 with content.
TEST(Proportion, ManyTiles) {
  for (const uint8_t progression : {uint8_t{0}, uint8_t{3}}) {
    Grid grid = kHuge;
    grid.tile = 257;
    for (const Bytes& content : {Bytes(), Bytes(1, 0), Bytes(36, 0x80)}) {
      Bytes file = deepHeader(progression, grid);
      for (uint32_t i = 0; i < 60; ++i)
        file = file + sot(i, 14 + static_cast<uint32_t>(content.size())) + kSod + content;
      EXPECT_LT(costOfOpen(file + kEoc).requested,
                kFixed + 1500 * static_cast<int64_t>(file.size()));
    }
  }
}

// A text or palette behind the codestream may be cut off, and its entry has the length that its
// box claims all the same, in pages that nobody touched.
TEST(Proportion, BoxesThatClaimWhatIsNotThere) {
  const Bytes jp2 = box("jP  ", {0x0D, 0x0A, 0x87, 0x0A}) +
                    box("ftyp", {'j', 'p', '2', ' ', 0, 0, 0, 0, 'j', 'p', '2', ' '});
  const Bytes image = box("jp2c", simpleStream({}));
  for (const char* type : {"xml ", "pclr", "url ", "uuid", "cdef", "free", "jp2h", "colr"}) {
    for (const uint32_t length : {0x7FFFFFF8u, 0x7FFFFFFFu, 0x80000000u, 0xFFFFFFFFu}) {
      // The shadow of so much memory takes a sanitizer seconds.
      if (kSlow && length != 0x7FFFFFF8u) continue;
      SCOPED_TRACE(std::string(type) + " of " + std::to_string(length));
      const Bytes claim = box(type, Bytes(900, 2), length);
      for (const Bytes& file : {jp2 + image + claim, jp2 + claim + image}) {
        const Cost cost = costOfOpen(file);
        EXPECT_LT(cost.requested, 1 << 20);
        EXPECT_LE(cost.zeroPages, (int64_t{1} << 31) + 8);
        EXPECT_LT(cost.resident, 4 << 20);
      }
    }
  }
  const Bytes text = jp2 + image + box("xml ", {'<', 'a', '/', '>'}, 0x10000008);
  Source source(text, Way::kMemory);
  ASSERT_NE(source.open(), nullptr);
  int32_t index = 0;
  uint32_t kind = 0, length = 0;
  const void* data = nullptr;
  EXPECT_EQ(WBX_GetMetaData(source.handle, &index, &kind, &data, &length), WBX_OK);
  ASSERT_EQ(length, 0x10000000u);
  EXPECT_STREQ(static_cast<const char*>(data), "<a/>");
  EXPECT_EQ(static_cast<const char*>(data)[length], 0);
}

TEST(Proportion, CommentsByTheThousand) {
  const Bytes comments = simpleStream({}, repeated(segment(0x64, {0, 1}), 100000));
  expectInProportion(comments, WBX_OK);
  Source source(comments, Way::kMemory);
  ASSERT_NE(source.open(), nullptr);
  const std::clock_t start = std::clock();
  EXPECT_EQ(walkMetadata(source.handle), WBX_OK);
  EXPECT_LT(secondsSince(start), kMostSeconds);
}

}  // namespace
}  // namespace wbx::test
