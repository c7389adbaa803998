#include <gtest/gtest.h>
#include <string>

#include "wbx.h"

#include "api/decoder.h"
#include "api/log_file.h"

namespace wbx {
namespace {

// A grid of 2 by 2 tiles, none of which the codestream has filled yet.
class SelectionTest : public LogTest {
 protected:
  void SetUp() override {
    LogTest::SetUp();
    decoder_ = Decoder::create(Source::kMemory);
    ASSERT_NE(decoder_, nullptr);
    ImageHeader& header = decoder_->index.image;
    header.components = 1;
    header.image = header.tiles = decoder_->decodeRegion = {0, 0, 100, 60};
    header.tile = {0, 0, 64, 32};
    decoder_->index.tileTable.layOut(header);
    ASSERT_EQ(decoder_->index.tileTable.create(decoder_->arena), WBX_OK);
  }
  void TearDown() override {
    Decoder::destroy(decoder_);
    LogTest::TearDown();
  }

  i32 select(i32 first, i32 last, i32 state) {
    return WBX_SelectTiles(reinterpret_cast<WBX_Handle>(decoder_), first, last, state);
  }
  std::string selected() const {
    std::string numbers;
    for (i32 i = 0; i < 4; ++i) {
      if (decoder_->index.tileTable.isSelected(i)) numbers += std::to_string(i);
    }
    return numbers;
  }
  const Rect& region() const { return decoder_->decodeRegion; }

  void giveResolutions(i32 tile, u8 resolutions) {
    CodingStyle& style = decoder_->index.tileTable.obtain(tile, decoder_->arena)->style;
    style.components = 1;
    style.component[0].resolutions = resolutions;
  }

  Decoder* decoder_ = nullptr;
};

TEST_F(SelectionTest, NegativeNumbersMeanTheEnds) {
  EXPECT_EQ(selected(), "0123");
  EXPECT_EQ(select(-1, -1, 0), WBX_OK);
  EXPECT_EQ(selected(), "");
  EXPECT_EQ(region(), (Rect{0, 0, 100, 60})) << "stays when nothing is left";
  EXPECT_EQ(select(-5, 1, 1), WBX_OK);
  EXPECT_EQ(selected(), "01");
  EXPECT_EQ(region(), (Rect{0, 0, 100, 32}));
  EXPECT_EQ(select(3, -1, 1), WBX_OK);
  EXPECT_EQ(selected(), "013");
  EXPECT_EQ(select(-1, -1, 1), WBX_OK);
  EXPECT_EQ(region(), (Rect{0, 0, 100, 60}));
}

TEST_F(SelectionTest, TheRegionBoundsWhatIsSelected) {
  EXPECT_EQ(select(2, 1, 0), WBX_OK) << "exchanged";
  EXPECT_EQ(selected(), "03");
  EXPECT_EQ(region(), (Rect{0, 0, 100, 60}));
  EXPECT_EQ(select(0, 0, 0), WBX_OK);
  EXPECT_EQ(region(), (Rect{64, 32, 100, 60}));
}

TEST_F(SelectionTest, NumbersBeyondTheGrid) {
  EXPECT_EQ(select(-1, -1, 0), WBX_OK);
  EXPECT_EQ(select(4, 4, 1), WBX_ERROR_TILE);
  EXPECT_EQ(selected(), "");
  EXPECT_EQ(select(2, 9, 1), WBX_ERROR_TILE);
  EXPECT_EQ(selected(), "23") << "carried out all the same";
  EXPECT_EQ(region(), (Rect{0, 32, 100, 60}));
}

TEST_F(SelectionTest, ResolutionsAreThoseOfEverySelectedTile) {
  EXPECT_EQ(decoder_->resolutionCount(), 255) << "no tile limits it";
  giveResolutions(0, 6);
  giveResolutions(3, 3);
  EXPECT_EQ(decoder_->resolutionCount(), 3);
  EXPECT_EQ(select(3, 3, 0), WBX_OK);
  EXPECT_EQ(decoder_->resolutionCount(), 6);
  EXPECT_EQ(select(-1, -1, 0), WBX_OK);
  EXPECT_EQ(decoder_->resolutionCount(), 1);
}

TEST_F(SelectionTest, ADecodeSkipsTilesWithoutSelectionOrContent) {
  giveResolutions(0, 6);  // met, but never filled
  EXPECT_EQ(select(1, 1, 0), WBX_OK);
  void* buffer = nullptr;
  u32 size = 0;
  const WBX_Handle handle = reinterpret_cast<WBX_Handle>(decoder_);
  const std::string text =
      logOf([&] { EXPECT_EQ(WBX_Decode(handle, &buffer, &size, "rl=1,bitmap", nullptr), WBX_OK); });
  EXPECT_EQ(size, 50u * 30);
  EXPECT_NE(text.find("\n[]   - Tile #0 => Skipped.\n[]   - Tile #1 => Skipped."
                      "\n[]   - Tile #2 => Skipped.\n[]   - Tile #3 => Skipped.\n[] ^ OK ^"),
            std::string::npos)
      << text;
}

}  // namespace
}  // namespace wbx
