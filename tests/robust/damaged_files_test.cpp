// Files that are cut off anywhere, and files with one wrong bit.
#include <filesystem>
#include <gtest/gtest.h>

#include "parse/bytes.h"
#include "robust/support.h"

namespace wbx::test::robust {
namespace {

// Of what ought to be tried, every so much is; a prime, so that no bit of a byte is always missed.
size_t strideOf(size_t tries, size_t affordable) {
  static constexpr size_t kPrimes[] = {1,  3,  5,  7,  11, 13,  17,  23,
                                       31, 41, 53, 71, 97, 131, 173, 229};
  if (fullRun()) return 1;
  for (const size_t prime : kPrimes) {
    if (tries / prime <= affordable) return prime;
  }
  return kPrimes[std::size(kPrimes) - 1];
}

// Where the codestream of a small file ends.
size_t endOfCodestream(const NamedFile& file) {
  if (file.name != "all_boxes.jp2") return file.bytes.size();
  size_t behind = 0;
  (void)fileOfAllBoxes(&behind);
  return behind;
}

i32 openCode(WBX_Handle handle) {
  if (handle == nullptr) return WBX_getLastError();
  EXPECT_EQ(WBX_Close(handle), WBX_OK);
  return WBX_OK;
}

bool blamesTheImage(i32 code) {
  return code == WBX_ERROR_MEMORY || code == WBX_ERROR_CORRUPT || code == WBX_ERROR_READ ||
         (code >= WBX_ERROR_NOT_PART1 && code <= WBX_ERROR_BOX);
}

TEST(Truncations, OpenNowhereBeforeTheEndOfTheCodestream) {
  i64 tries = 0;
  for (const NamedFile& file : allSmallFiles()) {
    const size_t end = endOfCodestream(file);
    const size_t stride = strideOf(end, 1500);
    for (size_t left = 1; left < end; left += stride) {
      // A copy of its own, so that a sanitizer sees a step behind it.
      const Bytes cut(file.bytes.begin(), file.bytes.begin() + static_cast<std::ptrdiff_t>(left));
      for (const int way : {0, 1, 2}) {
        Source source(cut, way == 1);
        const i32 code = openCode(way == 0 ? openBytes(cut) : source.open());
        EXPECT_TRUE(blamesTheImage(code)) << file.name << " cut to " << left << ": " << code;
        ++tries;
      }
    }
  }
  RecordProperty("tries", std::to_string(tries));
}

// Behind the codestream a box that is passed over, a text or a palette may be cut off; what came is
// kept, and the entry has its full length. A URL and a UUID box must be whole.
TEST(Truncations, BehindTheCodestream) {
  size_t end = 0;
  const Bytes file = fileOfAllBoxes(&end);
  for (size_t left = end; left < file.size(); ++left) {
    const Bytes cut(file.begin(), file.begin() + static_cast<std::ptrdiff_t>(left));
    size_t box = end, next = end;
    std::string type;
    while (next <= left) {
      box = next;
      if (box + 8 > left) break;
      type.assign(file.begin() + static_cast<std::ptrdiff_t>(box) + 4,
                  file.begin() + static_cast<std::ptrdiff_t>(box) + 8);
      next = box + file[box + 3];
    }
    const bool inside = next > left && box + 8 <= left;
    Source source(cut, false);
    const i32 code = openCode(source.open());
    const i32 expected = inside && (type == "url " || type == "uuid") ? WBX_ERROR_READ : WBX_OK;
    EXPECT_EQ(code, expected) << type << " cut to " << left;
  }
}

void tryEverything(WBX_Handle handle) {
  EXPECT_EQ(walkMetadata(handle), WBX_OK);
  WBX_ImageInfoEx info = {};
  EXPECT_EQ(WBX_GetInfoEx(handle, &info), WBX_OK);
  i32 resolutions = 0;
  EXPECT_EQ(WBX_GetResolutions(handle, &resolutions), WBX_OK);
  // A flipped size may ask for gigabytes; such a picture is the caller's decision.
  constexpr u32 kMostPixels = 1u << 18;
  i32 level = 0;
  u32 width = info.width, height = info.height;
  while (u64{width} * height > kMostPixels && level + 1 < resolutions)
    EXPECT_EQ(WBX_GetResolutionDimensions(handle, ++level, &width, &height), WBX_OK);
  if (u64{width} * height > kMostPixels) return;
  const std::string options = "res_level=" + std::to_string(level);
  const i32 code = decodeExternal(handle, options.c_str()).code;
  EXPECT_TRUE(code == WBX_OK || code == WBX_ERROR_MEMORY) << code;
  EXPECT_EQ(decodeInternal(handle, (options + ",video=1,bmp").c_str()).code, code);
}

TEST(BitFlips, OpenOrNotAndDecodeWithoutAFault) {
  i64 tries = 0, opened = 0;
  for (const NamedFile& file : allSmallFiles()) {
    const size_t bits = file.bytes.size() * 8;
    const size_t stride = strideOf(bits, kSlow ? 300 : 1200);
    Bytes flipped = file.bytes;
    for (size_t bit = 0; bit < bits; bit += stride) {
      SCOPED_TRACE(file.name + ", bit " + std::to_string(bit));
      const u8 mask = static_cast<u8>(0x80 >> (bit & 7));
      flipped[bit >> 3] ^= mask;
      Source source(flipped, (bit & 8) != 0);
      for (const bool custom : {false, true}) {
        const WBX_Handle handle = custom ? source.open() : openBytes(flipped);
        ++tries;
        if (handle == nullptr) {
          EXPECT_TRUE(blamesTheImage(WBX_getLastError())) << WBX_getLastError();
          continue;
        }
        ++opened;
        tryEverything(handle);
        EXPECT_EQ(WBX_Close(handle), WBX_OK);
      }
      flipped[bit >> 3] ^= mask;
    }
  }
  EXPECT_GT(opened, 0);
  RecordProperty("tries", std::to_string(tries));
  RecordProperty("opened", std::to_string(opened));
}

// The log shows what the file says; nothing that it says may break the log.
TEST_F(InAFolderOfItsOwn, BitFlipsAreLogged) {
  ASSERT_EQ(WBX_StartLogging(0, 0), WBX_OK);
  for (const NamedFile& file : allSmallFiles()) {
    const size_t bits = file.bytes.size() * 8;
    const size_t stride = strideOf(bits, 40);
    Bytes flipped = file.bytes;
    for (size_t bit = 0; bit < bits; bit += stride) {
      const u8 mask = static_cast<u8>(0x80 >> (bit & 7));
      flipped[bit >> 3] ^= mask;
      const WBX_Handle handle = openBytes(flipped);
      if (handle != nullptr) {
        tryEverything(handle);
        EXPECT_EQ(WBX_Close(handle), WBX_OK);
      }
      flipped[bit >> 3] ^= mask;
    }
  }
  const Bytes coc = parse::codestream({}, {.scod = 0, .levels = 0},
                                      parse::segment(0x53, {0, 1, 0, 4, 4, 0x36, 1, 0xFF}));
  EXPECT_EQ(openCode(openBytes(coc)), WBX_OK);
  WBX_StopLogging();
  EXPECT_GT(std::filesystem::file_size("wbx-codec.log"), 10000u);
}

// Step sizes of any exponent make numbers that no lane, sample or integer can hold.
TEST(HostileQuantization, DecodesToSomething) {
  for (const char* name :
       {"irr_bits_12.j2k", "irr_bits_12_plain.j2k", "irr_bits_16_extremes.j2k", "irr_bits_16.j2k",
        "irr_bits_12_422.j2k", "irr_rgb.j2k", "irr_roi.j2k", "irr_420.j2k", "bits_12_422.j2k"}) {
    Bytes file = dataFile(name);
    size_t qcd = 0;
    while (file[qcd] != 0xFF || file[qcd + 1] != 0x5C) ++qcd;
    const size_t end = qcd + 2 + file[qcd + 3];
    for (const u8 guard : {u8{0}, u8{0x40}, u8{0xE0}}) {
      for (const u8 step : {u8{0}, u8{0x07}, u8{0x58}, u8{0xFF}}) {
        file[qcd + 4] = static_cast<u8>((file[qcd + 4] & 0x1F) | guard);
        for (size_t at = qcd + 5; at < end; ++at) file[at] = step;
        const WBX_Handle handle = openBytes(file);
        ASSERT_NE(handle, nullptr) << name;
        for (const char* options :
             {"", "video=1", "res_level=1", "bpp=8,video=1,nomct", "res_level=99"})
          EXPECT_EQ(decodeExternal(handle, options, 0x5A).code, WBX_OK) << name << options;
        EXPECT_EQ(decodeInternal(handle).code, WBX_OK);
        EXPECT_EQ(WBX_Close(handle), WBX_OK);
      }
    }
  }
}

}  // namespace
}  // namespace wbx::test::robust
