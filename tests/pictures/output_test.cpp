// Sizes, row distances and ownership of the output.
#include <gtest/gtest.h>

#include "support/expected_picture.h"

namespace wbx::test {
namespace {

TEST(Pitch, SpreadsTheRowsAndLeavesTheGapsAlone) {
  for (const char* file : {"rgb_noise.j2k", "tiles_odd_column_rgb.j2k", "bits_16_rgb.j2k",
                           "chroma_420.j2k", "irr_rgb.j2k"}) {
    SCOPED_TRACE(file);
    const Accepted& entry = accepted(file);
    const uint32_t used = entry.width() * entry.components * entry.bytesPerSample();
    const uint32_t pitch = used + 14;
    const Image image = Image::openFile(dataPath(file));
    ASSERT_TRUE(image);
    const Picture packed = image.decode();
    const Picture spread = image.decode("", pitch);
    ASSERT_EQ(spread.code, WBX_OK);
    EXPECT_TRUE(spread.guardsIntact);
    EXPECT_EQ(spread.pitch, pitch);
    ASSERT_EQ(spread.size, pitch * entry.height());
    for (uint32_t y = 0; y < entry.height(); ++y)
      for (uint32_t x = 0; x < pitch; ++x)
        ASSERT_EQ(spread.bytes[y * pitch + x],
                  x < used ? packed.bytes[y * used + x] : GuardedBuffer::kFill)
            << x << "," << y;
  }
}

TEST(Pitch, BelowARowIsRefused) {
  const Image image = Image::openFile(dataPath("rgb_noise.j2k"));
  GuardedBuffer buffer(24 * 18 * 3);
  void* data = buffer.data();
  uint32_t size = 0, pitch = 24 * 3 - 1;
  EXPECT_EQ(WBX_Decode(image.handle(), &data, &size, "", &pitch), WBX_ERROR_BUFFER_SIZE);
  EXPECT_TRUE(buffer.untouched());
}

TEST(Size, TooSmallIsRefusedAndTheNeedReported) {
  const Image image = Image::openFile(dataPath("rgb_noise.j2k"));
  GuardedBuffer buffer(24 * 18 * 3);
  void* data = buffer.data();
  uint32_t size = 24 * 18 * 3 - 1, pitch = 0;
  EXPECT_EQ(WBX_Decode(image.handle(), &data, &size, "", &pitch), WBX_ERROR_BUFFER_SIZE);
  EXPECT_EQ(size, 24u * 18 * 3);
  EXPECT_EQ(pitch, 24u * 3);
  EXPECT_TRUE(buffer.untouched());
  EXPECT_EQ(WBX_Decode(image.handle(), &data, &size, "", &pitch), WBX_OK);
}

TEST(Size, OfZeroMeansThatTheCallerKnows) {
  const Image image = Image::openFile(dataPath("rgb_noise.j2k"));
  GuardedBuffer buffer(24 * 18 * 3);
  void* data = buffer.data();
  uint32_t size = 0;
  EXPECT_EQ(WBX_Decode(image.handle(), &data, &size, nullptr, nullptr), WBX_OK);
  EXPECT_EQ(size, 24u * 18 * 3);
  EXPECT_TRUE(buffer.guardsIntact());
}

TEST(InternalBuffer, HasFourChannelsForColour) {
  const Image image = Image::openFile(dataPath("rgb_noise.j2k"));
  const Picture picture = image.decodeInternal();
  ASSERT_EQ(picture.code, WBX_OK);
  EXPECT_EQ(picture.pitch, 24u * 4);
  const PixelView view(picture, 1, 4);
  for (uint32_t y = 0; y < 18; ++y)
    for (uint32_t x = 0; x < 24; ++x) ASSERT_EQ(view.at(x, y, 3), 255);
}

TEST(InternalBuffer, StartsZeroed) {
  const Image pair = Image::openFile(dataPath("two_components.j2k"));
  const Picture picture = pair.decodeInternal();
  ASSERT_EQ(picture.pitch, 31u * 4);
  const PixelView view(picture, 1, 4);
  EXPECT_EQ(view.at(30, 16, 2), 0);
  EXPECT_EQ(view.at(30, 16, 3), 0);
  const Image tiles = Image::openFile(dataPath("tiles_16.j2k"));
  EXPECT_EQ(WBX_SelectTiles(tiles.handle(), 1, 10, 0), WBX_OK);
  const Picture corners = tiles.decodeInternal();
  EXPECT_EQ(PixelView(corners, 1, 4).at(20, 20, 1), 0);
}

TEST(InternalBuffer, OfWordsHasNoFill) {
  const Image image = Image::openFile(dataPath("bits_12.j2k"));
  const Picture picture = image.decodeInternal();
  ASSERT_EQ(picture.code, WBX_OK);
  EXPECT_EQ(picture.pitch, 37u * 8);
  EXPECT_EQ(PixelView(picture, 2, 8).at(9, 9, 3), 0);
}

TEST(InternalBuffer, EarlierOnesLiveUntilClose) {
  const Image image = Image::openFile(dataPath("rgb_noise.j2k"));
  void *first = nullptr, *second = nullptr;
  uint32_t size = 0;
  ASSERT_EQ(WBX_Decode(image.handle(), &first, &size, "", nullptr), WBX_OK);
  const Bytes before(static_cast<uint8_t*>(first), static_cast<uint8_t*>(first) + size);
  ASSERT_EQ(WBX_Decode(image.handle(), &second, &size, "co=RGB,bmp", nullptr), WBX_OK);
  EXPECT_NE(first, second);
  EXPECT_EQ(Bytes(static_cast<uint8_t*>(first), static_cast<uint8_t*>(first) + before.size()),
            before);
}

TEST(CustomSource, IsClosedOnceWithTheImage) {
  ByteSource source(readFile(dataPath("grey_photo.j2k")), ByteSource::Seeking::kWorks);
  {
    const Image image = Image::openSource(source);
    ASSERT_TRUE(image);
    image.decode();
    EXPECT_EQ(source.closes, 0);
  }
  EXPECT_EQ(source.closes, 1);
}

TEST(CustomSource, IsReadWholeAtOpenWhenItCannotSeek) {
  ByteSource source(readFile(dataPath("grey_photo.j2k")), ByteSource::Seeking::kAbsent);
  const Image image = Image::openSource(source);
  ASSERT_TRUE(image);
  const int reads = source.reads;
  EXPECT_EQ(image.decode().code, WBX_OK);
  EXPECT_EQ(source.reads, reads);
}

TEST(SeveralImages, KeepApart) {
  const Image one = Image::openFile(dataPath("rgb_transform.j2k"));
  const Image two = Image::openFile(dataPath("bits_12.j2k"));
  const Image three = Image::openFile(dataPath("irr_rgb.j2k"));
  const Bytes a = one.decode().bytes, b = two.decode().bytes, c = three.decode().bytes;
  two.decode("rl=1");
  EXPECT_EQ(one.decode().bytes, a);
  EXPECT_EQ(three.decode().bytes, c);
  EXPECT_EQ(two.decode().bytes, b);
}

}  // namespace
}  // namespace wbx::test
