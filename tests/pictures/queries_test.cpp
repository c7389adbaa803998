// What the query functions tell about each file.
#include <algorithm>
#include <cstring>
#include <gtest/gtest.h>

#include "support/image.h"
#include "support/manifest.h"

namespace wbx::test {
namespace {

uint32_t reduced(uint32_t from, uint32_t to, uint32_t levels) {
  for (; levels > 0; --levels) from = (from + 1) / 2, to = (to + 1) / 2;
  return to - from;
}

class Queries : public testing::TestWithParam<Accepted> {};

TEST_P(Queries, TellSizeTilesAndPrecision) {
  const Accepted& entry = GetParam();
  const Image image = Image::open(dataPath(entry.file), Way::kFile);
  ASSERT_TRUE(image) << image.error();
  uint32_t width = 0, height = 0, components = 0;
  ASSERT_EQ(WBX_GetInfo(image.handle(), &width, &height, &components), WBX_OK);
  EXPECT_EQ(width, entry.width());
  EXPECT_EQ(height, entry.height());
  EXPECT_EQ(components, entry.components);
  WBX_ImageInfoEx info = {};
  ASSERT_EQ(WBX_GetInfoEx(image.handle(), &info), WBX_OK);
  EXPECT_EQ(info.version, WBX_getVersion());
  EXPECT_EQ(info.width, entry.width());
  EXPECT_EQ(info.height, entry.height());
  EXPECT_EQ(info.components, entry.components);
  EXPECT_EQ(info.flags, (entry.boxed ? 1u : 0u) | (entry.reversible ? 2u : 0u));
  EXPECT_EQ(info.tilesAcross, entry.tilesAcross());
  EXPECT_EQ(info.tilesDown, entry.tilesDown());
  EXPECT_EQ(info.precision, static_cast<uint32_t>(entry.precision));
}

TEST_P(Queries, TellEachResolution) {
  const Accepted& entry = GetParam();
  const Image image = Image::open(dataPath(entry.file), Way::kMemory);
  ASSERT_TRUE(image) << image.error();
  int32_t count = 0;
  ASSERT_EQ(WBX_GetResolutions(image.handle(), &count), WBX_OK);
  ASSERT_EQ(count, static_cast<int32_t>(entry.levels) + 1);
  for (int32_t level = -1; level <= count; ++level) {
    uint32_t width = 0, height = 0;
    const int32_t code = WBX_GetResolutionDimensions(image.handle(), level, &width, &height);
    EXPECT_EQ(code, level < count ? WBX_OK : WBX_ERROR_RESOLUTION);
    const auto used = static_cast<uint32_t>(std::clamp(level, 0, count - 1));
    EXPECT_EQ(width, reduced(entry.image[0], entry.image[2], used)) << level;
    EXPECT_EQ(height, reduced(entry.image[1], entry.image[3], used)) << level;
  }
}

INSTANTIATE_TEST_SUITE_P(Files, Queries, testing::ValuesIn(acceptedFiles()),
                         [](const auto& item) { return testName(item.param.file); });

TEST(QueryArguments, EachOutputOfGetInfoIsOptional) {
  const Image image = Image::openFile(dataPath("two_components.j2k"));
  uint32_t height = 0;
  EXPECT_EQ(WBX_GetInfo(image.handle(), nullptr, &height, nullptr), WBX_OK);
  EXPECT_EQ(height, 17u);
  EXPECT_EQ(WBX_GetInfo(image.handle(), nullptr, nullptr, nullptr), WBX_OK);
}

TEST(QueryArguments, MissingOnesAreRefused) {
  const Image image = Image::openFile(dataPath("two_components.j2k"));
  uint32_t size = 0;
  int32_t index = 0;
  const void* data = nullptr;
  EXPECT_EQ(WBX_GetInfo(nullptr, &size, &size, &size), WBX_ERROR_ARGUMENT);
  EXPECT_EQ(WBX_GetInfoEx(image.handle(), nullptr), WBX_ERROR_ARGUMENT);
  EXPECT_EQ(WBX_GetResolutions(image.handle(), nullptr), WBX_ERROR_ARGUMENT);
  EXPECT_EQ(WBX_GetResolutionDimensions(image.handle(), 0, nullptr, &size), WBX_ERROR_ARGUMENT);
  EXPECT_EQ(WBX_GetMetaData(image.handle(), &index, &size, nullptr, &size), WBX_ERROR_ARGUMENT);
  EXPECT_EQ(WBX_GetMetaData(nullptr, &index, &size, &data, &size), WBX_ERROR_ARGUMENT);
  EXPECT_EQ(WBX_SelectTiles(nullptr, 0, 0, 1), WBX_ERROR_ARGUMENT);
  EXPECT_EQ(WBX_Close(nullptr), WBX_ERROR_ARGUMENT);
  EXPECT_EQ(WBX_Decode(image.handle(), nullptr, &size, "", nullptr), WBX_ERROR_ARGUMENT);
  EXPECT_EQ(WBX_getLastError(), WBX_ERROR_ARGUMENT);
}

TEST(QueryArguments, MemoryThatIsNoHandleIsRefused) {
  alignas(16) char other[4096] = {};
  char before[sizeof other];
  std::memcpy(before, other, sizeof other);
  auto* handle = reinterpret_cast<WBX_Handle>(other);
  uint32_t size = 0;
  void* buffer = nullptr;
  EXPECT_EQ(WBX_GetInfo(handle, &size, &size, &size), WBX_ERROR_ARGUMENT);
  EXPECT_EQ(WBX_Decode(handle, &buffer, &size, "", nullptr), WBX_ERROR_ARGUMENT);
  EXPECT_EQ(std::memcmp(before, other, sizeof other), 0);
}

TEST(ResolutionDimensionsByOptions, ReadTheLevelFromTheText) {
  const Image image = Image::openFile(dataPath("rgb_transform.j2k"));
  uint32_t width = 0, height = 0;
  const auto query = [&](const char* options) {
    return WBX_GetResolutionDimensionsByStr(image.handle(), options, &width, &height);
  };
  EXPECT_EQ(query("bpp=4,rl=1"), WBX_OK);
  EXPECT_EQ(width, 27u);
  EXPECT_EQ(height, 19u);
  EXPECT_EQ(query("rl=2,unknown"), WBX_OK);
  EXPECT_EQ(width, 14u);
  EXPECT_EQ(query(nullptr), WBX_OK);
  EXPECT_EQ(width, 53u);
  EXPECT_EQ(query("res_level=99"), WBX_ERROR_RESOLUTION);
  EXPECT_EQ(width, 7u);
}

}  // namespace
}  // namespace wbx::test
