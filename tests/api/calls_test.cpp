// The exported functions without an image: bad arguments, bad handles and the log lines.
#include <cstring>
#include <string>
#include <vector>

#include "api/decoder.h"
#include "api/log_file.h"

// Of the leak detector, where there is one.
extern "C" {
__attribute__((weak)) void __lsan_disable();
__attribute__((weak)) void __lsan_enable();
}

namespace wbx {
namespace {

// Each function that takes a handle, by what it gives for one.
struct Outputs {
  uint32_t a = 77, b = 77, c = 77;
  int32_t index = 77;
  const void* data = &a;
  void* buffer = nullptr;
  WBX_ImageInfoEx info = {};
};

std::vector<int32_t> callAll(WBX_Handle handle) {
  Outputs o;
  std::vector<int32_t> codes = {
      WBX_GetInfo(handle, &o.a, &o.b, &o.c),
      WBX_GetInfoEx(handle, &o.info),
      WBX_GetMetaData(handle, &o.index, &o.a, &o.data, &o.b),
      WBX_GetResolutions(handle, &o.index),
      WBX_GetResolutionDimensions(handle, 0, &o.a, &o.b),
      WBX_GetResolutionDimensionsByStr(handle, "rl=1", &o.a, &o.b),
      WBX_SelectTiles(handle, 0, 0, 1),
      WBX_Decode(handle, &o.buffer, &o.a, nullptr, &o.b),
  };
  EXPECT_EQ(o.a, 77u);
  EXPECT_EQ(o.b, 77u);
  EXPECT_EQ(o.index, 77);
  EXPECT_EQ(o.buffer, nullptr);
  return codes;
}

const std::vector<int32_t> kAllRefused(8, WBX_ERROR_ARGUMENT);

WBX_Handle handleAt(std::uintptr_t address) {
  return reinterpret_cast<WBX_Handle>(address);
}

void clearLastError() {
  WBX_OpenFile("/no/such/file");
  ASSERT_EQ(WBX_getLastError(), WBX_ERROR_OPEN);
}

int32_t errorOfCancel(WBX_Handle handle) {
  clearLastError();
  WBX_Cancel(handle);
  return WBX_getLastError();
}

TEST(Calls, RefuseANullHandle) {
  EXPECT_EQ(callAll(nullptr), kAllRefused);
  EXPECT_EQ(WBX_Close(nullptr), WBX_ERROR_ARGUMENT);
  EXPECT_EQ(errorOfCancel(nullptr), WBX_ERROR_ARGUMENT);
}

TEST(Calls, RefuseAWildHandleAgainAndAgain) {
  for (int i = 0; i < 3; ++i) {
    // Nothing there, misaligned, and no address at all.
    for (std::uintptr_t address :
         {std::uintptr_t{4096}, std::uintptr_t{4099}, std::uintptr_t{0xDEADBEEFDEADBEE8}}) {
      EXPECT_EQ(callAll(handleAt(address)), kAllRefused);
      EXPECT_EQ(WBX_Close(handleAt(address)), WBX_ERROR_ARGUMENT);
      EXPECT_EQ(errorOfCancel(handleAt(address)), WBX_ERROR_ARGUMENT);
    }
  }
}

TEST(Calls, RefuseMemoryThatIsNoImageAndLeaveItAlone) {
  std::vector<u64> memory(sizeof(Decoder) / sizeof(u64) + 8, 0x0101010101010101);
  const std::vector<u64> before = memory;
  EXPECT_EQ(callAll(reinterpret_cast<WBX_Handle>(memory.data())), kAllRefused);
  EXPECT_EQ(memory, before);
}

void expectRefused(WBX_Handle handle) {
  EXPECT_EQ(handle, nullptr);
  EXPECT_EQ(WBX_getLastError(), WBX_ERROR_ARGUMENT);
  clearLastError();
}

TEST(Calls, RefuseArgumentsOfAnOpen) {
  const char byte = 0;
  CustomCallbacks callbacks = {};
  expectRefused(WBX_OpenFile(nullptr));
  expectRefused(WBX_OpenMemory(nullptr, 10));
  expectRefused(WBX_OpenMemory(&byte, 0));
  expectRefused(WBX_OpenMemory(&byte, -1));
  expectRefused(WBX_OpenCustom(nullptr, nullptr));
  expectRefused(WBX_OpenCustom(nullptr, &callbacks));
  expectRefused(WBX_OpenCustom(nullptr, reinterpret_cast<const CustomCallbacks*>(4096)));
}

TEST(Calls, WildMemoryToReadAnImageFromIsAFaultOfTheOpen) {
  if (__lsan_disable != nullptr) __lsan_disable();  // what a fault interrupted stays lost
  EXPECT_EQ(WBX_OpenMemory(reinterpret_cast<const void*>(4096), 100), nullptr);
  EXPECT_EQ(WBX_getLastError(), WBX_ERROR_INTERNAL);
  if (__lsan_enable != nullptr) __lsan_enable();
}

TEST(Calls, EasyDecodeRefusesArguments) {
  void* buffer = nullptr;
  uint32_t w, h, c;
  expectRefused(WBX_EasyDecode(nullptr, &buffer, &w, &h, &c, nullptr));
  expectRefused(WBX_EasyDecode("", &buffer, &w, &h, &c, nullptr));
  expectRefused(WBX_EasyDecode("x", nullptr, &w, &h, &c, nullptr));
  expectRefused(WBX_EasyDecode("x", &buffer, nullptr, &h, &c, nullptr));
  expectRefused(WBX_EasyDecode("x", &buffer, &w, nullptr, &c, nullptr));
  expectRefused(WBX_EasyDecode("x", &buffer, &w, &h, nullptr, nullptr));

  buffer = &w;
  EXPECT_EQ(WBX_EasyDecode("/no/such/file", &buffer, &w, &h, &c, nullptr), nullptr);
  EXPECT_EQ(WBX_getLastError(), WBX_ERROR_OPEN);
  EXPECT_EQ(buffer, nullptr);
}

struct Source {
  int seeks = 0, reads = 0, closes = 0;
};

TEST(Calls, AFailedOpenClosesACustomSourceOnce) {
  Source source;
  CustomCallbacks callbacks = {};
  callbacks.seek = [](void* user, uint32_t offset) -> int32_t {
    static_cast<Source*>(user)->seeks += offset == 0 ? 1 : 100;
    return 0;
  };
  callbacks.read = [](void*, uint32_t, void* user) -> int32_t {
    ++static_cast<Source*>(user)->reads;
    return 0;
  };
  callbacks.close = [](void* user) { ++static_cast<Source*>(user)->closes; };
  EXPECT_EQ(WBX_OpenCustom(&source, &callbacks), nullptr);
  EXPECT_EQ(source.seeks, 1);
  EXPECT_GT(source.reads, 0);
  EXPECT_EQ(source.closes, 1);
}

// An image that no codestream has to describe.
class HandleTest : public LogTest {
 protected:
  void SetUp() override {
    LogTest::SetUp();
    decoder_ = Decoder::create(wbx::Source::kMemory);
    ASSERT_NE(decoder_, nullptr);
    decoder_->index.image.components = 3;
    decoder_->index.image.image = decoder_->decodeRegion = {10, 20, 110, 220};
  }
  WBX_Handle handle() { return reinterpret_cast<WBX_Handle>(decoder_); }

