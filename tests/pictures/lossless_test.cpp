// Files of the 5-3 filter come back as the very pictures that they were made from.
#include <algorithm>
#include <gtest/gtest.h>

#include "support/expected_picture.h"

namespace wbx::test {
namespace {

std::vector<Accepted> losslessFiles() {
  std::vector<Accepted> files;
  for (const Accepted& entry : acceptedFiles())
    if (entry.kind == "lossless" || entry.kind == "blue_first") files.push_back(entry);
  return files;
}

std::vector<Accepted> losslessFilesOfOneSize() {
  std::vector<Accepted> files = losslessFiles();
  std::erase_if(files, [](const Accepted& entry) { return entry.subsampled(); });
  return files;
}

// Half-width chroma is shown upscaled and transformed unless one asks for the samples themselves.
std::string plainOptions(const Accepted& entry) {
  return entry.halfWidthChroma() ? "video=0,nomct" : "";
}

class Lossless : public testing::TestWithParam<Accepted> {
 protected:
  const Accepted& entry() const { return GetParam(); }
  uint32_t packedPixel() const { return entry().components * entry().bytesPerSample(); }

  void expectSource(const Picture& picture, uint32_t pixelBytes) const {
    ASSERT_EQ(picture.code, WBX_OK);
    EXPECT_TRUE(picture.guardsIntact);
    ASSERT_EQ(picture.pitch, pixelBytes * entry().width());
    ASSERT_EQ(picture.size, picture.pitch * entry().height());
    const PixelView view(picture, entry().bytesPerSample(), pixelBytes);
    EXPECT_EQ(firstDifference(sourcePlanes(entry()), view, entry().kind == "blue_first"),
              std::nullopt);
  }
};

TEST_P(Lossless, DecodesToItsSourcePicture) {
  const Image image = Image::open(dataPath(entry().file), Way::kFile);
  ASSERT_TRUE(image) << image.error();
  expectSource(image.decode(plainOptions(entry())), packedPixel());
}

TEST_P(Lossless, DecodesTheSameByEveryWay) {
  for (const Way way : kAllWays) {
    SCOPED_TRACE(nameOf(way));
    const Image image = Image::open(dataPath(entry().file), way);
    ASSERT_TRUE(image) << image.error();
    expectSource(image.decode(plainOptions(entry())), packedPixel());
  }
}

TEST_P(Lossless, DecodesIntoAnInternalBuffer) {
  const Image image = Image::open(dataPath(entry().file), Way::kMemory);
  ASSERT_TRUE(image) << image.error();
  const uint32_t pixelBytes =
      entry().components == 1 ? entry().bytesPerSample() : 4 * entry().bytesPerSample();
  expectSource(image.decodeInternal(plainOptions(entry())), pixelBytes);
}

TEST_P(Lossless, DecodesTheSameAgainAfterOtherDecodes) {
  const Image image = Image::open(dataPath(entry().file), Way::kFile);
  ASSERT_TRUE(image) << image.error();
  const std::string options = plainOptions(entry());
  const Picture first = image.decode(options);
  image.decode("rl=1,bmp,co=RGB,mba,bpp=8" + (options.empty() ? "" : "," + options));
  EXPECT_EQ(image.decode(options).bytes, first.bytes);
}

// At lower resolutions only the checksums tell pictures whose components differ in size.
class LosslessOfOneSize : public Lossless {};

TEST_P(LosslessOfOneSize, ShowsTheLowBandAtLowerResolutions) {
  const Image image = Image::open(dataPath(entry().file), Way::kMemory);
  ASSERT_TRUE(image) << image.error();
  for (uint32_t level = 1; level <= std::min(entry().levels, 6u); ++level) {
    SCOPED_TRACE(level);
    const Planes expected = reducedPlanes(entry(), level);
    const Picture picture = image.decode("res_level=" + std::to_string(level));
    ASSERT_EQ(picture.code, WBX_OK);
    EXPECT_TRUE(picture.guardsIntact);
    ASSERT_EQ(picture.size, expected.width * expected.height * packedPixel());
    const PixelView view(picture, entry().bytesPerSample(), packedPixel());
    EXPECT_EQ(firstDifference(expected, view, entry().kind == "blue_first"), std::nullopt);
  }
}

INSTANTIATE_TEST_SUITE_P(Files, Lossless, testing::ValuesIn(losslessFiles()),
                         [](const auto& item) { return testName(item.param.file); });
INSTANTIATE_TEST_SUITE_P(Files, LosslessOfOneSize, testing::ValuesIn(losslessFilesOfOneSize()),
                         [](const auto& item) { return testName(item.param.file); });

}  // namespace
}  // namespace wbx::test
