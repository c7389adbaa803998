// Faults in several threads beside an application's own handlers, the log under load, and a cancel
// from another thread.
#include <algorithm>
#include <array>
#include <atomic>
#include <chrono>
#include <csetjmp>
#include <csignal>
#include <filesystem>
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

#include "parse/bytes.h"
#include "robust/support.h"

namespace wbx::test::robust {
namespace {

using Clock = std::chrono::steady_clock;

// Where no process has memory, without undefined behaviour that a compiler sees. Each thread has a
// place of its own, or they would race for it.
template <class T>
T wildPointer() {
  static std::atomic<std::uintptr_t> threads;
  thread_local volatile std::uintptr_t address = 256 * (1 + threads++ % 64);
  return reinterpret_cast<T>(address);
}

// Each of the ways in which a call meets memory that is not there.
void strikeOften(const Bytes& file, int times) {
  for (int i = 0; i < times; ++i) {
    const WBX_Handle handle = openBytes(file);
    ASSERT_NE(handle, nullptr);
    EXPECT_EQ(WBX_GetInfo(wildPointer<WBX_Handle>(), nullptr, nullptr, nullptr),
              WBX_ERROR_ARGUMENT);
    EXPECT_EQ(WBX_Close(wildPointer<WBX_Handle>()), WBX_ERROR_ARGUMENT);
    EXPECT_EQ(WBX_GetInfo(handle, wildPointer<u32*>(), nullptr, nullptr), WBX_ERROR_ARGUMENT);
    EXPECT_EQ(WBX_GetInfoEx(handle, wildPointer<WBX_ImageInfoEx*>()), WBX_ERROR_ARGUMENT);
    EXPECT_EQ(WBX_GetResolutions(handle, wildPointer<i32*>()), WBX_ERROR_ARGUMENT);
    EXPECT_EQ(WBX_OpenMemory(wildPointer<void*>(), 100), nullptr);
    EXPECT_EQ(WBX_getLastError(), WBX_ERROR_INTERNAL);
    void* buffer = wildPointer<void*>();
    u32 size = 0;
    EXPECT_EQ(WBX_Decode(handle, &buffer, &size, nullptr, nullptr), WBX_ERROR_INTERNAL);
    EXPECT_EQ(decodeInternal(handle).code, WBX_OK) << "the handle outlives a wild picture";
    EXPECT_EQ(WBX_Close(handle), WBX_OK);
  }
}

thread_local sigjmp_buf applicationEscape;
std::atomic<int> applicationFaults;

void onApplicationFault(int) {
  ++applicationFaults;
  siglongjmp(applicationEscape, 1);
}

#if defined(__clang__) || defined(__GNUC__)
__attribute__((no_sanitize("undefined", "address", "thread")))
#endif
void writeNowhere() {
  *wildPointer<volatile int*>() = 1;
}

// The application's own way to live with a fault of its own.
bool applicationSurvives() {
  if (sigsetjmp(applicationEscape, 1) != 0) return true;
  writeNowhere();
  return false;
}

// An application that had its handler in place before the library came.
class FaultsBesideAnApplication : public testing::Test {
 protected:
  void SetUp() override {
    WBX_CloseLibrary();
    struct sigaction action = {};
    action.sa_handler = &onApplicationFault;
    action.sa_flags = SA_ONSTACK;
    sigemptyset(&action.sa_mask);
    ASSERT_EQ(sigaction(SIGSEGV, &action, &before_), 0);
    WBX_InitLibrary();
    applicationFaults = 0;
  }
  void TearDown() override {
    WBX_CloseLibrary();
    sigaction(SIGSEGV, &before_, nullptr);
    WBX_InitLibrary();
  }

  const Bytes file_ = dataFile("bits_12_422.j2k");

