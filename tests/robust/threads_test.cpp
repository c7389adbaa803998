// Handles in threads of their own, the log under load, and a cancel from another thread.
#include <atomic>
#include <chrono>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <thread>

#include "robust/support.h"

namespace wbx::test {
namespace {

TEST(Threads, WithHandlesOfTheirOwnWhileTheLogComesAndGoes) {
  std::atomic<int> running = 8;
  std::vector<std::thread> threads;
  for (size_t t = 0; t < 8; ++t) {
    threads.emplace_back([&running, t] {
      const Bytes bytes = smallFiles()[t + 1].bytes;
      Picture first;
      for (int round = 0; round < 12; ++round) {
        Source source(bytes, kWays[round % 3]);
        ASSERT_NE(source.open(), nullptr);
        const Picture picture = decodeInternal(source.handle);
        EXPECT_EQ(picture.code, WBX_OK);
        if (round == 0) first = picture;
        EXPECT_EQ(picture, first) << t;
        EXPECT_EQ(walkMetadata(source.handle), WBX_OK);
        EXPECT_EQ(WBX_OpenMemory(nullptr, 1), nullptr);
        EXPECT_EQ(WBX_getLastError(), WBX_ERROR_ARGUMENT);
      }
      --running;
    });
  }
  int starts = 0;
  while (running > 0) {
    if (WBX_StartLogging(0, starts != 0) == WBX_OK) ++starts;
    std::this_thread::sleep_for(std::chrono::milliseconds(2));
    WBX_StopLogging();
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_GT(starts, 0);
  // No line runs into another one.
  std::ifstream log("wbx-codec.log");
  int lines = 0;
  for (std::string line; std::getline(log, line); ++lines)
    EXPECT_TRUE(line.empty() || line[0] == '[') << line;
  EXPECT_GT(lines, 0);
  log.close();
  std::filesystem::remove("wbx-codec.log");
}

// One tile of 8192 x 8192 pixels without a single code block: all the work of the wavelet and the
// writer from a hundred bytes.
TEST(Threads, ACancelFromAnotherOneEndsALongDecodeSoon) {
  using Clock = std::chrono::steady_clock;
  const Bytes file = siz({.x1 = 8192, .y1 = 8192, .tile = 8192, .components = 3}) +
                     segment(0x52, {0, 0, 0, 1, 0, 5, 4, 4, 0, 1}) +
                     segment(0x5C, Bytes(1 + 16, 0x40)) + sot(0, 0) + kSod + Bytes(18, 0) + kEoc;
  Source source(file, Way::kMemory);
  ASSERT_NE(source.open(), nullptr) << WBX_getLastError();
  WBX_Cancel(source.handle);  // nothing runs: forgotten
  EXPECT_EQ(decode(source.handle, "rl=5").code, WBX_OK);
  // The decode clears the flag when it begins, so the cancel is given again until it has worked.
  std::atomic<bool> ended = false;
  std::atomic<Clock::rep> asked = 0;
  std::thread other([&] {
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
    asked = Clock::now().time_since_epoch().count();
    while (!ended) {
      WBX_Cancel(source.handle);
      std::this_thread::sleep_for(std::chrono::microseconds(200));
    }
  });
  const int32_t code = decodeInternal(source.handle).code;
  const Clock::time_point end = Clock::now();
  ended = true;
  other.join();
  EXPECT_EQ(code, WBX_ERROR_CANCELLED);
  EXPECT_LT(end - Clock::time_point(Clock::duration(asked)),
            std::chrono::milliseconds(kSlow ? 3000 : 500));
}

}  // namespace
}  // namespace wbx::test
