#include <cstring>

#include "stream/stream.h"

namespace wbx {

void MemoryStream::open(const void* data, u32 size) {
  // Only the write operations change the memory, and nobody calls them on a caller's image.
  // NOLINTNEXTLINE(cppcoreguidelines-pro-type-const-cast)
  source_ = static_cast<u8*>(const_cast<void*>(data));
  size_ = size;
  position_ = 0;
  eof_ = false;
}

u32 MemoryStream::remaining() const {
  return source_ == nullptr ? 0 : size_ - position_;
}

void MemoryStream::readItem(void* item, u32 size) {
  if (size > remaining()) {
    eof_ = true;
    return;
  }
  std::memcpy(item, source_ + position_, size);
  position_ += size;
}

void MemoryStream::writeItem(const void* item, u32 size) {
  if (size > remaining()) {
    eof_ = true;
    return;
  }
  std::memcpy(source_ + position_, item, size);
  position_ += size;
}

u32 MemoryStream::clip(u32 count) {
  if (count <= remaining()) return count;
  eof_ = true;
  return remaining();
}

void MemoryStream::readU8(u8* value) {
  MemoryStream::readItem(value, sizeof *value);
}

i32 MemoryStream::readBytes(void* buffer, u32 count) {
  count = clip(count);
  if (count == 0) return 0;
  std::memcpy(buffer, source_ + position_, count);
  position_ += count;
  return static_cast<i32>(count);
}

i32 MemoryStream::writeBytes(const void* buffer, u32 count) {
  count = clip(count);
  if (count == 0) return 0;
  std::memcpy(source_ + position_, buffer, count);
  position_ += count;
  return static_cast<i32>(count);
}

bool MemoryStream::seek(u32 offset) {
  if (offset >= size_) return false;
  position_ = offset;
  return true;
}

void MemoryStream::close() {
  source_ = nullptr;
}

}  // namespace wbx
