// Logger: the one diagnostic log of the process.
#pragma once

#include <atomic>
#include <cstdarg>
#include <cstdio>
#include <ctime>

#include "base/lock.h"
#include "base/types.h"

#if defined(__GNUC__)
#define WBX_PRINTF_METHOD __attribute__((format(printf, 2, 3)))  // argument 1 is `this`
#else
#define WBX_PRINTF_METHOD
#endif

namespace wbx {

// Off until WBX_StartLogging; a call while it is off costs one test of a flag. Each write is made
// whole by the lock and flushed at once. A message longer than the buffer is cut. What is not
// printable in it, from a file for example, shows as \xNN and cannot pass for a line.
class Logger {
 public:
  static constexpr size_t kBufferSize = 512;

  [[nodiscard]] bool active() const { return active_.load(std::memory_order_relaxed); }

  // Opens a new line: "\n[MM:SS.mmm TTTT] " and the message. A null or empty format writes a bare
  // line break.
  void writeStamped(const char* format, ...) WBX_PRINTF_METHOD;
  // Continues the last line. A null format writes nothing.
  void writeMore(const char* format, ...) WBX_PRINTF_METHOD;

  // The work of WBX_StartLogging and WBX_StopLogging; start returns 0 or 7.
  [[nodiscard]] i32 start(bool append);
  void stop();
  // The same where the process ends and the system has ended the other threads at whatever they
  // did: nothing happens when one of them was at work on the log.
  void stopAsLastThread();

  // Keeps other threads out, for a fork.
  void lock() { lock_.lock(); }
  void unlock() { lock_.unlock(); }

 private:
  // All under the lock.
  void putStamp();
  void putMessage(const char* format, va_list arguments);

  std::atomic<bool> active_{false};
  std::FILE* file_ = nullptr;
  char buffer_[kBufferSize] = {};
  std::clock_t startTicks_ = 0;
  Lock lock_;
};

extern Logger logger;

}  // namespace wbx
