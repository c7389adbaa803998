// What only Windows has: a full stack is a fault like others, and calls of the system change the
// last-error word even when they succeed.
#define WIN32_LEAN_AND_MEAN
#include <gtest/gtest.h>
#include <windows.h>

#include "robust/support.h"

namespace wbx::test {
namespace {

void overflowTheStack() {
  static void (*volatile again)() = overflowTheStack;
  volatile char left = 0;
  again();
  left = left + 1;  // so that the call is no last one
}

// Behind each of them the stack is whole again.
TEST(Faults, OfAFullStackEndTheCall) {
  ULONG room = 1 << 15;  // for what the system itself does then
  SetThreadStackGuarantee(&room);
  for (int i = 0; i < 3; ++i) EXPECT_EQ(codeOfOpenThat(overflowTheStack), WBX_ERROR_INTERNAL);
}

TEST(LastErrorWord, OutlivesCallsThatSucceed) {
  SetLastError(1234);
  EXPECT_EQ(WBX_StartLogging(0, 0), WBX_OK);
  const WBX_Handle handle = WBX_OpenFile(dataPath("grey_noise.j2k").c_str());
  EXPECT_EQ(GetLastError(), 1234u);
  void* buffer = nullptr;
  uint32_t size = 0;
  EXPECT_EQ(WBX_Decode(handle, &buffer, &size, nullptr, nullptr), WBX_OK);
  EXPECT_EQ(WBX_Close(handle), WBX_OK);
  WBX_StopLogging();
  EXPECT_EQ(GetLastError(), 1234u);
  DeleteFileA("wbx-codec.log");
}

}  // namespace
}  // namespace wbx::test
