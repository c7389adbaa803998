// What callers do to the frame of the library: callbacks that fault, boast and call back,
// wild pointers, and texts that would forge the log.
#include <algorithm>
#include <atomic>
#include <chrono>
#include <functional>
#include <gtest/gtest.h>
#include <iterator>
#include <thread>

#include "api/slave_list.h"
#include "robust/support.h"

namespace wbx::test {
namespace {

WBX_Handle openBytes(const Bytes& file) {
  return WBX_OpenMemory(file.data(), static_cast<i32>(file.size()));
}

// A source whose reads go to a function first; a negative result of that stands for "deliver".
struct Host {
  explicit Host(Bytes content) : bytes(std::move(content)) {}
  Host(const Host&) = delete;
  Host& operator=(const Host&) = delete;

  WBX_Handle open() {
    CustomCallbacks callbacks = {};
    callbacks.seek = [](void* user, u32 offset) WBX_CALL {
      static_cast<Host*>(user)->position = offset;
      return 0;
    };
    callbacks.read = [](void* buffer, u32 count, void* user) WBX_CALL {
      return static_cast<Host*>(user)->read(static_cast<u8*>(buffer), count);
    };
    callbacks.close = [](void* user) WBX_CALL { ++static_cast<Host*>(user)->closes; };
    return WBX_OpenCustom(this, &callbacks);
  }

  i32 read(u8* buffer, u32 count) {
    const i32 answer = onRead ? onRead(buffer, count) : -1;
    if (answer >= 0) return answer;
    const size_t start = std::min(position, bytes.size());
    const size_t delivered = std::min<size_t>(count, bytes.size() - start);
    std::copy_n(bytes.data() + start, delivered, buffer);
    position += count;
    return static_cast<i32>(delivered);
  }

