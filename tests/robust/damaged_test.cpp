// Files that are cut off anywhere, files with one wrong bit, and step sizes that nothing can hold.
#include <algorithm>
#include <filesystem>
#include <gtest/gtest.h>

#include "robust/support.h"

namespace wbx::test {
namespace {

// Of what ought to be tried, every so much is; odd, so that no bit of a byte is always missed.
size_t strideOf(size_t tries, size_t affordable) {
  return (tries / affordable) | 1;
}

size_t endOfCodestream(const Bytes& file) {
  return static_cast<size_t>(std::find_end(file.begin(), file.end(), kEoc.begin(), kEoc.end()) -
                             file.begin()) +
         2;
}

int32_t codeOf(Source& source) {
  const int32_t code = source.open() == nullptr ? WBX_getLastError() : WBX_OK;
  if (code == WBX_OK) {
    EXPECT_EQ(source.close(), WBX_OK);
  }
  return code;
}

TEST(Truncations, OpenNowhereBeforeTheEndOfTheCodestream) {
  for (const NamedFile& file : smallFiles()) {
    const size_t end = endOfCodestream(file.bytes);
    for (size_t left = 1; left < end; left += strideOf(end, 1500)) {
      // A copy of its own, so that a sanitizer sees a step behind it.
      const Bytes cut(file.bytes.begin(), file.bytes.begin() + static_cast<std::ptrdiff_t>(left));
      for (const Way way : kWays) {
        Source source(cut, way);
        EXPECT_TRUE(blamesTheImage(codeOf(source))) << file.name << " cut to " << left;
      }
    }
  }
}

// Behind the codestream a box that is passed over, a text or a palette may be cut off; what came is
// kept, and the entry has its full length. A URL and a UUID box must be whole.
TEST(Truncations, BehindTheCodestream) {
  const Bytes file = dataFile("all_boxes.jp2");
  size_t box = endOfCodestream(file), next = box;
  for (size_t left = box; left < file.size(); ++left) {
    if (next <= left) box = next, next += size_t{file[next + 2]} << 8 | file[next + 3];
    const std::string type(file.begin() + static_cast<std::ptrdiff_t>(box) + 4,
                           file.begin() + static_cast<std::ptrdiff_t>(box) + 8);
    const bool inside = next > left && box + 8 <= left;
    const Bytes cut(file.begin(), file.begin() + static_cast<std::ptrdiff_t>(left));
    Source source(cut, Way::kPipe);
    EXPECT_EQ(codeOf(source),
              inside && (type == "url " || type == "uuid") ? WBX_ERROR_READ : WBX_OK)
        << type << " cut to " << left;
  }
}

void tryEverything(WBX_Handle handle) {
  EXPECT_EQ(walkMetadata(handle), WBX_OK);
  WBX_ImageInfoEx info = {};
  EXPECT_EQ(WBX_GetInfoEx(handle, &info), WBX_OK);
  // A flipped size may ask for gigabytes; such a picture is the caller's decision.
  uint32_t width = info.width, height = info.height;
  int32_t level = 0;
  while (uint64_t{width} * height > 1u << 18)
    if (WBX_GetResolutionDimensions(handle, ++level, &width, &height) != WBX_OK) return;
  const std::string options = "res_level=" + std::to_string(level);
  const int32_t code = decode(handle, options.c_str()).code;
  EXPECT_TRUE(code == WBX_OK || code == WBX_ERROR_MEMORY) << code;
  EXPECT_EQ(decodeInternal(handle, (options + ",video=1,bmp").c_str()).code, code);
}

int flipBits(size_t affordable) {
  int opened = 0;
  for (const NamedFile& file : smallFiles()) {
    const size_t bits = file.bytes.size() * 8;
    Bytes flipped = file.bytes;
    for (size_t bit = 0; bit < bits; bit += strideOf(bits, affordable)) {
      SCOPED_TRACE(file.name + ", bit " + std::to_string(bit));
      const auto mask = static_cast<uint8_t>(0x80 >> (bit & 7));
      flipped[bit >> 3] ^= mask;
      for (const Way way : {Way::kMemory, (bit & 8) != 0 ? Way::kSeekable : Way::kPipe}) {
        Source source(flipped, way);
        if (source.open() == nullptr) {
          EXPECT_TRUE(blamesTheImage(WBX_getLastError())) << WBX_getLastError();
        } else {
          ++opened;
          tryEverything(source.handle);
        }
      }
      flipped[bit >> 3] ^= mask;
    }
  }
  return opened;
}

// With the log as well: nothing that a file says may break it.
TEST(BitFlips, OpenOrNotAndDecodeWithoutAFault) {
  EXPECT_GT(flipBits(kSlow ? 300 : 1200), 0);
  ASSERT_EQ(WBX_StartLogging(0, 0), WBX_OK);
  EXPECT_GT(flipBits(20), 0);
  WBX_StopLogging();
  EXPECT_GT(std::filesystem::file_size("wbx-codec.log"), 10000u);
  std::filesystem::remove("wbx-codec.log");
}

// Step sizes of any exponent make numbers that no lane, sample or integer can hold.
TEST(HostileQuantization, DecodesToSomething) {
  for (const char* name : {"irr_bits_12.j2k", "irr_bits_12_plain.j2k", "irr_bits_16_extremes.j2k",
                           "irr_bits_12_422.j2k", "irr_rgb.j2k", "irr_roi.j2k", "irr_420.j2k"}) {
    Bytes file = dataFile(name);
    const Bytes marker = {0xFF, 0x5C};
    const auto qcd = std::search(file.begin(), file.end(), marker.begin(), marker.end());
    for (const int guard : {0, 0x40, 0xE0}) {
      for (const int step : {0, 0x07, 0x58, 0xFF}) {
        qcd[4] = static_cast<uint8_t>((qcd[4] & 0x1F) | guard);
        std::fill(qcd + 5, qcd + 2 + qcd[3], static_cast<uint8_t>(step));
        Source source(file, Way::kMemory);
        ASSERT_NE(source.open(), nullptr) << name;
        for (const char* options : {"", "video=1", "bpp=8,video=1,nomct", "res_level=99"})
          EXPECT_EQ(decode(source.handle, options, 0x5A).code, WBX_OK) << name << options;
      }
    }
  }
}

}  // namespace
}  // namespace wbx::test
