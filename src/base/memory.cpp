#include "base/memory.h"

#include <algorithm>
#include <atomic>
#include <cstdlib>

namespace wbx {

namespace {

constinit std::atomic<const MemoryWatch*> memoryWatch{nullptr};

}  // namespace

void* allocateMemory(size_t size, bool zeroed) {
  const size_t bytes = std::max<size_t>(size, 1);
  const MemoryWatch* watch = memoryWatch.load(std::memory_order_acquire);
  if (watch != nullptr && !watch->mayAllocate(bytes, zeroed)) return nullptr;
  // calloc takes large blocks from the system as zero pages, at no cost until they are touched.
  void* memory = zeroed ? std::calloc(1, bytes) : std::malloc(bytes);
  if (memory == nullptr && watch != nullptr) watch->freed();
  return memory;
}

void freeMemory(void* memory) {
  if (memory == nullptr) return;
  std::free(memory);
  const MemoryWatch* watch = memoryWatch.load(std::memory_order_acquire);
  if (watch != nullptr) watch->freed();
}

void watchMemory(const MemoryWatch* watch) {
  memoryWatch.store(watch, std::memory_order_release);
}

bool wantsSingleRecords() {
  const MemoryWatch* watch = memoryWatch.load(std::memory_order_acquire);
  return watch != nullptr && watch->singleRecords;
}

}  // namespace wbx
