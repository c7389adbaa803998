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

SlaveList::Node* SlaveList::obtainNode() {
  Node* node = firstFree_;
  if (node == nullptr) return nodePool_.allocateArray<Node>(1);
  firstFree_ = node->next;
  return node;
}

void* SlaveList::buy(size_t size, const void* owner) {
  const std::lock_guard hold(lock_);
  Node* node = obtainNode();
  if (node == nullptr) return nullptr;
  void* memory = allocateMemory(size, true);
  Node*& list = memory != nullptr ? firstNode_ : firstFree_;
  *node = {memory, owner, list};
  list = node;
  if (memory == nullptr) return nullptr;
  logger.writeStamped("ST: Slave bought: %p, (%p) for %p", static_cast<void*>(node), memory, owner);
  return memory;
}

void SlaveList::release(const void* owner) {
  if (owner == nullptr) return;
  const std::lock_guard hold(lock_);
  for (Node** link = &firstNode_; *link != nullptr;) {
    Node* node = *link;
    if (node->owner != owner) {
      link = &node->next;
      continue;
    }
    freeMemory(node->buffer);
    *link = node->next;
    *node = {nullptr, nullptr, firstFree_};
    firstFree_ = node;
  }
}

void SlaveList::clear() {
  const std::lock_guard hold(lock_);
  for (Node* node = firstNode_; node != nullptr; node = node->next) freeMemory(node->buffer);
  nodePool_.reset(kFirstBlockSize);
  firstNode_ = firstFree_ = nullptr;
}

}  // namespace wbx
