// Processor faults inside a call: in the caller's memory and in its callbacks, in several threads,
// beside the handlers of an application. For POSIX systems.
#include <atomic>
#include <csetjmp>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <iterator>
#include <pthread.h>
#include <stdexcept>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

#include "robust/support.h"

#if defined(__SANITIZE_ADDRESS__)
extern "C" void __lsan_disable();
extern "C" void __lsan_enable();
#endif

namespace wbx::test {
namespace {

// A fault leaves memory behind that nobody can free, which a leak checker need not be told.
struct AcceptLeaks {
#if defined(__SANITIZE_ADDRESS__)
  AcceptLeaks() {
    __lsan_disable();
  }
  ~AcceptLeaks() {
    __lsan_enable();
  }
#else
  AcceptLeaks() {}
#endif
};

// Where no process has memory, without undefined behaviour that a compiler sees. Each thread has a
// place of its own, or they would race for it.
template <class T>
T wild() {
  static std::atomic<std::uintptr_t> threads;
  thread_local volatile std::uintptr_t address = 256 * (1 + threads++ % 64);
  return reinterpret_cast<T>(address);
}

__attribute__((no_sanitize("undefined", "address", "thread"))) void strike() {
  *wild<volatile int*>() = 1;
}
void trap() {
  __builtin_trap();
}
void throwSomething() {
  throw std::runtime_error("no");
}
void sendToSelf() {
  raise(SIGSEGV);
}
void endThread() {
  pthread_exit(nullptr);
}
#if defined(__x86_64__)
void divideByZero() {
  int quotient = 1, remainder = 0;
  asm volatile("idivl %2" : "+a"(quotient), "+d"(remainder) : "r"(0) : "cc");
}
#endif

// The code of an open whose first read does this.
int32_t openThat(void (*action)()) {
  CustomCallbacks callbacks = {};
  callbacks.read = [](void*, uint32_t, void* user) -> int32_t {
    reinterpret_cast<void (*)()>(user)();
    return -1;
  };
  EXPECT_EQ(WBX_OpenCustom(reinterpret_cast<void*>(action), &callbacks), nullptr);
  return WBX_getLastError();
}

TEST(Faults, OfACallbackEndTheCallAndAreLogged) {
  const AcceptLeaks accept;
  const struct {
    void (*action)();
    const char* text;
  } rows[] = {
    {strike, "(C0000005): Access Violation."},
    {trap, "(C000001D): Illegal Instruction."},
#if defined(__x86_64__)
    {divideByZero, "(C0000094): Integer Divide By Zero."},
#endif
    {throwSomething, "(E06D7363): Unknown."}
  };
  for (const auto& row : rows) {
    for (int i = 0; i < 20; ++i) EXPECT_EQ(openThat(row.action), WBX_ERROR_INTERNAL) << row.text;
    ASSERT_EQ(WBX_StartLogging(0, 0), WBX_OK);
    openThat(row.action);
    WBX_StopLogging();
    std::ifstream file("wbx-codec.log");
    const std::string log{std::istreambuf_iterator<char>(file), {}};
    EXPECT_NE(log.find(std::string("[!!! INTERNAL ERROR] Fatal Exception ") + row.text),
              std::string::npos)
        << log;
    std::filesystem::remove("wbx-codec.log");
  }
}

TEST(Faults, LeaveTheSignalMaskAsItWas) {
  const AcceptLeaks accept;
  sigset_t some, before, now;
  sigemptyset(&some);
  sigaddset(&some, SIGUSR1);
  pthread_sigmask(SIG_BLOCK, &some, &before);
  openThat(strike);
  pthread_sigmask(SIG_SETMASK, &before, &now);
  EXPECT_EQ(sigismember(&now, SIGUSR1), 1);
  EXPECT_EQ(sigismember(&now, SIGSEGV), 0);
}

TEST(Faults, AThreadMayEndInsideACallback) {
  std::thread([] {
    pthread_t thread;
    const auto body = [](void*) -> void* {
      const AcceptLeaks accept;  // of this thread
      return openThat(endThread), nullptr;
    };
    ASSERT_EQ(pthread_create(&thread, nullptr, body, nullptr), 0);
    EXPECT_EQ(pthread_join(thread, nullptr), 0);
  }).join();
}

// Each of the ways in which a call meets memory that is not there.
void strikeOften(const Bytes& file, int times) {
  for (int i = 0; i < times; ++i) {
    Source source(file, Way::kMemory);
    const WBX_Handle handle = source.open();
    ASSERT_NE(handle, nullptr);
    uint32_t u = 0;
    const void* data = nullptr;
    for (const std::uintptr_t place :
         {std::uintptr_t{4096}, std::uintptr_t{4099}, ~std::uintptr_t{7}}) {
      const auto none = reinterpret_cast<WBX_Handle>(place);
      EXPECT_EQ(WBX_GetInfo(none, nullptr, nullptr, nullptr), WBX_ERROR_ARGUMENT);
      EXPECT_EQ(WBX_SelectTiles(none, 0, 0, 1), WBX_ERROR_ARGUMENT);
      EXPECT_EQ(WBX_Close(none), WBX_ERROR_ARGUMENT);
      WBX_Cancel(none);
      EXPECT_EQ(WBX_getLastError(), WBX_ERROR_ARGUMENT);
    }
    EXPECT_EQ(WBX_GetInfo(handle, wild<uint32_t*>(), nullptr, nullptr), WBX_ERROR_ARGUMENT);
    EXPECT_EQ(WBX_GetInfoEx(handle, wild<WBX_ImageInfoEx*>()), WBX_ERROR_ARGUMENT);
    EXPECT_EQ(WBX_GetResolutions(handle, wild<int32_t*>()), WBX_ERROR_ARGUMENT);
    EXPECT_EQ(WBX_GetResolutionDimensionsByStr(handle, wild<char*>(), &u, &u), WBX_ERROR_ARGUMENT);
    EXPECT_EQ(WBX_GetMetaData(handle, wild<int32_t*>(), &u, &data, &u), WBX_ERROR_INTERNAL);
    EXPECT_EQ(WBX_GetResolutionDimensions(handle, 0, wild<uint32_t*>(), &u), WBX_ERROR_INTERNAL);
    EXPECT_EQ(WBX_OpenCustom(nullptr, wild<CustomCallbacks*>()), nullptr);
    EXPECT_EQ(WBX_getLastError(), WBX_ERROR_ARGUMENT);
    EXPECT_EQ(WBX_OpenMemory(wild<void*>(), 100), nullptr);
    EXPECT_EQ(WBX_getLastError(), WBX_ERROR_INTERNAL);
    void* buffer = wild<void*>();
    u = 0;
    EXPECT_EQ(WBX_Decode(handle, &buffer, &u, nullptr, nullptr), WBX_ERROR_INTERNAL);
    EXPECT_EQ(decodeInternal(handle).code, WBX_OK) << "the handle outlives a wild picture";
  }
}

thread_local sigjmp_buf applicationEscape;
std::atomic<int> applicationFaults;

void onApplicationFault(int) {
  ++applicationFaults;
  siglongjmp(applicationEscape, 1);
}
void onSentSignal(int) {
  ++applicationFaults;
}

void setHandler(void (*handler)(int), struct sigaction* before = nullptr) {
  struct sigaction action = {};
  action.sa_handler = handler;
  action.sa_flags = SA_ONSTACK;
  ASSERT_EQ(sigaction(SIGSEGV, &action, before), 0);
}

// The application's own way to live with a fault of its own.
bool applicationSurvives() {
  if (sigsetjmp(applicationEscape, 1) != 0) return true;
  strike();
  return false;
}

// An application that had its handler in place before the library came.
class FaultsBesideAnApplication : public testing::Test {
 protected:
  void SetUp() override {
    WBX_CloseLibrary();
    setHandler(&onApplicationFault, &before_);
    WBX_InitLibrary();
    applicationFaults = 0;
  }
  void TearDown() override {
    WBX_CloseLibrary();
    sigaction(SIGSEGV, &before_, nullptr);
    WBX_InitLibrary();
  }
  void strikeBoth() const {
    const AcceptLeaks accept;
    for (int round = 0; round < 3; ++round) {
      strikeOften(file_, 3);
      EXPECT_TRUE(applicationSurvives());
    }
  }

