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

 private:
  // Never removed, but used again once its buffer is gone.
  struct Node {
    void* buffer;
    const void* owner;
    Node* next;
  };

  static constexpr i32 kFirstBlockSize = 192;

  // The first free node, or a new one that is not linked in yet; null when memory runs out.
  [[nodiscard]] Node* obtainNode(bool* isNew);
  void append(Node* node);

  Arena nodePool_{kFirstBlockSize};
  Lock lock_;
  Node* firstNode_ = nullptr;
  Node* lastNode_ = nullptr;
};

extern SlaveList& slaveList;

}  // namespace wbx
