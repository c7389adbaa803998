#include <cstring>

#include "stream/byte_order.h"
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

void MemoryStream::readItem(void* item, u32 count) {
  if (count > remaining()) {
    eof_ = true;
    return;
  }
  std::memcpy(item, source_ + position_, count);
  position_ += count;
}

void MemoryStream::writeItem(const void* item, u32 count) {
  if (count > remaining()) {
    eof_ = true;
    return;
  }
  std::memcpy(source_ + position_, item, count);
  position_ += count;
}

u32 MemoryStream::clip(u32 count) {
  if (count <= remaining()) return count;
  eof_ = true;
  return remaining();
}

void MemoryStream::readF32(f32* value) {
  u32 bits = std::bit_cast<u32>(*value);
  readU32(&bits);
  *value = std::bit_cast<f32>(bits);
}

void MemoryStream::readU8(u8* value) {
  readItem(value, sizeof *value);
}

void MemoryStream::readU16(u16* value) {
  readItem(value, sizeof *value);
  *value = swapBigEndian(*value);
}

void MemoryStream::readU32(u32* value) {
  readItem(value, sizeof *value);
  *value = swapBigEndian(*value);
}

void MemoryStream::writeF32(f32 value) {
  writeU32(std::bit_cast<u32>(value));
}

void MemoryStream::writeU8(u8 value) {
  writeItem(&value, sizeof value);
}

void MemoryStream::writeU16(u16 value) {
  value = swapBigEndian(value);
  writeItem(&value, sizeof value);
}

void MemoryStream::writeU32(u32 value) {
  value = swapBigEndian(value);
  writeItem(&value, sizeof value);
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
