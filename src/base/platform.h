// What the library asks of the operating system beside memory: one source file for each of them.
#pragma once

#include <atomic>
#include <cstdio>
#include <ctime>

#include "base/types.h"

namespace wbx {

// The last-error word of the calling thread.
[[nodiscard]] u32 lastErrorWord();
void setLastErrorWord(u32 word);

// Leaves the thread, at the end of a scope, with the last-error word of its start. Where the word
// is the system's own, calls of the system change it even when they succeed.
class KeptErrorWord {
 public:
  KeptErrorWord() : word_(lastErrorWord()) {}
  ~KeptErrorWord() { setLastErrorWord(word_); }
  KeptErrorWord(const KeptErrorWord&) = delete;
  KeptErrorWord& operator=(const KeptErrorWord&) = delete;

 private:
  u32 word_;
};

// The system's number of the calling thread.
[[nodiscard]] u32 currentThreadId();

// Milliseconds of processor time since `start`, a value of std::clock.
[[nodiscard]] u32 millisecondsSince(std::clock_t start);

[[nodiscard]] std::tm localTimeNow();

// The bytes of a file that is only read; null when it cannot be opened, or sought in.
[[nodiscard]] std::FILE* openForReading(const char* path);
// From the start of the file; false when the system refuses.
[[nodiscard]] bool seekInFile(std::FILE* file, u32 offset);
// As std::fgetc, without a lock: a file has one user at a time.
[[nodiscard]] int readByte(std::FILE* file);

// The word of a Lock (lock.h), 0 while nobody holds it.
using LockWord = std::atomic<std::uintptr_t>;
void acquireLock(LockWord& word);
void releaseLock(LockWord& word);

// Code that may meet bad memory. trapFaults calls `call` and returns 0, or, when a processor fault
// or an exception ended it half-way, the number of that. Behind a fault, destructors of what it
// left are not run. Calls nest. The numbers are those that Windows has (fault_numbers.h).
[[nodiscard]] u32 trapFaults(void (*call)(void*), void* argument);

// trapFaults traps nothing outside these two. Each may be called again at any time.
void installFaultTraps();
void removeFaultTraps();

// Where processes fork: `before` is called ahead of each fork from now on, `after` behind it, in
// the parent and in the child.
void callAroundForks(void (*before)(), void (*after)());

}  // namespace wbx
