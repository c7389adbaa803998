// Damaged and unsupported files are refused with the code that tells why, whatever they come
// through.
#include <gtest/gtest.h>

#include "support/image.h"
#include "support/manifest.h"

namespace wbx::test {
namespace {

class RefusedFile : public testing::TestWithParam<Refused> {};

TEST_P(RefusedFile, GivesItsCodeByEveryWay) {
  for (const Way way : kAllWays) {
    const Image image = Image::open(dataPath(GetParam().file), way);
    EXPECT_FALSE(image) << nameOf(way);
    EXPECT_EQ(image.error(), GetParam().code) << nameOf(way);
  }
}

INSTANTIATE_TEST_SUITE_P(Files, RefusedFile, testing::ValuesIn(refusedFiles()),
                         [](const auto& item) { return testName(item.param.file); });

TEST(Refusing, CoversEveryCodeThatAnOpenGivesForAFile) {
  for (const int32_t code : {2, 3, 4, 13, 14, 15, 16, 17, 18, 19, 20, 21, 22, 24, 25, 26}) {
    bool found = false;
    for (const Refused& entry : refusedFiles()) found = found || entry.code == code;
    EXPECT_TRUE(found) << code;
  }
}

TEST(Refusing, TellsMissingFilesFromMissingArguments) {
  EXPECT_EQ(Image::openFile(dataPath("no such file.jp2")).error(), WBX_ERROR_OPEN);
  EXPECT_EQ(WBX_OpenFile(nullptr), nullptr);
  EXPECT_EQ(WBX_getLastError(), WBX_ERROR_ARGUMENT);
  EXPECT_EQ(Image::openMemory({}).error(), WBX_ERROR_ARGUMENT);
  EXPECT_EQ(Image::openMemory({0xFF}).error(), WBX_ERROR_READ);
}

TEST(Refusing, ClosesTheSourceOfAFailedOpen) {
  ByteSource source(readFile(dataPath("bad_signed.j2k")), ByteSource::Seeking::kWorks);
  EXPECT_FALSE(Image::openSource(source));
  EXPECT_EQ(source.closes, 1);
}

class CutFile : public testing::TestWithParam<const char*> {};

// Every beginning of a file, up to the last byte of its EOC, is refused.
TEST_P(CutFile, NeverOpens) {
  const Bytes whole = readFile(dataPath(GetParam()));
  ASSERT_TRUE(Image::openMemory(whole));
  for (size_t length = 1; length < whole.size(); ++length) {
    const Bytes cut(whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(length));
    const Image image = Image::openMemory(cut);
    ASSERT_FALSE(image) << length << " of " << whole.size() << " bytes";
    // The components that a cut SIZ does not tell any more have another precision than the first.
    const int32_t code = image.error();
    ASSERT_TRUE(code == WBX_ERROR_CORRUPT || code == WBX_ERROR_READ ||
                code == WBX_ERROR_NOT_PART1 || code == WBX_ERROR_PRECISION)
        << "code " << code << " at " << length;
    ByteSource source(cut, ByteSource::Seeking::kAbsent);
    ASSERT_FALSE(Image::openSource(source)) << length << " bytes, streaming";
  }
}

INSTANTIATE_TEST_SUITE_P(Files, CutFile,
                         testing::Values("grey_noise.j2k", "jp2_grey.jp2", "tiles_odd_column.j2k",
                                         "mode_all.j2k", "sop_eph_layers.j2k", "grey_2x3.j2k",
                                         "parts_plt_tlm.j2k", "bits_16_rgb.j2k"),
                         [](const auto& item) { return testName(item.param); });

// Any single damaged byte either is refused or decodes within its buffer.
TEST(DamagedFile, StaysWithinItsBuffer) {
  for (const char* file : {"rgb_noise.j2k", "mode_all_layers.j2k", "metadata.jp2", "chroma_422.j2k",
                           "irr_bits_12_tiles.j2k", "order_pcrl_420.j2k"}) {
    const Bytes whole = readFile(dataPath(file));
    for (size_t at = 0; at < whole.size(); at += at < 150 ? 1 : 13) {
      Bytes damaged = whole;
      damaged[at] = static_cast<uint8_t>(damaged[at] ^ (1u << (at % 8)));
      const Image image = Image::openMemory(damaged);
      if (!image || image.neededSize("", 0) > 1u << 22) continue;
      const Picture picture = image.decode();
      ASSERT_TRUE(picture.guardsIntact) << file << ", byte " << at;
      ASSERT_NE(picture.code, WBX_ERROR_INTERNAL) << file << ", byte " << at;
    }
  }
}

}  // namespace
}  // namespace wbx::test
