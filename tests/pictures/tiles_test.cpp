// Tile selection: what is decoded, what is left alone, and how large the picture is.
#include <algorithm>
#include <gtest/gtest.h>

#include "support/expected_picture.h"

namespace wbx::test {
namespace {

struct Place {
  uint32_t x0, y0, x1, y1;
};

Place tileOf(const Accepted& entry, uint32_t index) {
  const uint32_t p = index % entry.tilesAcross(), q = index / entry.tilesAcross();
  const auto& [x0, y0, x1, y1] = entry.image;
  const auto& [tx, ty, tw, th] = entry.tile;
  return {std::max(tx + p * tw, x0) - x0, std::max(ty + q * th, y0) - y0,
          std::min(tx + (p + 1) * tw, x1) - x0, std::min(ty + (q + 1) * th, y1) - y0};
}

class TileSelection : public testing::TestWithParam<const char*> {
 protected:
  const Accepted& entry() const { return accepted(GetParam()); }
  uint32_t pixelBytes() const { return entry().components * entry().bytesPerSample(); }
  std::string options() const { return entry().halfWidthChroma() ? "video=0,nomct" : ""; }
};

TEST_P(TileSelection, EachTileAloneIsItsPartOfThePicture) {
  const Image image = Image::openFile(dataPath(GetParam()));
  ASSERT_TRUE(image);
  const Picture whole = image.decode(options());
  for (uint32_t tile = 0; tile < entry().tilesAcross() * entry().tilesDown(); ++tile) {
    SCOPED_TRACE(tile);
    const auto index = static_cast<int32_t>(tile);
    ASSERT_EQ(WBX_SelectTiles(image.handle(), -1, -1, 0), WBX_OK);
    ASSERT_EQ(WBX_SelectTiles(image.handle(), index, index, 1), WBX_OK);
    const Picture part = image.decode(options());
    const Place place = tileOf(entry(), tile);
    ASSERT_TRUE(part.guardsIntact);
    ASSERT_EQ(part.pitch, (place.x1 - place.x0) * pixelBytes());
    ASSERT_EQ(part.size, part.pitch * (place.y1 - place.y0));
    for (uint32_t y = place.y0; y < place.y1; ++y)
      ASSERT_TRUE(std::equal(part.bytes.begin() + (y - place.y0) * part.pitch,
                             part.bytes.begin() + (y - place.y0 + 1) * part.pitch,
                             whole.bytes.begin() + y * whole.pitch + place.x0 * pixelBytes()))
          << "row " << y;
  }
  ASSERT_EQ(WBX_SelectTiles(image.handle(), -1, -1, 1), WBX_OK);
  EXPECT_EQ(image.decode(options()).bytes, whole.bytes);
}

TEST_P(TileSelection, CornersLeaveTheRestUntouched) {
  const Image image = Image::openFile(dataPath(GetParam()));
  ASSERT_TRUE(image);
  const Picture whole = image.decode(options());
  const auto last = static_cast<int32_t>(entry().tilesAcross() * entry().tilesDown()) - 1;
  ASSERT_EQ(WBX_SelectTiles(image.handle(), 1, last - 1, 0), WBX_OK);
  const Picture part = image.decode(options());
  ASSERT_EQ(part.size, whole.size);
  const Place a = tileOf(entry(), 0), b = tileOf(entry(), static_cast<uint32_t>(last));
  // The last sample of a half-width row is repeated up to four times, past the tile.
  const uint32_t spill = entry().subsampled() ? 2 : 0;
  const auto inside = [](const Place& p, uint32_t x, uint32_t y) {
    return x >= p.x0 && x < p.x1 && y >= p.y0 && y < p.y1;
  };
  for (uint32_t y = 0; y < entry().height(); ++y) {
    for (uint32_t x = 0; x < whole.pitch; ++x) {
      const uint32_t pixel = x / pixelBytes();
      if (pixel >= a.x1 && pixel < a.x1 + spill && y < a.y1) continue;
      const bool selected = inside(a, pixel, y) || inside(b, pixel, y);
      ASSERT_EQ(part.bytes[y * whole.pitch + x],
                selected ? whole.bytes[y * whole.pitch + x] : GuardedBuffer::kFill)
          << pixel << "," << y;
    }
  }
}

INSTANTIATE_TEST_SUITE_P(Files, TileSelection,
                         testing::Values("tiles_16.j2k", "tiles_offset.j2k",
                                         "tiles_odd_column_rgb.j2k", "tiles_tiny.j2k",
                                         "irr_tiles.j2k", "bits_12_tiles.j2k",
                                         "bits_16_tiles_odd.j2k", "chroma_420_tiles.j2k"),
                         [](const auto& item) { return testName(item.param); });

class TileNumbers : public testing::Test {
 protected:
  TileNumbers() : image_(Image::openFile(dataPath("parts_resolution.j2k"))) {}  // 2 by 2 tiles

  std::pair<uint32_t, uint32_t> size() const {
    uint32_t width = 0, height = 0;
    WBX_GetResolutionDimensions(image_.handle(), 0, &width, &height);
    return {width, height};
  }
  int32_t select(int32_t first, int32_t last, int32_t state) const {
    return WBX_SelectTiles(image_.handle(), first, last, state);
  }
  using Size = std::pair<uint32_t, uint32_t>;

  Image image_;
};

TEST_F(TileNumbers, OutsideTheGridAreRefused) {
  EXPECT_EQ(select(4, 4, 0), WBX_ERROR_TILE);
  EXPECT_EQ(WBX_getLastError(), WBX_ERROR_TILE);
  EXPECT_EQ(size(), Size(50, 35));
  ASSERT_EQ(select(-1, -1, 0), WBX_OK);
  EXPECT_EQ(select(2, 9, 1), WBX_ERROR_TILE) << "and yet tiles 2 and 3 are selected";
  EXPECT_EQ(size(), Size(50, 3));
}

TEST_F(TileNumbers, MayComeInEitherOrder) {
  ASSERT_EQ(select(-1, -1, 0), WBX_OK);
  EXPECT_EQ(select(3, 1, 1), WBX_OK);
  EXPECT_EQ(size(), Size(50, 35));
  EXPECT_EQ(select(2, 1, 0), WBX_OK);
  EXPECT_EQ(size(), Size(18, 3));
}

TEST_F(TileNumbers, NoneSelectedDecodesNothing) {
  ASSERT_EQ(select(-1, -1, 0), WBX_OK);
  EXPECT_EQ(size(), Size(50, 35));
  int32_t count = 0;
  EXPECT_EQ(WBX_GetResolutions(image_.handle(), &count), WBX_OK);
  EXPECT_EQ(count, 1);
  const Picture picture = image_.decode();
  EXPECT_EQ(picture.code, WBX_OK);
  EXPECT_TRUE(std::all_of(picture.bytes.begin(), picture.bytes.end(),
                          [](uint8_t byte) { return byte == GuardedBuffer::kFill; }));
}

TEST_F(TileNumbers, InfoTellsTheWholeImageWhateverIsSelected) {
  ASSERT_EQ(select(0, 2, 0), WBX_OK);
  uint32_t width = 0, height = 0;
  EXPECT_EQ(WBX_GetInfo(image_.handle(), &width, &height, nullptr), WBX_OK);
  EXPECT_EQ(Size(width, height), Size(50, 35));
  EXPECT_EQ(size(), Size(18, 3));
}

}  // namespace
}  // namespace wbx::test
