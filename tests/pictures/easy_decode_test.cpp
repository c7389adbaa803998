// One call from a file's name to its picture.
#include <gtest/gtest.h>

#include "support/image.h"
#include "support/manifest.h"

namespace wbx::test {
namespace {

struct Easy {
  explicit Easy(const std::string& file, const char* options = nullptr)
      : handle(WBX_EasyDecode(dataPath(file).c_str(), &buffer, &width, &height, &components,
                              options)) {
    if (handle == nullptr) error = WBX_getLastError();
  }
  Easy(const Easy&) = delete;
  Easy& operator=(const Easy&) = delete;
  ~Easy() {
    if (handle != nullptr) WBX_Close(handle);
  }

  void* buffer = nullptr;
  uint32_t width = 0, height = 0, components = 0;
  WBX_Handle handle;
  int32_t error = WBX_OK;
};

TEST(EasyDecode, GivesWhatTheLongWayGives) {
  for (const char* options : {"", "rl=1", "rl=99,co=RGB", "bpp=8,bmp"}) {
    for (const char* file :
         {"grey_noise.j2k", "rgb_transform.j2k", "rgba_plain.j2k", "bits_12.j2k", "metadata.jp2"}) {
      SCOPED_TRACE(std::string(file) + " " + options);
      const Easy easy(file, options);
      ASSERT_NE(easy.handle, nullptr);
      const Picture picture = Image::openFile(dataPath(file)).decodeInternal(options);
      EXPECT_EQ(easy.components, accepted(file).components);
      ASSERT_EQ(picture.size, picture.pitch * easy.height);
      ASSERT_EQ(picture.pitch % easy.width, 0u);
      const auto* bytes = static_cast<const uint8_t*>(easy.buffer);
      EXPECT_EQ(Bytes(bytes, bytes + picture.size), picture.bytes);
    }
  }
}

TEST(EasyDecode, CutsTheLevelToTheDeepest) {
  const Easy easy("grey_noise.j2k", "res_level=99");
  ASSERT_NE(easy.handle, nullptr);
  EXPECT_EQ(easy.width, 5u);
  EXPECT_EQ(easy.height, 3u);
}

TEST(EasyDecode, ReportsEachFailure) {
  EXPECT_EQ(Easy("no such file.j2k").error, WBX_ERROR_OPEN);
  EXPECT_EQ(Easy("bad_signed.j2k").error, WBX_ERROR_SIGNED);
  EXPECT_EQ(Easy("rgb_noise.j2k", "bpp=2").error, WBX_ERROR_BPP);
  EXPECT_EQ(Easy("rgb_noise.j2k", "rl=1,what").error, WBX_ERROR_OPTION);
}

TEST(EasyDecode, WantsAllItsArguments) {
  const std::string path = dataPath("grey_noise.j2k");
  void* buffer = nullptr;
  uint32_t n = 0;
  EXPECT_EQ(WBX_EasyDecode(nullptr, &buffer, &n, &n, &n, ""), nullptr);
  EXPECT_EQ(WBX_getLastError(), WBX_ERROR_ARGUMENT);
  EXPECT_EQ(WBX_EasyDecode("", &buffer, &n, &n, &n, ""), nullptr);
  EXPECT_EQ(WBX_EasyDecode(path.c_str(), nullptr, &n, &n, &n, ""), nullptr);
  EXPECT_EQ(WBX_EasyDecode(path.c_str(), &buffer, nullptr, &n, &n, ""), nullptr);
  EXPECT_EQ(WBX_EasyDecode(path.c_str(), &buffer, &n, &n, nullptr, ""), nullptr);
  EXPECT_EQ(WBX_getLastError(), WBX_ERROR_ARGUMENT);
}

}  // namespace
}  // namespace wbx::test