 private:
  struct sigaction before_ = {};
};

// A fault leaves memory behind that nobody can free, which a leak checker need not be told.
#if defined(__SANITIZE_ADDRESS__)
extern "C" void __lsan_disable();
extern "C" void __lsan_enable();
struct AcceptLeaks {
  AcceptLeaks() { __lsan_disable(); }
  ~AcceptLeaks() { __lsan_enable(); }
};
#else
struct AcceptLeaks {
  AcceptLeaks() {}
};
#endif

TEST_F(FaultsBesideAnApplication, InManyThreads) {
  std::array<std::thread, 8> threads;
  for (std::thread& thread : threads) {
    thread = std::thread([this] {
      const AcceptLeaks accept;
      for (int round = 0; round < 5; ++round) {
        strikeOften(file_, 4);
        EXPECT_TRUE(applicationSurvives());
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(applicationFaults, 8 * 5);
}

TEST_F(FaultsBesideAnApplication, OnAnAlternateStack) {
  std::thread([this] {
    const AcceptLeaks accept;
    std::array<u8, 1 << 16> stack;
    stack_t alternate = {}, old = {};
    alternate.ss_sp = stack.data();
    alternate.ss_size = stack.size();
    ASSERT_EQ(sigaltstack(&alternate, &old), 0);
    for (int round = 0; round < 3; ++round) {
      strikeOften(file_, 3);
      EXPECT_TRUE(applicationSurvives());
    }
    // The stack counts as left, or the next fault would not get it.
    stack_t now = {};
    EXPECT_EQ(sigaltstack(nullptr, &now), 0);
    EXPECT_EQ(now.ss_flags & SS_ONSTACK, 0);
    EXPECT_EQ(sigaltstack(&old, nullptr), 0);
  }).join();
  EXPECT_EQ(applicationFaults, 3);
}

TEST_F(FaultsBesideAnApplication, InAForkedChild) {
  const pid_t child = fork();
  ASSERT_GE(child, 0);
  if (child == 0) {
    strikeOften(file_, 3);
    const bool survived = applicationSurvives();
    _exit(!survived || testing::Test::HasFailure() ? 1 : 0);
  }
  int status = 0;
  ASSERT_EQ(waitpid(child, &status, 0), child);
  EXPECT_TRUE(WIFEXITED(status));
  EXPECT_EQ(WEXITSTATUS(status), 0);
}

TEST_F(InAFolderOfItsOwn, ThreadsWithHandlesOfTheirOwnWhileTheLogComesAndGoes) {
  static const char* const kNames[] = {"grey_noise.j2k",      "irr_tiles.j2k",    "bits_12_422.j2k",
                                       "irr_bits_16.j2k",     "roi_grey.j2k",     "rgba_plain.j2k",
                                       "precincts_small.j2k", "parts_plt_tlm.j2k"};
  std::atomic<int> running = 8;
  std::array<std::thread, 8> threads;
  for (size_t t = 0; t < threads.size(); ++t) {
    threads[t] = std::thread([&running, t] {
      const Bytes bytes = dataFile(kNames[t]);
      Picture first;
      for (int round = 0; round < 12; ++round) {
        Source source(bytes, (round & 2) != 0);
        const WBX_Handle handle = (round & 1) != 0 ? source.open() : openBytes(bytes);
        ASSERT_NE(handle, nullptr);
        const Picture picture = decodeInternal(handle);
        EXPECT_EQ(picture.code, WBX_OK);
        if (round == 0) first = picture;
        EXPECT_TRUE(picture == first) << kNames[t];
        EXPECT_EQ(walkMetadata(handle), WBX_OK);
        WBX_Cancel(handle);
        EXPECT_EQ(WBX_Close(handle), WBX_OK);
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
  EXPECT_GT(std::filesystem::file_size("wbx-codec.log"), 0u);
}

// One tile of 8192 x 8192 pixels without a single code block: all the work of the wavelet and the
// writer from a hundred bytes.
Bytes longDecode() {
  using parse::operator+;
  const parse::Siz siz = {
      .Xsiz = 8192, .Ysiz = 8192, .XTsiz = 8192, .YTsiz = 8192, .components = {{}, {}, {}}};
  return parse::kSoc + siz.bytes() + parse::Cod{.levels = 5}.bytes() +
         parse::segment(0x5C, Bytes(1 + 16, 0x40)) + parse::sot(0, 0, 0, 1) + parse::kSod +
         Bytes(6 * 3, 0) + parse::kEoc;
}

TEST(Cancel, FromAnotherThreadEndsALongDecodeSoon) {
  const Bytes file = longDecode();
  const WBX_Handle handle = openBytes(file);
  ASSERT_NE(handle, nullptr) << WBX_getLastError();
  // The decode clears the flag when it begins, so the cancel is given again until it has worked.
  std::atomic<bool> ended = false;
  std::atomic<Clock::rep> asked = 0;
  std::thread other([&] {
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
    asked = Clock::now().time_since_epoch().count();
    while (!ended) {
      WBX_Cancel(handle);
      std::this_thread::sleep_for(std::chrono::microseconds(200));
    }
  });
  void* buffer = nullptr;
  u32 size = 0;
  const i32 code = WBX_Decode(handle, &buffer, &size, nullptr, nullptr);
  const Clock::time_point end = Clock::now();
  ended = true;
  other.join();
  EXPECT_EQ(code, WBX_ERROR_CANCELLED);
  const Clock::duration waited = end - Clock::time_point(Clock::duration(asked));
  EXPECT_LT(waited, std::chrono::milliseconds(kSlow ? 3000 : 500));
  EXPECT_EQ(WBX_Close(handle), WBX_OK);
}

}  // namespace
}  // namespace wbx::test::robust
