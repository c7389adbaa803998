// Memory that runs out for the library.
#pragma once

#include "base/memory.h"

namespace wbx::fuzz {

// As long as it lives one allocation is refused, or that one and all that follow. The first has the
// number 1.
class Shortage {
 public:
  Shortage(i32 at, bool lasting) {
    left = at;
    once = !lasting;
    watchMemory(&kWatch);
  }
  ~Shortage() { watchMemory(nullptr); }
  Shortage(const Shortage&) = delete;
  Shortage& operator=(const Shortage&) = delete;

 private:
  static bool mayAllocate(size_t, bool) {
    --left;
    return left > 0 || (once && left < 0);
  }
  static constexpr MemoryWatch kWatch = {&mayAllocate, [] {}, true};
  static inline i32 left = 0;
  static inline bool once = false;
};

}  // namespace wbx::fuzz
