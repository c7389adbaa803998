// Lock: keeps threads apart.
#pragma once

#include "base/platform.h"

namespace wbx {

// Of the shape that std::lock_guard wants. Ready before any constructor has run and usable after
// the last destructor, so that global objects may have one.
class Lock {
 public:
  constexpr Lock() = default;
  Lock(const Lock&) = delete;
  Lock& operator=(const Lock&) = delete;

  void lock() { acquireLock(word_); }
  void unlock() { releaseLock(word_); }

  // For a thread that knows that it is the last one.
  [[nodiscard]] bool isHeld() const { return word_.load(std::memory_order_relaxed) != 0; }

 private:
  LockWord word_{0};
};

}  // namespace wbx
