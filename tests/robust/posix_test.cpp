// What only POSIX systems have: signals beside those of an application, jumps out of callbacks,
// forks, and files that cannot be sought in.
#include <atomic>
#include <csetjmp>
#include <csignal>
#include <filesystem>
#include <gtest/gtest.h>
#include <pthread.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

#include "robust/support.h"

namespace wbx::test {
namespace {

void sendToSelf() {
  raise(SIGSEGV);
}
void endThread() {
  pthread_exit(nullptr);
}

TEST(Faults, LeaveTheSignalMaskAsItWas) {
  const AcceptLeaks accept;
  sigset_t some, before, now;
  sigemptyset(&some);
  sigaddset(&some, SIGUSR1);
  pthread_sigmask(SIG_BLOCK, &some, &before);
  codeOfOpenThat(strike);
  pthread_sigmask(SIG_SETMASK, &before, &now);
  EXPECT_EQ(sigismember(&now, SIGUSR1), 1);
  EXPECT_EQ(sigismember(&now, SIGSEGV), 0);
}

TEST(Faults, AThreadMayEndInsideACallback) {
  std::thread([] {
    pthread_t thread;
    const auto body = [](void*) -> void* {
      const AcceptLeaks accept;  // of this thread
      return codeOfOpenThat(endThread), nullptr;
    };
    ASSERT_EQ(pthread_create(&thread, nullptr, body, nullptr), 0);
    EXPECT_EQ(pthread_join(thread, nullptr), 0);
  }).join();
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
  EXPECT_NE(codeOfOpenThat(sendToSelf), WBX_ERROR_INTERNAL);
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
  EXPECT_EQ(codeOfOpenThat(strike), WBX_ERROR_INTERNAL) << "nobody is above any more";
}

TEST_F(FaultsBesideAnApplication, WithoutAHandlerAFaultOutsideEndsTheProcess) {
  std::signal(SIGSEGV, SIG_DFL);
  WBX_CloseLibrary();
  WBX_InitLibrary();
  EXPECT_EXIT(strike(), testing::KilledBySignal(SIGSEGV), "");
  EXPECT_EXIT(raise(SIGSEGV), testing::KilledBySignal(SIGSEGV), "");
}

// An application that leaves library calls by longjmp, with a handler of its own.
sigjmp_buf jumpEscape;
volatile int applicationCalls;
volatile int32_t nestedCode;
WBX_Handle nestedHandle;

void onApplicationSignal(int number) {
  applicationCalls = applicationCalls + 1;
  if (number == SIGSEGV) siglongjmp(jumpEscape, 1);
  nestedCode = WBX_GetInfo(nestedHandle, wild<uint32_t*>(), nullptr, nullptr);
}

WBX_Handle openBytes(const Bytes& file) {
  return WBX_OpenMemory(file.data(), static_cast<int32_t>(file.size()));
}

class Jumps : public testing::Test {
 protected:
  void SetUp() override {
    WBX_CloseLibrary();
    struct sigaction action = {};
    action.sa_handler = onApplicationSignal;
    action.sa_flags = SA_ONSTACK;
    sigaction(SIGSEGV, &action, &before_);
    sigaction(SIGUSR1, &action, &beforeUser_);
    WBX_InitLibrary();
    applicationCalls = 0;
  }
  void TearDown() override {
    WBX_CloseLibrary();
    sigaction(SIGSEGV, &before_, nullptr);
    sigaction(SIGUSR1, &beforeUser_, nullptr);
    WBX_InitLibrary();
  }
  // The call is left on the way; what it held is lost.
  __attribute__((noinline)) static void openAndLeave() {
    const auto leave = [] { siglongjmp(jumpEscape, 1); };
    if (sigsetjmp(jumpEscape, 1) == 0) codeOfOpenThat(leave);
  }
  static void meetOwnFault() {
    if (sigsetjmp(jumpEscape, 1) == 0) strike();
  }
  static void expectAllIsWell() {
    meetOwnFault();
    EXPECT_EQ(applicationCalls, 1) << "a fault of the application's own";
    EXPECT_EQ(WBX_GetInfo(wild<WBX_Handle>(), nullptr, nullptr, nullptr), WBX_ERROR_ARGUMENT);
    meetOwnFault();
    EXPECT_EQ(applicationCalls, 2);
  }

 private:
  struct sigaction before_ = {}, beforeUser_ = {};
};

TEST_F(Jumps, OutOfACallbackLeaveTheApplicationItsFaults) {
  const AcceptLeaks accept;
  openAndLeave();
  expectAllIsWell();
}

#if !defined(__SANITIZE_THREAD__)  // it blocks all signals while a handler runs
TEST_F(Jumps, AndCallsOnTheStackForSignalsLeaveTheGuardsBelowAlone) {
  static uint8_t stack[1 << 16];
  stack_t alternate = {}, old = {};
  alternate.ss_sp = stack;
  alternate.ss_size = sizeof stack;
  ASSERT_EQ(sigaltstack(&alternate, &old), 0);
  const Bytes file = dataFile("grey_noise.j2k");
  nestedHandle = openBytes(file);
  nestedCode = WBX_OK;
  const AcceptLeaks accept;
  const auto meetFaults = [] {
    raise(SIGUSR1);  // its handler meets a fault inside the library, which is taken there
    strike();        // and this one by the guard of the open
  };
  EXPECT_EQ(codeOfOpenThat(meetFaults), WBX_ERROR_INTERNAL);
  EXPECT_EQ(nestedCode, WBX_ERROR_ARGUMENT);
  applicationCalls = 0;
  expectAllIsWell();
  WBX_Close(nestedHandle);
  EXPECT_EQ(sigaltstack(&old, nullptr), 0);
}
#endif

#if !defined(__SANITIZE_ADDRESS__)  // its allocator has locks that hang a child
TEST(Forks, LeaveAChildThatWorksWhileOtherThreadsDecode) {
  const Bytes file = dataFile("grey_noise.j2k");
  ASSERT_EQ(WBX_StartLogging(0, 0), WBX_OK);
  std::atomic<bool> ended = false;
  std::thread threads[3];
  for (std::thread& thread : threads) {
    thread = std::thread([&] {
      while (!ended) WBX_Close(openBytes(file));
    });
  }
  int working = 0;
  const int children = kSlow ? 30 : 100;
  for (int i = 0; i < children; ++i) {
    const pid_t child = fork();
    if (child == 0) {
      alarm(20);
      const WBX_Handle handle = openBytes(file);
      _exit(decodeInternal(handle).code == WBX_OK && WBX_Close(handle) == WBX_OK ? 0 : 1);
    }
    int status = -1;
    waitpid(child, &status, 0);
    working += status == 0;
    if (status != 0) break;
  }
  ended = true;
  for (std::thread& thread : threads) thread.join();
  WBX_StopLogging();
  std::filesystem::remove("wbx-codec.log");
  EXPECT_EQ(working, children);
}
#endif

TEST(Calls, RefuseFilesThatCannotBeSought) {
  int ends[2];
  ASSERT_EQ(pipe(ends), 0);
  close(ends[1]);
  EXPECT_EQ(WBX_OpenFile(("/dev/fd/" + std::to_string(ends[0])).c_str()), nullptr);
  EXPECT_EQ(WBX_getLastError(), WBX_ERROR_OPEN);
  close(ends[0]);
}

}  // namespace
}  // namespace wbx::test
