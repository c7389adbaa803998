// Comments and boxes reach the application as they stand in the file.
#include <gtest/gtest.h>
#include <string_view>

#include "support/crc32.h"
#include "support/image.h"
#include "support/manifest.h"

namespace wbx::test {
namespace {

struct Entry {
  uint32_t kind;
  Bytes data;
};

std::vector<Entry> entriesOf(const Image& image) {
  std::vector<Entry> entries;
  int32_t index = 0;
  while (true) {
    uint32_t kind = 0, length = 0;
    const void* data = nullptr;
    if (WBX_GetMetaData(image.handle(), &index, &kind, &data, &length) != WBX_OK) break;
    if (data == nullptr) break;
    const auto* bytes = static_cast<const uint8_t*>(data);
    entries.push_back({kind, Bytes(bytes, bytes + length)});
  }
  return entries;
}

TEST(Metadata, HoldsWhatEachFileCarriesInItsOrder) {
  for (const Accepted& file : acceptedFiles()) {
    for (const Way way : kAllWays) {
      SCOPED_TRACE(file.file + ", " + nameOf(way));
      const Image image = Image::open(dataPath(file.file), way);
      ASSERT_TRUE(image) << image.error();
      const auto facts = metadataFacts().find(file.file);
      const std::vector<MetadataFact> expected =
          facts == metadataFacts().end() ? std::vector<MetadataFact>{} : facts->second;
      const std::vector<Entry> entries = entriesOf(image);
      ASSERT_EQ(entries.size(), expected.size());
      for (size_t i = 0; i < entries.size(); ++i) {
        EXPECT_EQ(entries[i].kind, expected[i].kind) << i;
        EXPECT_EQ(entries[i].data.size(), expected[i].length) << i;
        EXPECT_EQ(crc32(entries[i].data), expected[i].crc) << i;
      }
    }
  }
}

TEST(Metadata, TextEndsWithAZeroBehindItsLength) {
  const Image image = Image::openFile(dataPath("metadata.jp2"));
  int32_t index = 4;
  uint32_t kind = 99, length = 0;
  const void* data = nullptr;
  ASSERT_EQ(WBX_GetMetaData(image.handle(), &index, &kind, &data, &length), WBX_OK);
  EXPECT_EQ(index, 5);
  EXPECT_EQ(kind, 0u);
  EXPECT_EQ(std::string_view(static_cast<const char*>(data)), "made for a test");
}

TEST(Metadata, RunsOffItsEndWithoutAnError) {
  const Image image = Image::openFile(dataPath("grey_noise.j2k"));
  int32_t index = 0;
  for (int32_t call = 1; call <= 3; ++call) {
    uint32_t kind = 77, length = 78;
    const void* data = &index;
    EXPECT_EQ(WBX_GetMetaData(image.handle(), &index, &kind, &data, &length), WBX_OK);
    EXPECT_EQ(data, nullptr);
    EXPECT_EQ(kind, 77u);
    EXPECT_EQ(length, 78u);
    EXPECT_EQ(index, call);
  }
}

TEST(Metadata, StaysAfterDecodes) {
  const Image image = Image::openFile(dataPath("metadata.jp2"));
  const std::vector<Entry> before = entriesOf(image);
  image.decode();
  image.decodeInternal("rl=1");
  const std::vector<Entry> after = entriesOf(image);
  ASSERT_EQ(before.size(), after.size());
  for (size_t i = 0; i < before.size(); ++i) EXPECT_EQ(before[i].data, after[i].data);
}

}  // namespace
}  // namespace wbx::test
