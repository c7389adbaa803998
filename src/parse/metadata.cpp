#include "parse/metadata.h"

#include <new>

#include "wbx.h"

#include "api/logger.h"
#include "parse/fields.h"
#include "parse/text_preview.h"

namespace wbx {

i32 MetadataStore::parseCOM(Stream& stream, i32 payloadLength) {
  const u16 rcom = takeU16(stream);
  const i32 code = store(stream, rcom == 0 ? kMetaBinary : kMetaText, i64{payloadLength} - 2);
  if (code != 0) return code;
  logger.writeStamped(" Type=\"%s\", data=\"%.55s%s\"",
                      rcom == 0 ? "Binary" : "Text, ISO 8859-1 (latin-1)",
                      previewText(current_.data), previewMark(current_.data));
  return 0;
}

i32 MetadataStore::store(Stream& stream, MetadataKind kind, i64 length) {
  return readEntryData(stream, kind, length) && appendEntry() ? WBX_OK : WBX_ERROR_MEMORY;
}

bool MetadataStore::readEntryData(Stream& stream, MetadataKind kind, i64 length) {
  // What the source doesn't deliver reads as zeros: nothing of the heap ever reaches the caller.
  auto* data = static_cast<u8*>(arena_.allocateZeroed(length + 1));
  if (data == nullptr) return false;
  current_.kind = kind;
  current_.length = static_cast<i32>(length);
  current_.data = data;
  stream.readBytes(data, static_cast<u32>(length));
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

bool MetadataStore::appendEntry() {
  void* place = arena_.allocate(sizeof(MetadataEntry));
  if (place == nullptr) return false;
  auto* entry = new (place) MetadataEntry(current_);
  entry->next = nullptr;
  (tail_ != nullptr ? tail_->next : head_) = entry;
  tail_ = entry;
  return true;
}

}  // namespace wbx
