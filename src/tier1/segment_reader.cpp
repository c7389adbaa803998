#include "tier1/segment_reader.h"

#include <algorithm>

namespace wbx {

void SegmentReader::attach(const DataChunk* first, Stream& stream) {
  stream_ = &stream;
  memory_ = stream.type() == Stream::kMemory ? static_cast<const MemoryStream*>(&stream) : nullptr;
  chunk_ = first;
  cursor_ = end_ = nullptr;
  segmentsLeft_ = 0;
  outOfMemory_ = false;
  if (chunk_) load();
}

void SegmentReader::attach(std::span<const u8> bytes) {
  chunk_ = nullptr;
  segmentsLeft_ = 0;
  cursor_ = bytes.data();
  end_ = cursor_ + bytes.size();
  outOfMemory_ = false;
}

bool SegmentReader::hasByte() {
  while (cursor_ == end_) {
    if (chunk_ == nullptr || chunk_->endsSegment() || !next()) return false;
  }
  return true;
}

bool SegmentReader::next() {
  if (segmentsLeft_ > 0) {
    --segmentsLeft_;
    return true;
  }
  if (chunk_) chunk_ = chunk_->next();
  if (chunk_ == nullptr) {
    cursor_ = end_ = nullptr;
    return false;
  }
  load();
  return true;
}

void SegmentReader::load() {
  const u32 length = chunk_->length();
  segmentsLeft_ = chunk_->endsSegment() && length == 0 ? chunk_->passes() - 1 : 0;
  if (!chunk_->isReference()) {
    cursor_ = chunk_->data();
    end_ = cursor_ + length;
    return;
  }
  const u32 position = chunk_->position();
  if (memory_) {
    const u32 there = position < memory_->size() ? memory_->size() - position : 0;
    cursor_ = there == 0 ? nullptr : memory_->data() + position;
    end_ = there == 0 ? nullptr : cursor_ + std::min(length, there);
    return;
  }
  cursor_ = end_ = nullptr;
  if (length > bufferSize_) {
    u8* grown = arena_->allocateArray<u8>(i64{3} * length);
    if (grown == nullptr) {
      outOfMemory_ = true;
      return;
    }
    buffer_ = grown;
    bufferSize_ = 3 * length;
  }
  if (!stream_->seek(position)) return;
  const i32 delivered = stream_->readBytes(buffer_, length);
  if (delivered <= 0) return;
  cursor_ = buffer_;
  end_ = buffer_ + std::min(length, static_cast<u32>(delivered));
}

}  // namespace wbx
