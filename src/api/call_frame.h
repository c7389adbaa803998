// What the exported functions have in common: reports, handle tests and closing log lines.
#pragma once

#include "wbx.h"

#include "api/decoder.h"
#include "api/fault_guard.h"
#include "api/library.h"
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

// A call's hold on a handle of unknown worth, for as long as the object lives. Another call that
// has it, from another thread or around a callback, keeps this one out.
class Hold {
 public:
  explicit Hold(WBX_Handle handle);
  ~Hold();
  Hold(const Hold&) = delete;
  Hold& operator=(const Hold&) = delete;

  // 0, or 5 for what is no open image and for one that is busy.
  [[nodiscard]] i32 code() const { return code_; }

 private:
  WBX_Handle handle_;
  i32 code_;
};

// Takes hold of the handle for good, after a test by the store of the cancel flag alone. Returns 0,
// or 5 when the store is impossible or the handle busy.
[[nodiscard]] i32 seize(WBX_Handle handle);

// Stores the cancel flag, under the probe level; returns 0, or 5 when that is impossible.
[[nodiscard]] i32 setCancelled(WBX_Handle handle);

// A caller's text for the log, copied under the probe level so that a wild pointer cannot strike
// under the lock of the log. Empty for null. Of a long one the beginning and "...", so that
// what the line says behind it has room too.
class CallerText {
 public:
  explicit CallerText(const char* text);
  [[nodiscard]] const char* get() const { return copy_; }

 private:
  static constexpr size_t kLength = Logger::kBufferSize - 112;

  char copy_[kLength + sizeof "..."];
};

}  // namespace wbx
