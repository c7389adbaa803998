// SlaveList: the output buffers that the library allocates on behalf of its decoders.
#pragma once

#include "base/arena.h"
#include "base/lock.h"
#include "base/types.h"

namespace wbx {

// A buffer is bought for an owner and lives until everything of that owner is released, or until
// the library shuts down. Its lock is outside that of the Logger.
class SlaveList {
 public:
  // A zeroed buffer, or null.
  [[nodiscard]] void* buy(size_t size, const void* owner);
  // Frees all buffers bought for the owner; null does nothing.
  void release(const void* owner);
  // Frees all buffers of all owners and returns to the first state.
  void clear();

  // Keeps other threads out, for a fork.
  void lock() { lock_.lock(); }
  void unlock() { lock_.unlock(); }

 private:
  // In the list of buffers, or waiting in the list of free nodes to be used again.
  struct Node {
    void* buffer;
    const void* owner;
    Node* next;
  };

  static constexpr i32 kFirstBlockSize = 192;

  // Out of the list of free nodes, or a new one; null when memory runs out.
  [[nodiscard]] Node* obtainNode();

  Arena nodePool_{kFirstBlockSize};
  Lock lock_;
  Node* firstNode_ = nullptr;
  Node* firstFree_ = nullptr;
};

extern SlaveList& slaveList;

}  // namespace wbx