  const Bytes file_ = dataFile("bits_12_422.j2k");

 private:
  struct sigaction before_ = {};
};

TEST_F(FaultsBesideAnApplication, InManyThreads) {
  std::vector<std::thread> threads;
  for (int i = 0; i < 8; ++i) threads.emplace_back([this] { strikeBoth(); });
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(applicationFaults, 8 * 3);
}

TEST_F(FaultsBesideAnApplication, OnAnAlternateStack) {
  std::thread([this] {
    std::vector<uint8_t> stack(1 << 16);
    stack_t alternate = {}, old = {}, now = {};
    alternate.ss_sp = stack.data();
    alternate.ss_size = stack.size();
    ASSERT_EQ(sigaltstack(&alternate, &old), 0);
    strikeBoth();
    // The stack counts as left, or the next fault would not get it.
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
    strikeBoth();
    _exit(testing::Test::HasFailure() ? 1 : 0);
  }
  int status = 0;
  ASSERT_EQ(waitpid(child, &status, 0), child);
  EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0);
}

TEST_F(FaultsBesideAnApplication, SignalsThatWereSentAreTheApplications) {
  setHandler(&onSentSignal);
  WBX_CloseLibrary();
  WBX_InitLibrary();
  EXPECT_NE(openThat(sendToSelf), WBX_ERROR_INTERNAL);
  EXPECT_EQ(applicationFaults, 1);
}

TEST_F(FaultsBesideAnApplication, HandlersComeAndGoWithTheLibrary) {
  const AcceptLeaks accept;
  WBX_CloseLibrary();
  EXPECT_TRUE(applicationSurvives());
  WBX_InitLibrary();
  // One that is set above the library's survives its shutdown and its next start.
  setHandler(&onApplicationFault);
  WBX_CloseLibrary();
  WBX_InitLibrary();
  EXPECT_TRUE(applicationSurvives());
  EXPECT_EQ(applicationFaults, 2);
  std::signal(SIGSEGV, SIG_DFL);
  WBX_CloseLibrary();
  WBX_InitLibrary();
  EXPECT_EQ(openThat(strike), WBX_ERROR_INTERNAL) << "nobody is above any more";
}

TEST_F(FaultsBesideAnApplication, WithoutAHandlerAFaultOutsideEndsTheProcess) {
  std::signal(SIGSEGV, SIG_DFL);
  WBX_CloseLibrary();
  WBX_InitLibrary();
  EXPECT_EXIT(strike(), testing::KilledBySignal(SIGSEGV), "");
  EXPECT_EXIT(raise(SIGSEGV), testing::KilledBySignal(SIGSEGV), "");
}

}  // namespace
}  // namespace wbx::test
