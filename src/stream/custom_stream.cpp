#include "stream/byte_order.h"
#include "stream/stream.h"

namespace wbx {

void CustomStream::open(void* user, const CustomCallbacks& callbacks) {
  source_ = user;
  callbacks_ = callbacks;
  position_ = 0;
  eof_ = false;
  seekable_ = callbacks_.seek != nullptr && callbacks_.seek(source_, 0) == 0;
}

i32 CustomStream::readItem(void* item, u32 count) {
  position_ += count;
  if (callbacks_.read == nullptr) {
    eof_ = true;
    return 0;
  }
  return callbacks_.read(item, count, source_);
}

void CustomStream::readF32(f32* value) {
  u32 bits = std::bit_cast<u32>(*value);
  readU32(&bits);
  *value = std::bit_cast<f32>(bits);
}

// Unlike for wider values, an error of the callback does not count as the end of the data.
void CustomStream::readU8(u8* value) {
  if (readItem(value, sizeof *value) == 0) eof_ = true;
}

void CustomStream::readU16(u16* value) {
  if (readItem(value, sizeof *value) < static_cast<i32>(sizeof *value)) eof_ = true;
  *value = swapBigEndian(*value);
}

void CustomStream::readU32(u32* value) {
  if (readItem(value, sizeof *value) < static_cast<i32>(sizeof *value)) eof_ = true;
  *value = swapBigEndian(*value);
}

void CustomStream::writeF32(f32) {}
void CustomStream::writeU8(u8) {}
void CustomStream::writeU16(u16) {}
void CustomStream::writeU32(u32) {}
i32 CustomStream::writeBytes(const void*, u32) {
  return 0;
}

i32 CustomStream::readBytes(void* buffer, u32 count) {
  const i32 delivered = readItem(buffer, count);
  if (delivered < 0 || static_cast<u32>(delivered) != count) eof_ = true;
  return delivered;
}

bool CustomStream::seek(u32 offset) {
  if (callbacks_.seek == nullptr) return false;
  position_ = offset;
  return callbacks_.seek(source_, offset) == 0;
}

void CustomStream::close() {
  const CustomCallbacks callbacks = callbacks_;
  void* user = source_;
  callbacks_ = {};
  source_ = nullptr;
  position_ = 0;
  if (callbacks.read != nullptr && callbacks.close != nullptr) callbacks.close(user);
}

}  // namespace wbx
