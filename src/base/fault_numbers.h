// Numbers of faults, and which of them the library takes.
#pragma once

#include "base/types.h"

namespace wbx {

enum FaultNumber : u32 {
  kFaultMisalignment = 0x80000002,
  kFaultBreakpoint = 0x80000003,
  kFaultSingleStep = 0x80000004,
  kFaultAccessViolation = 0xC0000005,
  kFaultInPage = 0xC0000006,
  kFaultIllegalInstruction = 0xC000001D,
  kFaultInvalidDisposition = 0xC0000026,
  kFaultArrayBounds = 0xC000008C,
  kFaultFloatDenormal = 0xC000008D,
  kFaultFloatDivideByZero = 0xC000008E,
  kFaultFloatInexact = 0xC000008F,
  kFaultFloatInvalid = 0xC0000090,
  kFaultFloatOverflow = 0xC0000091,
  kFaultFloatStackCheck = 0xC0000092,
  kFaultFloatUnderflow = 0xC0000093,
  kFaultIntegerDivideByZero = 0xC0000094,
  kFaultIntegerOverflow = 0xC0000095,
  kFaultPrivateInstruction = 0xC0000096,
  kFaultStackOverflow = 0xC00000FD,
  kFaultLanguageException = 0xE06D7363,  // of C++
};

// "Unknown" for a number without a name.
[[nodiscard]] const char* faultName(u32 number);

// Overflow and underflow are the application's own business: whoever unmasks these traps wants
// them for himself.
[[nodiscard]] constexpr bool isTaken(u32 number) {
  return number != kFaultFloatOverflow && number != kFaultFloatUnderflow &&
         number != kFaultIntegerOverflow;
}

}  // namespace wbx
