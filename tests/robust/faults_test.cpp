// Processor faults inside a call: in the caller's memory and in its callbacks, in several threads.
#include <gtest/gtest.h>
#include <stdexcept>
#include <thread>

#include "robust/support.h"

namespace wbx::test {
namespace {

void trap() {
#if defined(__aarch64__)
  asm volatile("udf #0");  // a trap of the compiler is a breakpoint there
#else
  __builtin_trap();
#endif
}
void throwSomething() {
  throw std::runtime_error("no");
}
#if defined(__x86_64__) || defined(__i386__)
void divideByZero() {
  int quotient = 1, remainder = 0;
  asm volatile("idivl %2" : "+a"(quotient), "+d"(remainder) : "r"(0) : "cc");
}
#endif
TEST(Faults, OfACallbackEndTheCallAndAreLogged) {
  const AcceptLeaks accept;
  const struct {
    void (*action)();
    const char* text;
  } rows[] = {
    {strike, "(C0000005): Access Violation."},
    {trap, "(C000001D): Illegal Instruction."},
#if defined(__x86_64__) || defined(__i386__)
    {divideByZero, "(C0000094): Integer Divide By Zero."},
#endif
    {throwSomething, "(E06D7363): Unknown."}
  };
  for (const auto& row : rows) {
    for (int i = 0; i < 20; ++i)
      EXPECT_EQ(codeOfOpenThat(row.action), WBX_ERROR_INTERNAL) << row.text;
    ASSERT_EQ(WBX_StartLogging(0, 0), WBX_OK);
    codeOfOpenThat(row.action);
    WBX_StopLogging();
    const std::string log = takeLog();
    EXPECT_NE(log.find(std::string("[!!! INTERNAL ERROR] Fatal Exception ") + row.text),
              std::string::npos)
        << log;
  }
}

TEST(Faults, OfManyThreadsEndTheirOwnCalls) {
  const Bytes file = dataFile("bits_12_422.j2k");
  std::vector<std::thread> threads;
  for (int i = 0; i < 8; ++i) threads.emplace_back([&file] { strikeOften(file, 3); });
  for (std::thread& thread : threads) thread.join();
}

}  // namespace
}  // namespace wbx::test
