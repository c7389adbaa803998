#include "api/fault_guard.h"

#include "base/fault_numbers.h"
#include "base/logger.h"
#include "base/platform.h"

namespace wbx {

namespace {

struct Name {
  u32 number;
  const char* text;
};

constexpr Name kNames[] = {
    {kFaultMisalignment, "Datatype Misalignment"},
    {kFaultBreakpoint, "Breakpoint"},
    {kFaultSingleStep, "Single-step"},
    {kFaultAccessViolation, "Access Violation"},
    {kFaultInPage, "In-page Error"},
    {kFaultIllegalInstruction, "Illegal Instruction"},
    {kFaultInvalidDisposition, "Invalid Disposition"},
    {kFaultArrayBounds, "Array Bounds Exceeded"},
    {kFaultFloatDenormal, "Float Denormal Operand"},
    {kFaultFloatDivideByZero, "Float Divide By Zero"},
    {kFaultFloatInexact, "Float Inexact Result"},
    {kFaultFloatInvalid, "Float Invalid Operation"},
    {kFaultFloatStackCheck, "Float Stack Check"},
    {kFaultIntegerDivideByZero, "Integer Divide By Zero"},
    {kFaultPrivateInstruction, "Private Instruction"},
    {kFaultStackOverflow, "Stack Overflow"},
};

struct Trial {
  i32 (*call)(void*);
  void* argument;
  i32 code;
};

void runTrial(void* argument) {
  Trial& trial = *static_cast<Trial*>(argument);
  trial.code = trial.call(trial.argument);
}

}  // namespace

const char* faultName(u32 number) {
  for (const Name& name : kNames) {
    if (name.number == number) return name.text;
  }
  return "Unknown";
}

i32 FaultGuard::runCall(Level level, i32 (*call)(void*), void* argument) {
  Trial trial = {call, argument, WBX_OK};
  const u32 fault = trapFaults(&runTrial, &trial);
  if (fault == 0) return trial.code;

  if (level == Level::kProbe) return WBX_ERROR_ARGUMENT;
  if (level == Level::kWork) {
    logger.writeStamped("[!!! INTERNAL ERROR] Fatal Exception (%X): %s.", fault, faultName(fault));
  }
  return WBX_ERROR_INTERNAL;
}

}  // namespace wbx
