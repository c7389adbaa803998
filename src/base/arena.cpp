#include "base/arena.h"

#include <cstring>

#include "base/memory.h"

namespace wbx {

// The header of a block; what the block holds begins right behind it.
struct alignas(Arena::kAlignment) Arena::Block {
  Block* next;
};

bool Arena::addBlock(i64 size) {
  nextBlockSize_ = wantsSingleRecords() ? size : std::max(nextBlockSize_, size);
  void* raw = allocateMemory(sizeof(Block) + static_cast<size_t>(nextBlockSize_), false);
  if (raw == nullptr) return false;

  auto* block = static_cast<Block*>(raw);
  block->next = nullptr;
  (lastBlock_ != nullptr ? lastBlock_->next : firstBlock_) = block;
  lastBlock_ = block;
  memory_ = static_cast<u8*>(raw) + sizeof(Block);
  capacity_ = nextBlockSize_;
  used_ = 0;
  nextBlockSize_ = std::min(nextBlockSize_ + (nextBlockSize_ >> 2), kMaxSize);
  return true;
}

void* Arena::allocateZeroed(i64 size) {
  constexpr i64 kOwnBlockSize = 1 << 16;
  if (size < kOwnBlockSize) {
    void* place = allocate(size);
    if (place != nullptr) std::memset(place, 0, static_cast<size_t>(size));
    return place;
  }
  if (size > kMaxSize) return nullptr;
  void* raw = allocateMemory(sizeof(Block) + static_cast<size_t>(size), true);
  if (raw == nullptr) return nullptr;
  // In front of the chain: the current block stays the last one.
  auto* block = static_cast<Block*>(raw);
  block->next = firstBlock_;
  firstBlock_ = block;
  if (lastBlock_ == nullptr) lastBlock_ = block;
  return static_cast<u8*>(raw) + sizeof(Block);
}

void Arena::freeAll() {
  while (firstBlock_ != nullptr) {
    Block* next = firstBlock_->next;
    freeMemory(firstBlock_);
    firstBlock_ = next;
  }
  lastBlock_ = nullptr;
  memory_ = nullptr;
  used_ = capacity_ = 0;
}

}  // namespace wbx
