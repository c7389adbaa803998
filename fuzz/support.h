// What the fuzz targets share: reading an input as decisions, and giving up with a message.
#pragma once

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <vector>

#include "base/types.h"

namespace wbx::fuzz {

using Bytes = std::vector<u8>;

// Ends the run; libFuzzer keeps the input.
[[noreturn]] inline void fail(const char* what) {
  std::fprintf(stderr, "wrong: %s\n", what);
  std::abort();
}

inline void require(bool holds, const char* what) {
  if (!holds) fail(what);
}

// Hands out bytes from the front; zeros once they are used up.
class Decisions {
 public:
  Decisions(const u8* data, size_t size) : next_(data), left_(size) {}

  [[nodiscard]] size_t left() const { return left_; }
  u8 byte() {
    if (left_ == 0) return 0;
    --left_;
    return *next_++;
  }
  u32 word() {
    const u32 high = byte();
    return high << 8 | byte();
  }
  bool flag() { return (byte() & 1) != 0; }
  // 0 to count - 1; count is at most 65536.
  i32 below(i32 count) {
    return static_cast<i32>((count > 256 ? word() : byte()) % static_cast<u32>(count));
  }
  i32 between(i32 first, i32 last) { return first + below(last - first + 1); }
  Bytes take(size_t count) {
    if (count > left_) count = left_;
    Bytes taken(next_, next_ + count);
    next_ += count;
    left_ -= count;
    return taken;
  }

 private:
  const u8* next_;
  size_t left_;
};

// An input of the targets that open files: the file, and behind it a tail of decisions.
inline constexpr size_t kTailSize = 32;

struct FileInput {
  const u8* file;
  size_t size;
  Decisions tail;

  FileInput(const u8* data, size_t total)
      : file(data),
        size(total > kTailSize ? total - kTailSize : 0),
        tail(data + size, total - size) {}
};

}  // namespace wbx::fuzz
