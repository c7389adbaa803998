#include "api/arena.h"

#include "api/memory.h"

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
