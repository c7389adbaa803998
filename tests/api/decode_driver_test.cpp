// Output planning, on images that no codestream has to describe.
#include <gtest/gtest.h>
#include <memory>

#include "wbx.h"

#include "api/decoder.h"
#include "api/options.h"

namespace wbx {
namespace {

class PlanTest : public ::testing::Test {
 protected:
  void SetUp() override {
    decoder_ = Decoder::create(Source::kMemory);
    ASSERT_NE(decoder_, nullptr);
    describe(3, 1, {0, 0, 100, 50});
  }
  void TearDown() override { Decoder::destroy(decoder_); }

  void describe(u16 components, i32 bytesPerSample, Rect image) {
    decoder_->index.image.components = components;
    decoder_->index.image.bytesPerSample = bytesPerSample;
    decoder_->index.image.image = decoder_->decodeRegion = image;
  }

  // Plans for a caller's buffer, with nothing behind its address.
  i32 planExternal(const char* options) {
    buffer_ = this;
    return plan(options);
  }
  i32 planInternal(const char* options) {
    buffer_ = nullptr;
    return plan(options);
  }

  Decoder* decoder_ = nullptr;
  void* buffer_ = nullptr;
  u32 size_ = 0, pitch_ = 0;

 private:
  i32 plan(const char* options) {
    EXPECT_EQ(parseOptions(decoder_->options, options, false, true), WBX_OK);
    return decoder_->planOutput(&buffer_, &size_, &pitch_);
  }
};

TEST_F(PlanTest, ExternalPixelsArePackedByDefault) {
  EXPECT_EQ(planExternal(""), WBX_OK);
  EXPECT_EQ(buffer_, this);
  EXPECT_EQ(pitch_, 300u);
  EXPECT_EQ(size_, 15000u);
  EXPECT_EQ(decoder_->outputPlan.bytesPerPixel, 3);
}

TEST_F(PlanTest, InternalPixelsHaveFourSamplesOrOne) {
  EXPECT_EQ(planInternal(""), WBX_OK);
  EXPECT_NE(buffer_, nullptr);
  EXPECT_EQ(pitch_, 400u);
  EXPECT_EQ(size_, 20000u);

  describe(3, 2, {0, 0, 100, 50});
  EXPECT_EQ(planInternal(""), WBX_OK);
  EXPECT_EQ(pitch_, 800u);

  describe(1, 2, {0, 0, 100, 50});
  EXPECT_EQ(planInternal(""), WBX_OK);
  EXPECT_EQ(pitch_, 200u);
}

TEST_F(PlanTest, InternalBuffersIgnoreThePitchAndTheSize) {
  pitch_ = 5000;
  size_ = 1;
  EXPECT_EQ(planInternal(""), WBX_OK);
  EXPECT_EQ(pitch_, 400u);
  EXPECT_EQ(size_, 20000u);
}

TEST_F(PlanTest, EveryInternalPlanBuysABufferOfItsOwn) {
  EXPECT_EQ(planInternal(""), WBX_OK);
  void* first = buffer_;
  EXPECT_EQ(planInternal(""), WBX_OK);
  EXPECT_NE(buffer_, first);
}

TEST_F(PlanTest, PixelsTooSmallForTheirSamples) {
  size_ = 5;
  EXPECT_EQ(planExternal("bpp=2"), WBX_ERROR_BPP);
  EXPECT_EQ(planExternal("bpp=-2147483648"), WBX_ERROR_BPP);
  EXPECT_EQ(size_, 5u);
  EXPECT_EQ(planInternal("bpp=2"), WBX_ERROR_BPP);
  EXPECT_NE(buffer_, nullptr) << "bought before the test";
  EXPECT_EQ(size_, 5u);
  EXPECT_EQ(planInternal("bpp=-1"), WBX_ERROR_MEMORY);
  EXPECT_EQ(buffer_, nullptr);
}

TEST_F(PlanTest, CallersSizeAndPitch) {
  size_ = 14999;
  EXPECT_EQ(planExternal(""), WBX_ERROR_BUFFER_SIZE);
  EXPECT_EQ(size_, 15000u);
  EXPECT_EQ(pitch_, 300u);
  EXPECT_EQ(planExternal(""), WBX_OK);

  pitch_ = 512;
  size_ = 0;
  EXPECT_EQ(planExternal("bpp=4"), WBX_OK);
  EXPECT_EQ(size_, 25600u);
  EXPECT_EQ(pitch_, 512u);

  pitch_ = 399;
  size_ = 0;
  EXPECT_EQ(planExternal("bpp=4"), WBX_ERROR_BUFFER_SIZE) << "rows would overlap";
  EXPECT_EQ(size_, 19950u);
}

TEST_F(PlanTest, PicturesBeyond32Bits) {
  describe(4, 2, {0, 0, 65535, 65535});
  EXPECT_EQ(planInternal(""), WBX_ERROR_MEMORY);
  EXPECT_EQ(buffer_, nullptr);
  EXPECT_EQ(planExternal(""), WBX_ERROR_BUFFER_SIZE);
  EXPECT_EQ(size_, static_cast<u32>(u64{8} * 65535 * 65535));
  EXPECT_EQ(planExternal("bpp=2147483647"), WBX_ERROR_BUFFER_SIZE);

  describe(1, 1, {0, 0, 65535, 65535});
  pitch_ = size_ = 0;
  EXPECT_EQ(planExternal(""), WBX_OK) << "just fits";
}

TEST_F(PlanTest, AnEmptyPictureIsAPicture) {
  describe(3, 1, {5, 5, 5, 20});
  EXPECT_EQ(planInternal(""), WBX_OK);
  EXPECT_NE(buffer_, nullptr);
  EXPECT_EQ(size_, 0u);
}

TEST_F(PlanTest, LevelsBeyondTheLastOrBelowTheFirst) {
  EXPECT_EQ(planExternal("rl=7"), WBX_OK) << "no tile: one resolution";
  EXPECT_EQ(size_, 15000u);
  EXPECT_EQ(planExternal("rl=-7"), WBX_OK);
  EXPECT_EQ(size_, 15000u);
}

TEST_F(PlanTest, DecodingNoTilesSettlesTheOptions) {
  EXPECT_EQ(planInternal("rl=9,mba,nomct"), WBX_OK);
  decoder_->index.mainCoding.mct = kMctReversible;
  decoder_->index.chromaSubsampled = true;
  decoder_->cancelled = true;
  EXPECT_EQ(decoder_->decodeTiles(), WBX_OK) << "a cancel from before the decode is forgotten";
  EXPECT_EQ(decoder_->options.res_level, 0);
  EXPECT_EQ(decoder_->options.video, 1);
  EXPECT_EQ(decoder_->options.mul_by_alpha, 1);
  EXPECT_EQ(decoder_->options.bgrOutput, 1);
  EXPECT_EQ(decoder_->options.colourSpace, 0x8001);
  EXPECT_EQ(decoder_->index.mainCoding.mct, kMctNone);
}

}  // namespace
}  // namespace wbx
