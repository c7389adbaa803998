#include "image/metadata.h"

#include <new>

namespace wbx {

bool MetadataStore::append(MetadataKind kind, const u8* data, i32 length) {
  void* place = arena_.allocate(sizeof(MetadataEntry));
  if (place == nullptr) return false;
  auto* entry = new (place) MetadataEntry{length, kind, data, nullptr};
  (tail_ != nullptr ? tail_->next : head_) = entry;
  tail_ = entry;
  return true;
}

const MetadataEntry* MetadataStore::entry(i32 index) {
  if (index < 0) return nullptr;
  if (lastAsked_ == nullptr || index < lastAskedIndex_) {
    lastAsked_ = head_;
    lastAskedIndex_ = 0;
  }
  const MetadataEntry* found = lastAsked_;
  for (i32 i = lastAskedIndex_; found != nullptr && i < index; ++i) found = found->next;
  if (found == nullptr) return nullptr;
  lastAsked_ = found;
  lastAskedIndex_ = index;
  return found;
}

}  // namespace wbx