  Decoder* decoder_ = nullptr;
};

TEST_F(HandleTest, LogsItsCalls) {
  uint32_t w = 0, h = 0;
  const std::string text = logOf([&] {
    EXPECT_EQ(WBX_GetInfo(handle(), &w, nullptr, nullptr), WBX_OK);
    EXPECT_EQ(WBX_GetResolutionDimensions(handle(), 5, &w, &h), WBX_ERROR_RESOLUTION);
    EXPECT_EQ(WBX_SelectTiles(handle(), -1, 2, 7), WBX_ERROR_TILE);
    EXPECT_EQ(WBX_GetInfo(nullptr, nullptr, nullptr, nullptr), WBX_ERROR_ARGUMENT);
    WBX_Cancel(nullptr);
    WBX_OpenFile("no such file");
    WBX_OpenFile(nullptr);
    WBX_Decode(nullptr, nullptr, nullptr, "bpp=4", nullptr);
    void* internal = nullptr;
    WBX_Decode(nullptr, &internal, nullptr, nullptr, nullptr);
    WBX_Decode(handle(), reinterpret_cast<void**>(16), &w, reinterpret_cast<char*>(16), nullptr);
    WBX_getErrorStr(-5);
  });
  EXPECT_EQ(text,
            "\n[] API call: WBX_GetInfo() - OK"
            "\n[] API call: WBX_GetResolutionDimensions()"
            "\n[] API call: WBX_SelectTiles(-1,2,7)"
            "\n[] API call: WBX_GetInfo()"
            "\n[] API call: WBX_Cancel((nil)) <= Invalid argument passed!"
            "\n[] API call: WBX_OpenFile(\"no such file\")"
            "\n[] API call: WBX_OpenFile(null)"
            "\n[] API call: WBX_Decode(\"bpp=4\"), using external buffer"
            "\n[] API call: WBX_Decode(\"\"), using internal buffer"
            "\n[] API call: WBX_Decode(\"\"), using external buffer"
            "\n[] [!!! INTERNAL ERROR] Fatal Exception (C0000005): Access Violation."
            "\n[] API call: WBX_getErrorStr(-5) => \"<unknown>\".");
  EXPECT_EQ(WBX_Close(handle()), WBX_OK);
}

TEST_F(HandleTest, WildOutputPointersGiveTheCodeOfTheirLevel) {
  auto* wild = reinterpret_cast<uint32_t*>(16);
  auto* wildIndex = reinterpret_cast<int32_t*>(16);
  uint32_t u;
  const void* data;
  EXPECT_EQ(WBX_GetInfo(handle(), wild, nullptr, nullptr), WBX_ERROR_ARGUMENT);
  EXPECT_EQ(WBX_GetInfoEx(handle(), reinterpret_cast<WBX_ImageInfoEx*>(16)), WBX_ERROR_ARGUMENT);
  EXPECT_EQ(WBX_GetResolutions(handle(), wildIndex), WBX_ERROR_ARGUMENT);
  EXPECT_EQ(WBX_GetMetaData(handle(), wildIndex, &u, &data, &u), WBX_ERROR_INTERNAL);
  EXPECT_EQ(WBX_GetResolutionDimensions(handle(), 0, wild, &u), WBX_ERROR_INTERNAL);
  EXPECT_EQ(WBX_GetInfo(handle(), &u, nullptr, nullptr), WBX_OK) << "the handle is unharmed";
  EXPECT_EQ(u, 100u);
  EXPECT_EQ(WBX_Close(handle()), WBX_OK);
}

TEST_F(HandleTest, AnswersAboutAnEmptyGridAndEmptyMetadata) {
  int32_t count = 0, index = 0;
  uint32_t kind = 77, length = 77;
  const void* data = &count;
  EXPECT_EQ(WBX_GetResolutions(handle(), &count), WBX_OK);
  EXPECT_EQ(count, 1);
  for (int32_t i = 1; i <= 3; ++i) {
    EXPECT_EQ(WBX_GetMetaData(handle(), &index, &kind, &data, &length), WBX_OK);
    EXPECT_EQ(index, i);
    EXPECT_EQ(data, nullptr);
  }
  index = INT32_MAX;
  EXPECT_EQ(WBX_GetMetaData(handle(), &index, &kind, &data, &length), WBX_OK);
  EXPECT_EQ(kind, 77u);
  EXPECT_EQ(length, 77u);
  EXPECT_EQ(WBX_Close(handle()), WBX_OK);
}

TEST_F(HandleTest, ResolutionDimensionsOfAnOptionText) {
  uint32_t w = 0, h = 0;
  EXPECT_EQ(WBX_GetResolutionDimensionsByStr(handle(), nullptr, &w, &h), WBX_OK);
  EXPECT_EQ(w, 100u);
  EXPECT_EQ(h, 200u);
  EXPECT_EQ(WBX_GetResolutionDimensionsByStr(handle(), "rl=-1,what", &w, &h), WBX_OK);
  EXPECT_EQ(WBX_GetResolutionDimensionsByStr(handle(), "rl=1,what", &w, &h), WBX_ERROR_RESOLUTION);
  EXPECT_EQ(w, 100u);
  EXPECT_EQ(WBX_GetResolutionDimensionsByStr(handle(), reinterpret_cast<char*>(16), &w, &h),
            WBX_ERROR_ARGUMENT);
  EXPECT_EQ(WBX_Close(handle()), WBX_OK);
}

}  // namespace
}  // namespace wbx