  Bytes bytes;
  size_t position = 0;
  int closes = 0;
  std::function<i32(u8*, u32)> onRead;
};

TEST(Callbacks, AreClosedOnceWhateverEndsTheOpen) {
  const std::function<i32(u8*, u32)> ends[] = {
      [](u8*, u32) { return 0; },
      [](u8*, u32) -> i32 { throw 1; },
      [](u8*, u32) {
        strike();
        return 0;
      },
  };
  for (const auto& end : ends) {
    Host host(dataFile("grey_noise.j2k"));
    host.onRead = end;
    const AcceptLeaks accept;
    EXPECT_EQ(host.open(), nullptr);
    EXPECT_EQ(host.closes, 1);
  }
  Host host(dataFile("grey_noise.j2k"));
  const CountedMemory none(0, true);
  EXPECT_EQ(host.open(), nullptr);
  EXPECT_EQ(WBX_getLastError(), WBX_ERROR_MEMORY);
  EXPECT_EQ(host.closes, 1);
}

TEST(Callbacks, AreAskedForSomethingAndFindNothingInTheirBuffers) {
  int emptyReads = 0, usedBuffers = 0;
  Host host(dataFile("all_boxes.jp2"));
  host.bytes.insert(host.bytes.end(), {0, 0, 0, 8, 'x', 'm', 'l', ' '});
  host.onRead = [&](u8* buffer, u32 count) {
    emptyReads += count == 0;
    // Values of up to 4 bytes keep what they were when a source ends.
    if (count > 4) usedBuffers += std::any_of(buffer, buffer + count, [](u8 b) { return b != 0; });
    return -1;
  };
  const WBX_Handle handle = host.open();
  ASSERT_NE(handle, nullptr);
  for (int i = 0; i < 2; ++i) EXPECT_EQ(decodeInternal(handle).code, WBX_OK);
  EXPECT_EQ(WBX_Close(handle), WBX_OK);
  EXPECT_EQ(emptyReads, 0);
  EXPECT_EQ(usedBuffers, 0);
}

int callsThatPass(WBX_Handle handle) {
  u32 a = 0, b = 0;
  i32 index = 0;
  const void* data = nullptr;
  void* buffer = nullptr;
  WBX_ImageInfoEx info;
  const i32 codes[] = {WBX_GetInfo(handle, &a, &b, nullptr),
                       WBX_GetInfoEx(handle, &info),
                       WBX_GetMetaData(handle, &index, &a, &data, &b),
                       WBX_GetResolutions(handle, &index),
                       WBX_GetResolutionDimensions(handle, 0, &a, &b),
                       WBX_GetResolutionDimensionsByStr(handle, "rl=1", &a, &b),
                       WBX_SelectTiles(handle, 0, 0, 1),
                       WBX_Decode(handle, &buffer, &a, nullptr, nullptr)};
  return static_cast<int>(std::count_if(std::begin(codes), std::end(codes),
                                        [](i32 code) { return code != WBX_ERROR_ARGUMENT; }));
}

TEST(BusyHandle, IsRefusedFromCallbacksAndOtherThreads) {
  Host host(dataFile("grey_noise.j2k"));
  const WBX_Handle handle = host.open();
  ASSERT_NE(handle, nullptr);
  const Picture alone = decodeInternal(handle);
  int passed = 0, reads = 0;
  host.onRead = [&](u8*, u32) {
    if (reads++ == 0) {
      passed += callsThatPass(handle);
      std::thread([&] { passed += callsThatPass(handle); }).join();
    }
    return -1;
  };
  EXPECT_EQ(decodeInternal(handle), alone);
  EXPECT_GT(reads, 0);
  EXPECT_EQ(passed, 0);

  host.onRead = [&](u8*, u32) {
    passed += WBX_Close(handle) != WBX_ERROR_ARGUMENT;
    return -1;
  };
  EXPECT_EQ(decodeInternal(handle).code, WBX_ERROR_CANCELLED) << "the close cancels it";
  EXPECT_EQ(passed, 0);
  EXPECT_EQ(callsThatPass(handle), 8);
  EXPECT_EQ(WBX_Close(handle), WBX_OK);
  EXPECT_EQ(host.closes, 1);
}

TEST(LogTexts, OfOthersStayInTheirLines) {
  const Bytes comment = {0, 1, 'a', '\n', '[', 0x1B, 0x9B, 0xE9, 0xC3, 0xA9, 0xC2, 0x85, 'z'};
  const Bytes codestream = siz({}) + segment(0x64, comment) + kEoc;
  Bytes boxes = dataFile("channels_blue_first.jp2");
  const Bytes jp2h = {'j', 'p', '2', 'h'};
  const auto header = std::search(boxes.begin(), boxes.end(), jp2h.begin(), jp2h.end());
  ASSERT_NE(header, boxes.end());
  std::copy_n("\0a\n]", 4, header);
  const std::string path = std::string(500, 'p') + "\n";
  ASSERT_EQ(WBX_StartLogging(0, 0), WBX_OK);
  WBX_Close(openBytes(codestream));
  WBX_Close(openBytes(boxes));
  WBX_OpenFile((path + path).c_str());
  WBX_OpenFile("a\nb");
  WBX_StopLogging();
  const std::string text = takeLog();
  for (const char* line : {"data=\"a\\x0A[\\x1B\\x9B\\xE9\xC3\xA9\\xC2\\x85z\"\n",
                           "[\\x00a\\x0A]]: ", "ppp...\")\n", "WBX_OpenFile(\"a\\x0Ab\")\n"}) {
    EXPECT_NE(text.find(line), std::string::npos) << line << text;
  }
}

TEST(Calls, TakeBadPointers) {
  WBX_getErrorStrVB(WBX_ERROR_CORRUPT, nullptr);
  WBX_getErrorStrVB(WBX_ERROR_CORRUPT, wild<char*>());

  void* buffer = &buffer;
  u32 width = 0, height = 0, components = 0;
  const std::string path = dataPath("grey_noise.j2k");
  EXPECT_EQ(WBX_EasyDecode(path.c_str(), &buffer, &width, &height, &components, "bpp=1,none"),
            nullptr);
  EXPECT_EQ(buffer, nullptr);
  EXPECT_EQ(WBX_EasyDecode(path.c_str(), &buffer, &width, &height, &components, "bpp=-5"), nullptr);
  EXPECT_EQ(buffer, nullptr) << "not what the close has freed";
}

// Into pixels and rows of odd sizes: they are where *pitch and an even bpp say.
TEST(Decode, PutsWordsWholeSamplesApart) {
  const Bytes file = dataFile("bits_12_422.j2k");
  const WBX_Handle handle = openBytes(file);
  ASSERT_NE(handle, nullptr);
  u32 width = 0, height = 0;
  WBX_GetInfo(handle, &width, &height, nullptr);
  for (const u32 given : {0u, 8 * width + 3}) {
    std::vector<u16> even((8 * width + 4) * height / 2), odd(even);
    void* target = even.data();
    u32 size = 0, pitch = given & ~1u;
    ASSERT_EQ(WBX_Decode(handle, &target, &size, "bpp=6,video=0", &pitch), WBX_OK);
    u32 oddPitch = given;
    target = odd.data();
    size = 0;
    ASSERT_EQ(WBX_Decode(handle, &target, &size, "bpp=7,video=0", &oddPitch), WBX_OK);
    EXPECT_EQ(oddPitch, pitch);
    EXPECT_EQ(size, pitch * height);
    EXPECT_EQ(odd, even);
  }
  EXPECT_EQ(WBX_Close(handle), WBX_OK);
}

TEST(SlaveListOf, ManyBuffersIsAsFastAsOne) {
  using Clock = std::chrono::steady_clock;
  SlaveList list;
  const auto best = [&list] {
    Clock::duration least = Clock::duration::max();
    for (int batch = 0; batch < 10; ++batch) {
      const Clock::time_point start = Clock::now();
      for (int i = 0; i < 100; ++i) EXPECT_NE(list.buy(8, &list), nullptr);
      least = std::min(least, Clock::now() - start);
    }
    return least;
  };
  const Clock::duration first = best();
  for (int i = 0; i < 20000; ++i) ASSERT_NE(list.buy(8, &list), nullptr);
  EXPECT_LT(best(), 20 * first + std::chrono::microseconds(200));
  list.clear();
}

}  // namespace
}  // namespace wbx::test
