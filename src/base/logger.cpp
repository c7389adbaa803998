#include "base/logger.h"

#include <mutex>

#include "wbx.h"

#include "base/platform.h"

namespace wbx {

namespace {

constexpr char kFileName[] = "wbx-codec.log";
constexpr char kProgram[] = "WBX-Codec ver 1.9";

}  // namespace

// Ready before any constructor has run, and usable after the last destructor.
constinit Logger logger;

void Logger::formatMessage(const char* format, va_list arguments) {
  std::vsnprintf(buffer_, kBufferSize, format, arguments);
}

void Logger::putLine(const char* format, va_list arguments) {
  formatMessage(format, arguments);
  const u32 time = millisecondsSince(startTicks_);
  std::fprintf(file_, "\n[%02u:%02u.%03u %04X] %s", time / 60000 % 60, time / 1000 % 60,
               time % 1000, currentThreadId(), buffer_);
  std::fflush(file_);
}

void Logger::putLine(const char* format, ...) {
  va_list arguments;
  va_start(arguments, format);
  putLine(format, arguments);
  va_end(arguments);
}

void Logger::writeStamped(const char* format, ...) {
  if (!active()) return;
  const std::lock_guard hold(lock_);
  if (!active()) return;  // stopped while we waited
  if (format == nullptr || *format == '\0') {
    std::fputc('\n', file_);
    std::fflush(file_);
    return;
  }
  va_list arguments;
  va_start(arguments, format);
  putLine(format, arguments);
  va_end(arguments);
}

void Logger::writeMore(const char* format, ...) {
  if (!active() || format == nullptr) return;
  const std::lock_guard hold(lock_);
  if (!active()) return;
  va_list arguments;
  va_start(arguments, format);
  formatMessage(format, arguments);
  va_end(arguments);
  std::fputs(buffer_, file_);
  std::fflush(file_);
}

i32 Logger::start(bool append) {
  const std::lock_guard hold(lock_);
  if (active()) return WBX_ERROR_OPEN;
  file_ = std::fopen(kFileName, append ? "at" : "wt");
  if (file_ == nullptr) return WBX_ERROR_OPEN;

  startTicks_ = std::clock();
  active_.store(true, std::memory_order_relaxed);
  putLine("PROGRAM: %s\n", kProgram);
  const std::tm now = localTimeNow();
  putLine("== STARTED on [%04u/%02u/%02u %02u:%02u:%02u] ==", static_cast<u32>(now.tm_year + 1900),
          static_cast<u32>(now.tm_mon + 1), static_cast<u32>(now.tm_mday),
          static_cast<u32>(now.tm_hour), static_cast<u32>(now.tm_min),
          static_cast<u32>(now.tm_sec));
  return WBX_OK;
}

void Logger::stop() {
  const std::lock_guard hold(lock_);
  if (!active()) return;
  putLine("== FINISHED ==========================\n");
  std::fclose(file_);
  file_ = nullptr;
  active_.store(false, std::memory_order_relaxed);
}

}  // namespace wbx
