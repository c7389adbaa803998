// A decode stops soon after it is told to, and the image stays usable.
#include <algorithm>
#include <atomic>
#include <gtest/gtest.h>
#include <thread>

#include "support/image.h"
#include "support/manifest.h"

namespace wbx::test {
namespace {

TEST(Cancel, FromTheReadCallbackStopsTheDecode) {
  for (const char* file : {"grey_photo.j2k", "irr_rate10.j2k", "bits_12.j2k"}) {
    SCOPED_TRACE(file);
    ByteSource source(readFile(dataPath(file)), ByteSource::Seeking::kWorks);
    const Image image = Image::openSource(source);
    ASSERT_TRUE(image);
    const Bytes whole = image.decode().bytes;
    source.onRead = [&] { WBX_Cancel(image.handle()); };
    const Picture stopped = image.decode();
    EXPECT_EQ(stopped.code, WBX_ERROR_CANCELLED);
    EXPECT_EQ(WBX_getLastError(), WBX_ERROR_CANCELLED);
    EXPECT_TRUE(stopped.guardsIntact);
    source.onRead = nullptr;
    const Picture again = image.decode();
    EXPECT_EQ(again.code, WBX_OK);
    EXPECT_EQ(again.bytes, whole);
  }
}

TEST(Cancel, KeepsTheTilesThatAreFinished) {
  ByteSource source(readFile(dataPath("parts_resolution.j2k")), ByteSource::Seeking::kWorks);
  const Image image = Image::openSource(source);
  ASSERT_TRUE(image);
  const Picture whole = image.decode();
  ASSERT_EQ(whole.code, WBX_OK);
  source.reads = 0;
  image.decode();
  const int reads = source.reads;  // all in the two tall tiles: short segments are copied at open
  ASSERT_GT(reads, 1);
  source.reads = 0;
  source.onRead = [&] {
    if (source.reads == reads) WBX_Cancel(image.handle());
  };
  const Picture part = image.decode();
  EXPECT_EQ(part.code, WBX_ERROR_CANCELLED);
  EXPECT_TRUE(std::equal(part.bytes.begin(), part.bytes.begin() + 32 * 3, whole.bytes.begin()))
      << "the first tile came before";
  EXPECT_EQ(part.bytes.back(), GuardedBuffer::kFill) << "the last tile was never begun";
}

TEST(Cancel, FromAnotherThreadStopsTheDecode) {
  const Image image = Image::openFile(dataPath("tiles_16.j2k"));
  ASSERT_TRUE(image);
  std::atomic<bool> over = false;
  std::thread canceller([&] {
    while (!over) WBX_Cancel(image.handle());
  });
  int cancelled = 0;
  for (int attempt = 0; attempt < 20000 && cancelled == 0; ++attempt) {
    const int32_t code = image.decode().code;
    if (code == WBX_OK) continue;
    EXPECT_EQ(code, WBX_ERROR_CANCELLED);
    ++cancelled;
  }
  over = true;
  canceller.join();
  EXPECT_EQ(cancelled, 1);
}

TEST(Cancel, IsForgottenWhenNothingRuns) {
  const Image image = Image::openFile(dataPath("grey_noise.j2k"));
  WBX_Cancel(image.handle());
  EXPECT_EQ(image.decode().code, WBX_OK);
}

}  // namespace
}  // namespace wbx::test
