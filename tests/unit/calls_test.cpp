// What a recording does not show of the exported functions: null arguments, memory that is no
// image, the error of a thread, the end of the library.
#include <atomic>
#include <cstring>
#include <filesystem>
#include <gtest/gtest.h>
#include <thread>

#include "robust/support.h"

namespace wbx::test {
namespace {

// The results of all functions that take a handle; none may store anything.
std::vector<int32_t> callAll(WBX_Handle handle) {
  uint32_t a = 77, b = 77;
  int32_t index = 77;
  const void* data = &a;
  void* buffer = nullptr;
  WBX_ImageInfoEx info = {};
  std::vector<int32_t> codes = {WBX_GetInfo(handle, &a, &b, nullptr),
                                WBX_GetInfoEx(handle, &info),
                                WBX_GetMetaData(handle, &index, &a, &data, &b),
                                WBX_GetResolutions(handle, &index),
                                WBX_GetResolutionDimensions(handle, 0, &a, &b),
                                WBX_GetResolutionDimensionsByStr(handle, "rl=1", &a, &b),
                                WBX_SelectTiles(handle, 0, 0, 1),
                                WBX_Decode(handle, &buffer, &a, nullptr, &b)};
  EXPECT_TRUE(a == 77 && b == 77 && index == 77 && buffer == nullptr);
  return codes;
}
const std::vector<int32_t> kAllRefused(8, WBX_ERROR_ARGUMENT);

TEST(Calls, RefuseWhatIsNoImageAndLeaveItAlone) {
  EXPECT_EQ(callAll(nullptr), kAllRefused);
  EXPECT_EQ(WBX_Close(nullptr), WBX_ERROR_ARGUMENT);
  std::vector<uint64_t> memory(20000, 0x0101010101010101);
  const std::vector<uint64_t> before = memory;
  EXPECT_EQ(callAll(reinterpret_cast<WBX_Handle>(memory.data())), kAllRefused);
  EXPECT_EQ(memory, before);
}

TEST(Calls, RefuseMissingArguments) {
  const Bytes bytes = dataFile("grey_noise.j2k");
  Source source(bytes, Way::kMemory);
  const WBX_Handle handle = source.open();
  uint32_t u = 0;
  int32_t i = 0;
  const void* data = nullptr;
  void* buffer = nullptr;
  const char byte = 0;
  const CustomCallbacks callbacks = {};
  const auto refused = [](WBX_Handle opened) {
    const bool right = opened == nullptr && WBX_getLastError() == WBX_ERROR_ARGUMENT;
    EXPECT_EQ(WBX_OpenFile("/no/such/file"), nullptr);
    EXPECT_EQ(WBX_getLastError(), WBX_ERROR_OPEN);
    return right;
  };
  for (const int32_t code :
       {WBX_GetInfoEx(handle, nullptr), WBX_GetMetaData(handle, nullptr, &u, &data, &u),
        WBX_GetMetaData(handle, &i, nullptr, &data, &u),
        WBX_GetMetaData(handle, &i, &u, nullptr, &u),
        WBX_GetMetaData(handle, &i, &u, &data, nullptr), WBX_GetResolutions(handle, nullptr),
        WBX_GetResolutionDimensions(handle, 0, nullptr, &u),
        WBX_GetResolutionDimensions(handle, 0, &u, nullptr),
        WBX_Decode(handle, nullptr, &u, "", nullptr),
        WBX_Decode(handle, &buffer, nullptr, "", nullptr)})
    EXPECT_EQ(code, WBX_ERROR_ARGUMENT);
  EXPECT_EQ(WBX_GetInfo(handle, nullptr, &u, nullptr), WBX_OK);
  EXPECT_EQ(u, 21u);
  EXPECT_TRUE(refused(WBX_OpenFile(nullptr)));
  EXPECT_TRUE(refused(WBX_OpenMemory(nullptr, 10)));
  EXPECT_TRUE(refused(WBX_OpenMemory(&byte, 0)));
  EXPECT_TRUE(refused(WBX_OpenMemory(&byte, -1)));
  EXPECT_TRUE(refused(WBX_OpenCustom(nullptr, nullptr)));
  EXPECT_TRUE(refused(WBX_OpenCustom(nullptr, &callbacks)));
  EXPECT_TRUE(refused(WBX_EasyDecode(nullptr, &buffer, &u, &u, &u, nullptr)));
  EXPECT_TRUE(refused(WBX_EasyDecode("", &buffer, &u, &u, &u, nullptr)));
  EXPECT_TRUE(refused(WBX_EasyDecode("x", nullptr, &u, &u, &u, nullptr)));
  EXPECT_TRUE(refused(WBX_EasyDecode("x", &buffer, nullptr, &u, &u, nullptr)));
  EXPECT_TRUE(refused(WBX_EasyDecode("x", &buffer, &u, nullptr, &u, nullptr)));
  EXPECT_TRUE(refused(WBX_EasyDecode("x", &buffer, &u, &u, nullptr, nullptr)));
}

// Nothing of the system is called between a failure and the look at its code, since on Windows that
// may change the word.
TEST(Calls, LeaveTheErrorToTheThread) {
  std::atomic<int> step = 0;
  std::thread other([&step] {
    while (step != 1) {
    }
    EXPECT_EQ(WBX_getLastError(), WBX_OK);
    EXPECT_EQ(WBX_OpenFile("/no/such/file"), nullptr);
    step = 2;
  });
  EXPECT_EQ(WBX_OpenFile(nullptr), nullptr);
  step = 1;
  while (step != 2) {
  }
  EXPECT_EQ(WBX_getLastError(), WBX_ERROR_ARGUMENT);
  other.join();
}

TEST(Calls, AnImageOutlivesTheLibraryButNotItsBuffers) {
  const Bytes bytes = dataFile("grey_noise.j2k");
  Source source(bytes, Way::kMemory);
  CountedMemory memory(CountedMemory::kNever, false, false);
  ASSERT_NE(source.open(), nullptr);
  ASSERT_EQ(WBX_StartLogging(0, 0), WBX_OK);
  EXPECT_EQ(decode(source.handle).code, WBX_OK);  // what a decode works on stays with the image
  const int64_t alive = memory.alive();
  const Picture picture = decodeInternal(source.handle);
  EXPECT_NE(decodeInternal(source.handle).bytes.data(), nullptr);
  WBX_CloseLibrary();  // ends the log too
  EXPECT_EQ(memory.alive(), alive);
  const auto size = std::filesystem::file_size("wbx-codec.log");
  WBX_CloseLibrary();
  EXPECT_EQ(WBX_GetInfo(source.handle, nullptr, nullptr, nullptr), WBX_OK);
  EXPECT_EQ(std::filesystem::file_size("wbx-codec.log"), size);
  WBX_InitLibrary();
  EXPECT_EQ(decodeInternal(source.handle), picture);
  EXPECT_EQ(source.close(), WBX_OK);
  WBX_CloseLibrary();
  WBX_InitLibrary();
  EXPECT_EQ(memory.alive(), 0);
  // A log that cannot be written.
  std::filesystem::remove("wbx-codec.log");
  std::filesystem::create_directory("wbx-codec.log");
  EXPECT_EQ(WBX_StartLogging(0, 0), WBX_ERROR_OPEN);
  std::filesystem::remove("wbx-codec.log");
}

}  // namespace
}  // namespace wbx::test
