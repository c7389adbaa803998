#include "base/logger.h"

#include <algorithm>
#include <mutex>

#include "wbx.h"

#include "base/platform.h"

namespace wbx {

namespace {

constexpr char kFileName[] = "wbx-codec.log";
constexpr char kProgram[] = "WBX-Codec ver 1.9";

// The number of bytes of the printable character at the front of a text: ASCII, or UTF-8 behind the
// control characters. 0 for anything else.
size_t printableBytes(const u8* text, size_t length) {
  const u8 lead = text[0];
  if (lead < 0x80) return lead >= 0x20 && lead != 0x7F ? 1 : 0;
  const size_t count = lead >= 0xF0 ? 4 : lead >= 0xE0 ? 3 : 2;
  if (lead < 0xC0 || count > length) return 0;
  u32 character = lead & 0x7Fu >> count;
  for (size_t i = 1; i < count; ++i) {
    if ((text[i] & 0xC0) != 0x80) return 0;
    character = character << 6 | (text[i] & 0x3Fu);
  }
  constexpr u32 kFirst[] = {0xA0, 0x800, 0x10000};
  return character >= kFirst[count - 2] && character <= 0x10FFFF ? count : 0;
}

}  // namespace

// Ready before any constructor has run, and usable after the last destructor.
constinit Logger logger;

void Logger::putStamp() {
  const u32 time = millisecondsSince(startTicks_);
  std::fprintf(file_, "\n[%02u:%02u.%03u %04X] ", time / 60000 % 60, time / 1000 % 60, time % 1000,
               currentThreadId());
}

void Logger::putMessage(const char* format, va_list arguments) {
  const int wanted = std::vsnprintf(buffer_, kBufferSize, format, arguments);
  const size_t length = std::min(static_cast<size_t>(std::max(wanted, 0)), kBufferSize - 1);
  const u8* text = reinterpret_cast<const u8*>(buffer_);
  for (size_t i = 0; i < length;) {
    const size_t count = printableBytes(text + i, length - i);
    if (count == 0) {
      std::fprintf(file_, "\\x%02X", text[i]);
    } else {
      std::fwrite(text + i, 1, count, file_);
    }
    i += std::max<size_t>(count, 1);
  }
}

void Logger::writeStamped(const char* format, ...) {
  if (!active()) return;
  const KeptErrorWord kept;
  const std::lock_guard hold(lock_);
  if (!active()) return;  // stopped while we waited
  if (format == nullptr || *format == '\0') {
    std::fputc('\n', file_);
  } else {
    va_list arguments;
    va_start(arguments, format);
    putStamp();
    putMessage(format, arguments);
    va_end(arguments);
  }
  std::fflush(file_);
}

void Logger::writeMore(const char* format, ...) {
  if (!active() || format == nullptr) return;
  const KeptErrorWord kept;
  const std::lock_guard hold(lock_);
  if (!active()) return;
  va_list arguments;
  va_start(arguments, format);
  putMessage(format, arguments);
  va_end(arguments);
  std::fflush(file_);
}

i32 Logger::start(bool append) {
  const std::lock_guard hold(lock_);
  if (active()) return WBX_ERROR_OPEN;
  file_ = std::fopen(kFileName, append ? "at" : "wt");
  if (file_ == nullptr) return WBX_ERROR_OPEN;

  startTicks_ = std::clock();
  active_.store(true, std::memory_order_relaxed);
  putStamp();
  std::fprintf(file_, "PROGRAM: %s\n", kProgram);
  const std::tm now = localTimeNow();
  putStamp();
  std::fprintf(file_, "== STARTED on [%04d/%02d/%02d %02d:%02d:%02d] ==", now.tm_year + 1900,
               now.tm_mon + 1, now.tm_mday, now.tm_hour, now.tm_min, now.tm_sec);
  std::fflush(file_);
  return WBX_OK;
}

void Logger::stop() {
  const std::lock_guard hold(lock_);
  if (!active()) return;
  putStamp();
  std::fputs("== FINISHED ==========================\n", file_);
  std::fclose(file_);
  file_ = nullptr;
  active_.store(false, std::memory_order_relaxed);
}

void Logger::stopAsLastThread() {
  if (!lock_.isHeld()) stop();
}

}  // namespace wbx
