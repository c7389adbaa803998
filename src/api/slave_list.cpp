#include "api/slave_list.h"

#include <mutex>

#include "base/logger.h"
#include "base/memory.h"

namespace wbx {

namespace {

// Never destroyed: the destructor of an application's own static object may still close an image.
union Immortal {
  constexpr Immortal() : list() {}
  ~Immortal() {}
  SlaveList list;
};

constinit Immortal immortal;

}  // namespace

constinit SlaveList& slaveList = immortal.list;

SlaveList::Node* SlaveList::obtainNode(bool* isNew) {
  *isNew = false;
  for (Node* node = firstNode_; node != nullptr; node = node->next) {
    if (node->buffer == nullptr) return node;
  }
  Node* node = nodePool_.allocateArray<Node>(1);
  if (node == nullptr) return nullptr;
  *node = {};
  *isNew = true;
  return node;
}

void SlaveList::append(Node* node) {
  (lastNode_ != nullptr ? lastNode_->next : firstNode_) = node;
  lastNode_ = node;
}

void* SlaveList::buy(size_t size, const void* owner) {
  const std::lock_guard hold(lock_);
  bool isNew = false;
  Node* node = obtainNode(&isNew);
  if (node == nullptr) return nullptr;
  void* memory = allocateMemory(size, true);
  if (memory == nullptr) return nullptr;

  node->buffer = memory;
  node->owner = owner;
  logger.writeStamped("ST: Slave bought: %p, (%p) for %p", static_cast<void*>(node), memory, owner);
  if (isNew) append(node);
  return memory;
}

void SlaveList::release(const void* owner) {
  if (owner == nullptr) return;
  const std::lock_guard hold(lock_);
  for (Node* node = firstNode_; node != nullptr; node = node->next) {
    if (node->buffer == nullptr || node->owner != owner) continue;
    freeMemory(node->buffer);
    node->buffer = nullptr;
    node->owner = nullptr;
  }
}

void SlaveList::clear() {
  const std::lock_guard hold(lock_);
  for (Node* node = firstNode_; node != nullptr; node = node->next) freeMemory(node->buffer);
  nodePool_.reset(kFirstBlockSize);
  firstNode_ = lastNode_ = nullptr;
}

}  // namespace wbx
