#include "api/fault_guard.h"

#include <csetjmp>
#include <csignal>
#include <gtest/gtest.h>
#include <pthread.h>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "api/log_file.h"
#include "base/fault_numbers.h"

namespace wbx {
namespace {

// An address that no process has memory at, without undefined behaviour that a compiler sees.
volatile u32* nowhere() {
  static volatile std::uintptr_t address = 16;
  return reinterpret_cast<volatile u32*>(address);
}

#if defined(__clang__) || defined(__GNUC__)
#define WBX_UNCHECKED __attribute__((no_sanitize("undefined", "address", "thread")))
#else
#define WBX_UNCHECKED
#endif

WBX_UNCHECKED void strike() {
  *nowhere() = 1;
}

void illegalInstruction() {
  __builtin_trap();
}

#if defined(__x86_64__)
// Behind the back of the compiler, which knows what a division by zero is.
void divideByZero() {
  int quotient = 1, remainder = 0;
  asm volatile("idivl %2" : "+a"(quotient), "+d"(remainder) : "r"(0) : "cc");
}
#endif

bool isUnblocked(int signal) {
  sigset_t mask;
  pthread_sigmask(SIG_SETMASK, nullptr, &mask);
  return sigismember(&mask, signal) == 0;
}

TEST(FaultGuard, PassesCodesThrough) {
  EXPECT_EQ(FaultGuard::probe([] { return 9; }), 9);
  EXPECT_EQ(FaultGuard::work([] { return 0; }), 0);
  EXPECT_EQ(FaultGuard::work([] {}), 0);
}

TEST(FaultGuard, TurnsFaultsIntoTheCodeOfItsLevelAgainAndAgain) {
  for (int i = 0; i < 100; ++i) {
    EXPECT_EQ(FaultGuard::probe(strike), WBX_ERROR_ARGUMENT);
    EXPECT_EQ(FaultGuard::work(strike), WBX_ERROR_INTERNAL);
    EXPECT_EQ(FaultGuard::work(illegalInstruction), WBX_ERROR_INTERNAL);
#if defined(__x86_64__)
    EXPECT_EQ(FaultGuard::workSilently(divideByZero), WBX_ERROR_INTERNAL);
#endif
  }
  EXPECT_TRUE(isUnblocked(SIGSEGV));
  EXPECT_TRUE(isUnblocked(SIGILL));
}

TEST(FaultGuard, RestoresTheSignalMaskThatTheCallerHad) {
  sigset_t some, before;
  sigemptyset(&some);
  sigaddset(&some, SIGUSR1);
  pthread_sigmask(SIG_BLOCK, &some, &before);
  EXPECT_EQ(FaultGuard::probe(strike), WBX_ERROR_ARGUMENT);
  EXPECT_FALSE(isUnblocked(SIGUSR1));
  pthread_sigmask(SIG_SETMASK, &before, nullptr);
}

TEST(FaultGuard, CatchesExceptionsOfTheLanguage) {
  const auto thrower = []() -> i32 { throw std::runtime_error("no"); };
  EXPECT_EQ(FaultGuard::probe(thrower), WBX_ERROR_ARGUMENT);
  EXPECT_EQ(FaultGuard::work(thrower), WBX_ERROR_INTERNAL);
}

TEST(FaultGuard, NestsAndGivesAFaultToTheInnermost) {
  const i32 code = FaultGuard::work([] {
    EXPECT_EQ(FaultGuard::probe(strike), WBX_ERROR_ARGUMENT);
    EXPECT_EQ(FaultGuard::work([] { return FaultGuard::probe([] { return 3; }); }), 3);
    return 11;
  });
  EXPECT_EQ(code, 11);
  EXPECT_EQ(FaultGuard::work([] {
              EXPECT_EQ(FaultGuard::probe([] { return 0; }), 0);
              strike();
            }),
            WBX_ERROR_INTERNAL);
}

TEST(FaultGuard, WorksInManyThreadsAtOnce) {
  std::vector<std::thread> threads;
  std::vector<int> caught(4);
  for (int& count : caught) {
    threads.emplace_back([&count] {
      for (int i = 0; i < 500; ++i) count += FaultGuard::probe(strike) == WBX_ERROR_ARGUMENT;
    });
  }
  for (std::thread& thread : threads) thread.join();
  for (int count : caught) EXPECT_EQ(count, 500);
}

TEST(FaultGuard, LetsAThreadEndInsideACallback) {
  pthread_t thread;
  const auto body = [](void*) -> void* {
    (void)FaultGuard::work([] { pthread_exit(nullptr); });
    return nullptr;
  };
  ASSERT_EQ(pthread_create(&thread, nullptr, body, nullptr), 0);
  void* result = &thread;
  pthread_join(thread, &result);
  EXPECT_EQ(result, nullptr);
}

class FaultLogTest : public LogTest {};

TEST_F(FaultLogTest, NamesTheFaultAtTheWorkLevelOnly) {
  const auto fault = [](auto work) { (void)FaultGuard::work(work); };
  EXPECT_EQ(logOf([&] { fault(strike); }),
            "\n[] [!!! INTERNAL ERROR] Fatal Exception (C0000005): Access Violation.");
  EXPECT_EQ(logOf([&] { fault(illegalInstruction); }),
            "\n[] [!!! INTERNAL ERROR] Fatal Exception (C000001D): Illegal Instruction.");
#if defined(__x86_64__)
  EXPECT_EQ(logOf([&] { fault(divideByZero); }),
            "\n[] [!!! INTERNAL ERROR] Fatal Exception (C0000094): Integer Divide By Zero.");
#endif
  EXPECT_EQ(logOf([&] { fault([] { throw 1; }); }),
            "\n[] [!!! INTERNAL ERROR] Fatal Exception (E06D7363): Unknown.");
  EXPECT_EQ(logOf([] { (void)FaultGuard::probe(strike); }), "");
  EXPECT_EQ(logOf([] { (void)FaultGuard::workSilently(strike); }), "");
}

TEST(FaultNumbers, HaveNames) {
  EXPECT_STREQ(faultName(0xC00000FD), "Stack Overflow");
  EXPECT_STREQ(faultName(0xC0000091), "Unknown");
}

// The handlers of an application, around those of the library.
sigjmp_buf applicationEscape;
volatile int applicationCalls = 0;
volatile int applicationCode = 0;

void onApplicationSignal(int, siginfo_t* info, void*) {
  applicationCalls = applicationCalls + 1;
  applicationCode = info->si_code;
  siglongjmp(applicationEscape, 1);
}

void onPlainSignal(int) {
  applicationCalls = applicationCalls + 1;
}

class ApplicationHandlers : public ::testing::Test {
 protected:
  void SetUp() override {
    applicationCalls = 0;
    WBX_CloseLibrary();
    sigaction(SIGSEGV, nullptr, &before_);
  }
  void TearDown() override {
    WBX_CloseLibrary();
    sigaction(SIGSEGV, &before_, nullptr);
    WBX_InitLibrary();
  }
  static void strikeOutsideAnyGuard() {
    if (sigsetjmp(applicationEscape, 1) == 0) strike();
  }
  static void setJumpingHandler() {
    struct sigaction action = {};
    action.sa_sigaction = onApplicationSignal;
    action.sa_flags = SA_SIGINFO;
    sigaction(SIGSEGV, &action, nullptr);
  }

