// Each decode option does what it says.
#include <algorithm>
#include <gtest/gtest.h>

#include "support/expected_picture.h"

namespace wbx::test {
namespace {

Picture decodeFile(const std::string& file, const std::string& options) {
  const Image image = Image::openFile(dataPath(file));
  EXPECT_TRUE(image) << file << " " << image.error();
  if (!image) return {};
  Picture picture = image.decode(options);
  EXPECT_EQ(picture.code, WBX_OK) << file << " " << options;
  EXPECT_TRUE(picture.guardsIntact) << file << " " << options;
  return picture;
}

int32_t codeOf(const std::string& file, const char* options) {
  const Image image = Image::openFile(dataPath(file));
  uint8_t dummy[16];
  void* buffer = dummy;
  uint32_t size = 1;
  return WBX_Decode(image.handle(), &buffer, &size, options, nullptr);
}

TEST(OptionText, UnknownWordsAreRefused) {
  for (const char* text : {"rgb", "bpp =4", "-rl=1", "sse", "bpp=4,unknown"})
    EXPECT_EQ(codeOf("rgb_noise.j2k", text), WBX_ERROR_OPTION) << text;
  for (const char* text : {"", " , ,", "NOMCT", "Bitmap=1", "BPP=4", "bpp= 4", "bpp=3x", "sse=1",
                           "mbaxyz", "video=0", "co=", "res_level=-1", "bpp=4 res_level=unknown"})
    EXPECT_EQ(codeOf("rgb_noise.j2k", text), WBX_ERROR_BUFFER_SIZE) << text;
}

TEST(OptionText, LeavesABufferAloneWhenRefused) {
  const Image image = Image::openFile(dataPath("rgb_noise.j2k"));
  GuardedBuffer buffer(24 * 18 * 3);
  void* data = buffer.data();
  uint32_t size = 24 * 18 * 3;
  EXPECT_EQ(WBX_Decode(image.handle(), &data, &size, "what", nullptr), WBX_ERROR_OPTION);
  EXPECT_TRUE(buffer.untouched());
}

TEST(Bpp, SpreadsThePixelsAndLeavesTheRestAlone) {
  const Planes source = sourcePlanes(accepted("rgb_noise.j2k"));
  for (const uint32_t bpp : {3u, 4u, 5u, 7u, 8u, 11u}) {
    SCOPED_TRACE(bpp);
    const Picture picture = decodeFile("rgb_noise.j2k", "bpp=" + std::to_string(bpp));
    ASSERT_EQ(picture.pitch, 24 * bpp);
    const PixelView view(picture, 1, bpp);
    EXPECT_EQ(firstDifference(source, view), std::nullopt);
    for (uint32_t k = 3; k < bpp; ++k)
      EXPECT_EQ(view.at(5, 4, k), k == 3 && bpp == 4 ? 255 : GuardedBuffer::kFill) << k;
  }
}

TEST(Bpp, SpreadsWordsToo) {
  const Planes source = sourcePlanes(accepted("bits_16_rgb.j2k"));
  for (const uint32_t bpp : {6u, 8u, 10u, 12u}) {
    SCOPED_TRACE(bpp);
    const Picture picture = decodeFile("bits_16_rgb.j2k", "bpp=" + std::to_string(bpp));
    ASSERT_EQ(picture.pitch, 19 * bpp);
    const PixelView view(picture, 2, bpp);
    EXPECT_EQ(firstDifference(source, view), std::nullopt);
  }
}

TEST(Bpp, TooSmallIsRefused) {
  EXPECT_EQ(codeOf("rgb_noise.j2k", "bpp=2"), WBX_ERROR_BPP);
  EXPECT_EQ(codeOf("rgb_noise.j2k", "bpp=-1"), WBX_ERROR_BPP);
  EXPECT_EQ(codeOf("bits_16.j2k", "bpp=1"), WBX_ERROR_BPP);
  EXPECT_EQ(codeOf("bits_16_rgb.j2k", "bpp=5"), WBX_ERROR_BPP);
}

TEST(CompOrder, RgbTurnsColoursRound) {
  for (const char* file : {"rgb_transform.j2k", "rgb_plain.j2k", "rgba_transform.j2k",
                           "rgba_plain.j2k", "bits_12.j2k", "bits_16_rgba.j2k"}) {
    const Accepted& entry = accepted(file);
    const Picture picture = decodeFile(file, "co=RGB");
    const uint32_t size = entry.bytesPerSample();
    const PixelView view(picture, size, entry.components * size);
    EXPECT_EQ(firstDifference(sourcePlanes(entry), view, true), std::nullopt) << file;
    EXPECT_EQ(decodeFile(file, "comp_order=RG").bytes, picture.bytes) << file;
    EXPECT_EQ(decodeFile(file, "co=rgb").bytes, decodeFile(file, "").bytes) << file;
  }
}

TEST(CompOrder, ChoosesTheChannelsOfGrey) {
  const Accepted& entry = accepted("grey_noise.j2k");
  const int32_t grey = sourcePlanes(entry).at(0, 3, 2);
  const int32_t none = GuardedBuffer::kFill;
  const auto pixel = [&](const char* options, uint32_t bpp) {
    const Picture picture = decodeFile(entry.file, options);
    const PixelView view(picture, 1, bpp);
    std::vector<int32_t> bytes;
    for (uint32_t k = 0; k < bpp; ++k) bytes.push_back(view.at(3, 2, k));
    return bytes;
  };
  using Values = std::vector<int32_t>;
  EXPECT_EQ(pixel("bpp=4", 4), (Values{grey, grey, grey, 255}));
  EXPECT_EQ(pixel("bpp=3", 3), (Values{grey, grey, grey}));
  EXPECT_EQ(pixel("bpp=4,co=ABCD", 4), (Values{grey, grey, grey, grey}));
  EXPECT_EQ(pixel("bpp=4,co=B00A", 4), (Values{grey, none, none, grey}));
  EXPECT_EQ(pixel("bpp=2,co=0X", 2), (Values{none, grey}));
  EXPECT_EQ(pixel("bpp=6", 6), (Values{grey, grey, grey, none, none, none}));
}

TEST(CompOrder, GreyWordsStandOnlyOnce) {
  const Picture picture = decodeFile("bits_16.j2k", "bpp=8,co=ABCD");
  const PixelView view(picture, 2, 8);
  EXPECT_EQ(view.at(3, 2, 0), sourcePlanes(accepted("bits_16.j2k")).at(0, 3, 2));
  for (uint32_t k = 1; k < 4; ++k) EXPECT_EQ(view.at(3, 2, k), GuardedBuffer::kFill * 0x101) << k;
}

class Multiplied : public testing::TestWithParam<const char*> {};

TEST_P(Multiplied, ColoursAreScaledByOpacity) {
  const Accepted& entry = accepted(GetParam());
  const int32_t opaque = entry.precision > 8 ? 65535 : 255;
  const int shift = entry.precision > 8 ? 16 : 8;
  Planes expected = sourcePlanes(entry);
  const uint32_t last = entry.components - 1;
  for (uint32_t c = 0; c < last; ++c)
    for (size_t i = 0; i < expected.samples[c].size(); ++i) {
      const int64_t a = expected.samples[last][i];
      if (a == 0 || a == opaque) continue;
      expected.samples[c][i] = static_cast<int32_t>((expected.samples[c][i] * a) >> shift);
    }
  const uint32_t size = entry.bytesPerSample();
  for (const char* options : {"mba", "mul_by_alpha=1"}) {
    const Picture picture = decodeFile(entry.file, options);
    const PixelView view(picture, size, entry.components * size);
    EXPECT_EQ(firstDifference(expected, view), std::nullopt) << options;
  }
  EXPECT_EQ(decodeFile(entry.file, "mba=0").bytes, decodeFile(entry.file, "").bytes);
}

INSTANTIATE_TEST_SUITE_P(Files, Multiplied,
                         testing::Values("rgba_plain.j2k", "rgba_transform.j2k",
                                         "two_components.j2k", "channels_opacity.jp2",
                                         "channels_grey_opacity.jp2", "bits_14.j2k",
                                         "bits_16_rgba.j2k"),
                         [](const auto& item) { return testName(item.param); });

TEST(MulByAlpha, DoesNothingWithoutOpacityOrWhenAlreadyDone) {
  for (const char* file : {"rgb_noise.j2k", "grey_noise.j2k", "channels_premultiplied.jp2"})
    EXPECT_EQ(decodeFile(file, "mba").bytes, decodeFile(file, "").bytes) << file;
}

TEST(Bitmap, StoresTheLastRowFirst) {
  for (const char* options : {"", "rl=1", "bpp=8", "video=1"}) {
    for (const char* file : {"grey_noise.j2k", "tiles_16.j2k", "tiles_odd_column_rgb.j2k",
                             "irr_tiles.j2k", "chroma_420_tiles.j2k", "bits_12_tiles.j2k"}) {
      SCOPED_TRACE(std::string(file) + " " + options);
      const Picture upright = decodeFile(file, options);
      const Picture turned = decodeFile(file, std::string(options) + ",bmp");
      ASSERT_EQ(upright.size, turned.size);
      ASSERT_EQ(upright.size % upright.pitch, 0u);
      for (uint32_t top = 0, end = upright.size; top < upright.size; top += upright.pitch) {
        end -= upright.pitch;
        ASSERT_TRUE(std::equal(upright.bytes.begin() + top,
                               upright.bytes.begin() + top + upright.pitch,
                               turned.bytes.begin() + end))
            << "row " << top / upright.pitch;
      }
    }
  }
}

TEST(Video, LeavesSmoothPicturesAlmostAlone) {
  for (const char* file : {"grey_levels1.j2k", "irr_grey.j2k", "bits_12.j2k"}) {
    const Picture full = decodeFile(file, "");
    const Picture spread = decodeFile(file, "video=1");
    ASSERT_EQ(full.size, spread.size);
    EXPECT_NE(full.bytes, spread.bytes) << file;
  }
  EXPECT_EQ(decodeFile("grey_levels0.j2k", "video").bytes, decodeFile("grey_levels0.j2k", "").bytes)
      << "a lowest resolution is always decoded";
  EXPECT_EQ(decodeFile("grey_noise.j2k", "video=0").bytes, decodeFile("grey_noise.j2k", "").bytes);
  EXPECT_EQ(decodeFile("grey_noise.j2k", "video=7").bytes, decodeFile("grey_noise.j2k", "").bytes);
  EXPECT_EQ(decodeFile("chroma_422.j2k", "video=1").bytes, decodeFile("chroma_422.j2k", "").bytes)
      << "on by itself for half-width chroma";
  EXPECT_NE(decodeFile("chroma_422.j2k", "video=0").bytes, decodeFile("chroma_422.j2k", "").bytes);
}

TEST(Video, SpreadsAFlatPictureFlat) {
  EXPECT_EQ(decodeFile("grey_flat.j2k", "video=1").bytes, decodeFile("grey_flat.j2k", "").bytes);
}

// Half-width chroma is taken for transformed colours, although the file says nothing of it.
TEST(HalfWidthChroma, IsTransformedUnlessToldOtherwise) {
  const Accepted& entry = accepted("chroma_422.j2k");
  Planes expected = sourcePlanes(entry);
  for (size_t i = 0; i < expected.samples[0].size(); ++i) {
    const int32_t y = expected.samples[0][i] - 128, u = expected.samples[1][i] - 128,
                  v = expected.samples[2][i] - 128;
    const int32_t g = y - ((u + v) >> 2) + 128;
    expected.samples[0][i] = std::clamp(g + v, 0, 255);
    expected.samples[1][i] = std::clamp(g, 0, 255);
    expected.samples[2][i] = std::clamp(g + u, 0, 255);
  }
  const Picture packed = decodeFile(entry.file, "video=0");
  EXPECT_EQ(firstDifference(expected, PixelView(packed, 1, 3)), std::nullopt);
  const Picture wide = decodeFile(entry.file, "video=0,bpp=4");
  EXPECT_EQ(firstDifference(expected, PixelView(wide, 1, 4)), std::nullopt);
}

TEST(Nomct, ShowsTheTransformedComponentsAndStaysOff) {
  const Accepted& entry = accepted("rgb_transform.j2k");
  Planes expected = sourcePlanes(entry);
  for (size_t i = 0; i < expected.samples[0].size(); ++i) {
    const int32_t r = expected.samples[0][i] - 128, g = expected.samples[1][i] - 128,
                  b = expected.samples[2][i] - 128;
    expected.samples[0][i] = ((r + 2 * g + b) >> 2) + 128;
    expected.samples[1][i] = std::clamp(b - g + 128, 0, 255);
    expected.samples[2][i] = std::clamp(r - g + 128, 0, 255);
  }
  const Image image = Image::openFile(dataPath(entry.file));
  const Picture first = image.decode("nomct");
  EXPECT_EQ(firstDifference(expected, PixelView(first, 1, 3)), std::nullopt);
  EXPECT_EQ(image.decode("").bytes, first.bytes);
  EXPECT_EQ(decodeFile("rgb_plain.j2k", "nomct").bytes, decodeFile("rgb_plain.j2k", "").bytes);
}

int32_t scaled(int64_t value) {
  return static_cast<int32_t>(value >> 16);
}

TEST(YccFile, IsConvertedUnlessToldOtherwise) {
  for (const char* file : {"ycc.jp2", "ycc_420.jp2"}) {
    const Accepted& entry = accepted(file);
    Planes planes = sourcePlanes(entry);
    const Picture raw = decodeFile(file, "nomct");
    EXPECT_EQ(firstDifference(planes, PixelView(raw, 1, 3)), std::nullopt) << file;
    for (size_t i = 0; i < planes.samples[0].size(); ++i) {
      const int32_t y = (planes.samples[0][i] << 16) + 0x8000;
      const int32_t b = (planes.samples[1][i] << 8) - 0x7F80;
      const int32_t a = (planes.samples[2][i] << 8) - 0x7F80;
      planes.samples[0][i] = std::clamp(scaled(y + 358 * a), 0, 255);
      planes.samples[1][i] = std::clamp(scaled(y - 88 * b - 182 * a), 0, 255);
      planes.samples[2][i] = std::clamp(scaled(y + 453 * b), 0, 255);
    }
    const Picture packed = decodeFile(file, "");
    EXPECT_EQ(firstDifference(planes, PixelView(packed, 1, 3)), std::nullopt) << file;
    const Picture wide = decodeFile(file, "bpp=4,co=RGB");
    EXPECT_EQ(firstDifference(planes, PixelView(wide, 1, 4), true), std::nullopt) << file;
    EXPECT_EQ(PixelView(wide, 1, 4).at(7, 5, 3), 255);
  }
}

TEST(YccFile, IsConvertedInWords) {
  const Accepted& entry = accepted("ycc_12.jp2");
  Planes planes = sourcePlanes(entry);
  for (size_t i = 0; i < planes.samples[0].size(); ++i) {
    const int32_t y = planes.samples[0][i];
    const int64_t b = ((planes.samples[1][i] - 2048) << 8) + 128;
    const int64_t a = ((planes.samples[2][i] - 2048) << 8) + 128;
    planes.samples[0][i] = std::clamp(y + scaled(0x8000 + 358 * a), 0, 4095);
    planes.samples[1][i] = std::clamp(y + scaled(0x8000 - 88 * b - 182 * a), 0, 4095);
    planes.samples[2][i] = std::clamp(y + scaled(0x8000 + 453 * b), 0, 4095);
  }
  for (const char* options : {"", "nomct"}) {
    const Picture picture = decodeFile(entry.file, options);
    EXPECT_EQ(firstDifference(planes, PixelView(picture, 2, 6)), std::nullopt) << options;
  }
}

TEST(ResLevel, IsLimitedToWhatTheImageHas) {
  const Picture full = decodeFile("grey_noise.j2k", "");
  EXPECT_EQ(decodeFile("grey_noise.j2k", "res_level=-1").bytes, full.bytes);
  const Picture deepest = decodeFile("grey_noise.j2k", "rl=3");
  EXPECT_EQ(deepest.pitch, 5u);
  EXPECT_EQ(decodeFile("grey_noise.j2k", "rl=4").bytes, deepest.bytes);
  EXPECT_EQ(decodeFile("grey_noise.j2k", "rl=99").bytes, deepest.bytes);
}

}  // namespace
}  // namespace wbx::test
