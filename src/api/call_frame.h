// What the exported functions have in common: reports, handle tests and closing log lines.
#pragma once

#include "wbx.h"

#include "api/decoder.h"
#include "api/fault_guard.h"
#include "base/logger.h"

namespace wbx {

// Marks a code in the last-error word as one of ours.
inline constexpr u32 kLibraryErrorFlag = 0x20000000;

// Leaves the code in the last-error word and returns it.
i32 report(i32 code);

// Ends a call: a failure is reported, a success written behind the call's line of the log.
i32 finish(i32 code);

[[nodiscard]] inline Decoder& decoderOf(WBX_Handle handle) {
  return *reinterpret_cast<Decoder*>(handle);
}

[[nodiscard]] inline WBX_Handle handleOf(Decoder* decoder) {
  return reinterpret_cast<WBX_Handle>(decoder);
}

// Returns 0, or 5 for what is no open image. Only for use under the probe level.
[[nodiscard]] i32 readMagic(WBX_Handle handle);

// The same under the probe level, for a handle of unknown worth.
[[nodiscard]] i32 testHandle(WBX_Handle handle);

// Stores the cancel flag, under the probe level; returns 0, or 5 when that is impossible.
[[nodiscard]] i32 setCancelled(WBX_Handle handle);

// A caller's text for the log, copied under the probe level so that a wild pointer cannot strike
// under the lock of the log. Empty for null; cut to what a line of the log can hold.
class CallerText {
 public:
  explicit CallerText(const char* text);
  [[nodiscard]] const char* get() const { return copy_; }

 private:
  char copy_[Logger::kBufferSize];
};

}  // namespace wbx