 private:
  struct sigaction before_ = {};
};

TEST_F(ApplicationHandlers, GetFaultsOfTheApplicationAndNoOthers) {
  setJumpingHandler();
  WBX_InitLibrary();
  for (int i = 1; i <= 3; ++i) {
    EXPECT_EQ(FaultGuard::probe(strike), WBX_ERROR_ARGUMENT);
    strikeOutsideAnyGuard();
    EXPECT_EQ(applicationCalls, i);
    EXPECT_EQ(applicationCode, SEGV_MAPERR);
  }
}

TEST_F(ApplicationHandlers, GetSignalsThatWereSentEvenInsideAGuard) {
  struct sigaction action = {};
  action.sa_handler = onPlainSignal;
  sigaction(SIGSEGV, &action, nullptr);
  WBX_InitLibrary();
  EXPECT_EQ(FaultGuard::work([] { return raise(SIGSEGV); }), 0);
  EXPECT_EQ(applicationCalls, 1);
}

TEST_F(ApplicationHandlers, StandAsBeforeAfterAShutdown) {
  setJumpingHandler();
  WBX_InitLibrary();
  WBX_CloseLibrary();
  struct sigaction now = {};
  sigaction(SIGSEGV, nullptr, &now);
  EXPECT_EQ(now.sa_sigaction, &onApplicationSignal);
}

TEST_F(ApplicationHandlers, SetAboveTheLibrarySurviveItsShutdownAndItsNextStart) {
  WBX_InitLibrary();
  setJumpingHandler();
  WBX_CloseLibrary();
  WBX_InitLibrary();
  strikeOutsideAnyGuard();
  EXPECT_EQ(applicationCalls, 1);
  std::signal(SIGSEGV, SIG_DFL);
  WBX_CloseLibrary();
  WBX_InitLibrary();
  EXPECT_EQ(FaultGuard::probe(strike), WBX_ERROR_ARGUMENT) << "nobody is above any more";
}

TEST_F(ApplicationHandlers, WithoutOneAFaultOutsideEndsTheProcess) {
  std::signal(SIGSEGV, SIG_DFL);
  WBX_InitLibrary();
  EXPECT_EXIT(strike(), ::testing::KilledBySignal(SIGSEGV), "");
  EXPECT_EXIT(raise(SIGSEGV), ::testing::KilledBySignal(SIGSEGV), "");
}

}  // namespace
}  // namespace wbx
