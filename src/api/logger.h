// Logger: the one diagnostic log of the process.
#pragma once

#include <atomic>
#include <cstdio>
#include <ctime>
#include <mutex>

#include "api/types.h"

namespace wbx {

// Off until WBX_StartLogging; a call while it is off costs one test of a flag. Each write is made
// whole by the lock and flushed at once.
class Logger {
 public:
  [[nodiscard]] bool active() const { return active_.load(std::memory_order_relaxed); }

  // Opens a new line: "\n[MM:SS.mmm TTTT] " and the message. A null or empty format writes a bare
  // line break.
  void writeStamped(const char* format, ...) __attribute__((format(printf, 2, 3)));
  // Continues the last line. A null format writes nothing.
  void writeMore(const char* format, ...) __attribute__((format(printf, 2, 3)));

  // The work of WBX_StartLogging and WBX_StopLogging; start returns 0 or 7.
  [[nodiscard]] i32 start(bool append);
  void stop();

 private:
  static constexpr size_t kBufferSize = 512;

  void writeStampedText(const char* text);  // under the lock

  std::atomic<bool> active_{false};
  std::FILE* file_ = nullptr;
  char buffer_[kBufferSize] = {};
  std::clock_t startTicks_ = 0;
  std::mutex lock_;
};

extern Logger logger;

}  // namespace wbx
