#include <cstring>

#include "base/platform.h"
#include "stream/stream.h"

namespace wbx {

bool FileStream::open(const char* path) {
  source_ = openForReading(path);
  position_ = 0;
  deferred_ = seekPending_ = false;
  return source_ != nullptr;
}

bool FileStream::isGood() const {
  return source_ != nullptr && std::feof(source_) == 0 && std::ferror(source_) == 0;
}

bool FileStream::isEof() const {
  return source_ != nullptr && std::feof(source_) != 0;
}

void FileStream::readU8(u8* value) {
  *value = wrapTo<u8>(source_ == nullptr ? EOF : readByte(source_));
  position_ += 1;
}

void FileStream::readItem(void* item, u32 size) {
  u8 bytes[sizeof(u32)];
  if (source_ != nullptr && std::fread(bytes, size, 1, source_) == 1)
    std::memcpy(item, bytes, size);
  position_ += size;
}

// To a position that was only noted.
void FileStream::catchUp() {
  if (!deferred_ || !seekPending_) return;
  seekPending_ = false;
  seekSource(position_);
}

i32 FileStream::readBytes(void* buffer, u32 count) {
  catchUp();
  position_ += count;
  return source_ == nullptr ? 0 : static_cast<i32>(std::fread(buffer, 1, count, source_));
}

i32 FileStream::writeBytes(const void* buffer, u32 count) {
  catchUp();
  position_ += count;
  return source_ == nullptr ? 0 : static_cast<i32>(std::fwrite(buffer, 1, count, source_));
}

bool FileStream::seekSource(u32 offset) {
  return seekInFile(source_, offset);
}

bool FileStream::seek(u32 offset) {
  if (source_ == nullptr) return false;
  position_ = offset;
  if (!deferred_) return seekSource(offset);
  seekPending_ = true;
  return true;
}

void FileStream::close() {
  if (source_ != nullptr) std::fclose(source_);
  source_ = nullptr;
  position_ = 0;
}

void FileStream::beginDeferred() {
  if (source_ == nullptr) return;
  deferred_ = true;
  seekPending_ = false;
}

void FileStream::endDeferred() {
  if (source_ == nullptr) return;
  if (seekPending_) seekSource(position_);
  deferred_ = seekPending_ = false;
}

}  // namespace wbx
