// The few things that the library asks of the operating system beside memory and files.
#pragma once

#include <ctime>

#include "api/types.h"

namespace wbx {

// The last-error word of the calling thread.
[[nodiscard]] u32 lastErrorWord();
void setLastErrorWord(u32 word);

// The system's number of the calling thread.
[[nodiscard]] u32 currentThreadId();

// Milliseconds of processor time since `start`, a value of std::clock.
[[nodiscard]] u32 millisecondsSince(std::clock_t start);

[[nodiscard]] std::tm localTimeNow();

// Code that may meet bad memory. trapFaults calls `call` and returns 0, or, when a processor fault
// ended it half-way, the number of the fault. Destructors of what it left are not run. Calls nest.
// The numbers are those that Windows has for such exceptions.
[[nodiscard]] u32 trapFaults(void (*call)(void*), void* argument);

// trapFaults traps nothing outside these two. Each may be called again at any time.
void installFaultTraps();
void removeFaultTraps();

}  // namespace wbx
