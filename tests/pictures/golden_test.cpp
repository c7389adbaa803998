// Every accepted file, with every option string of the golden table, gives the recorded bytes, by
// the code for each of the instruction sets that this processor has.
#include <cmath>
#include <gtest/gtest.h>

#include "engine/kernels.h"
#include "support/crc32.h"
#include "support/expected_picture.h"

namespace wbx::test {
namespace {

class GoldenPicture : public testing::TestWithParam<Accepted> {
 protected:
  void TearDown() override { forceKernels(nullptr); }
};

TEST_P(GoldenPicture, HasTheRecordedChecksums) {
  const std::string& file = GetParam().file;
  const auto recorded = golden().crcs.find(file);
  ASSERT_NE(recorded, golden().crcs.end()) << "golden.py has not seen this file";
  for (size_t i = 0; i < golden().options.size(); ++i) {
    SCOPED_TRACE("options \"" + golden().options[i] + "\"");
    const Image image = Image::open(dataPath(file), Way::kFile);
    ASSERT_TRUE(image) << image.error();
    for (const Kernels* const* set = availableKernels(); *set != nullptr; ++set) {
      SCOPED_TRACE((*set)->name);
      forceKernels(*set);
      const Picture picture = image.decode(golden().options[i]);
      EXPECT_EQ(picture.code, WBX_OK);
      EXPECT_TRUE(picture.guardsIntact);
      EXPECT_EQ(crc32(picture.bytes), recorded->second.at(i));
    }
  }
}

INSTANTIATE_TEST_SUITE_P(Files, GoldenPicture, testing::ValuesIn(acceptedFiles()),
                         [](const auto& item) { return testName(item.param.file); });

double psnr(const Accepted& entry, const Picture& picture) {
  const Planes source = sourcePlanes(entry);
  const PixelView view(picture, entry.bytesPerSample(), entry.components * entry.bytesPerSample());
  double sum = 0;
  for (uint32_t y = 0; y < source.height; ++y)
    for (uint32_t x = 0; x < source.width; ++x)
      for (uint32_t c = 0; c < entry.components; ++c)
        sum += std::pow(view.at(x, y, channelOf(c, entry.components)) - source.at(c, x, y), 2);
  const double samples = double(source.width) * source.height * entry.components;
  return 20 * std::log10((1 << entry.precision) - 1) - 10 * std::log10(sum / samples + 1e-9);
}

// A bound by the source alone: whatever the checksums say, the picture has to be the right one. The
// encoder of irr_narrow.j2k leaves out the doubling of lone samples at odd coordinates (T.800
// F.4.8), so that file is told by its checksums only.
TEST(IrreversiblePictures, ComeCloseToTheirSources) {
  for (const Accepted& entry : acceptedFiles()) {
    if (entry.kind != "lossy" || entry.file == "irr_narrow.j2k") continue;
    SCOPED_TRACE(entry.file);
    const bool coarse = entry.file == "irr_rate10.j2k" || entry.file == "irr_layers.j2k";
    const Image image = Image::open(dataPath(entry.file), Way::kFile);
    ASSERT_TRUE(image) << image.error();
    const Picture picture = image.decode(entry.halfWidthChroma() ? "video=0,nomct" : "");
    ASSERT_EQ(picture.code, WBX_OK);
    EXPECT_GT(psnr(entry, picture), coarse                 ? 25
                                    : entry.precision == 8 ? 42
                                    : entry.precision < 8  ? 30
                                                           : 55);
  }
}

}  // namespace
}  // namespace wbx::test
