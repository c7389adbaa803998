#include <cstring>

#include "stream/stream.h"

namespace wbx {

void CustomStream::open(void* user, const CustomCallbacks& callbacks) {
  source_ = user;
  callbacks_ = callbacks;
  position_ = 0;
  eof_ = false;
  seekable_ = callbacks_.seek != nullptr && callbacks_.seek(source_, 0) == 0;
}

i32 CustomStream::call(void* buffer, u32 count) {
  position_ += count;
  if (count == 0) return 0;
  if (callbacks_.read == nullptr) {
    eof_ = true;
    return 0;
  }
  return callbacks_.read(buffer, count, source_);
}

// Unlike for wider values, an error of the callback does not count as the end of the data.
void CustomStream::readU8(u8* value) {
  if (call(value, sizeof *value) == 0) eof_ = true;
}

void CustomStream::readItem(void* item, u32 size) {
  if (call(item, size) < static_cast<i32>(size)) eof_ = true;
}

i32 CustomStream::writeBytes(const void*, u32) {
  return 0;
}

// A callback may boast of bytes that it never wrote; they read as zeros, not as what was there.
i32 CustomStream::readBytes(void* buffer, u32 count) {
  if (count != 0) std::memset(buffer, 0, count);
  const i32 delivered = call(buffer, count);
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
