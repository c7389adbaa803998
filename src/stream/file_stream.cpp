#include "stream/byte_order.h"
#include "stream/stream.h"

namespace wbx {

namespace {

// A file has one user at a time, so the lock that the standard library takes for each byte is
// wasted.
int getByte(std::FILE* file) {
#if defined(_WIN32)
  return _fgetc_nolock(file);
#else
  return getc_unlocked(file);
#endif
}

}  // namespace

bool FileStream::open(const char* path) {
  source_ = std::fopen(path, "rb");
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

// An item that is there in part only is not delivered at all.
size_t FileStream::readItem(void* item, size_t size) {
  return source_ == nullptr ? 0 : std::fread(item, size, 1, source_);
}

void FileStream::readF32(f32* value) {
  u32 bits = std::bit_cast<u32>(*value);
  readU32(&bits);
  *value = std::bit_cast<f32>(bits);
}

void FileStream::readU8(u8* value) {
  *value = static_cast<u8>(source_ == nullptr ? EOF : getByte(source_));
  position_ += 1;
}

void FileStream::readU16(u16* value) {
  u16 read = 0;
  if (readItem(&read, sizeof read) == 1) *value = read;
  *value = swapBigEndian(*value);
  position_ += sizeof read;
}

void FileStream::readU32(u32* value) {
  u32 read = 0;
  if (readItem(&read, sizeof read) == 1) *value = read;
  *value = swapBigEndian(*value);
  position_ += sizeof read;
}

void FileStream::writeF32(f32 value) {
  writeU32(std::bit_cast<u32>(value));
}

void FileStream::writeU8(u8 value) {
  writeBytes(&value, sizeof value);
}

void FileStream::writeU16(u16 value) {
  value = swapBigEndian(value);
  writeBytes(&value, sizeof value);
}

void FileStream::writeU32(u32 value) {
  value = swapBigEndian(value);
  writeBytes(&value, sizeof value);
}

i32 FileStream::readBytes(void* buffer, u32 count) {
  if (deferred_ && seekPending_) {
    seekPending_ = false;
    seekSource(position_);
  }
  position_ += count;
  return source_ == nullptr ? 0 : static_cast<i32>(std::fread(buffer, 1, count, source_));
}

i32 FileStream::writeBytes(const void* buffer, u32 count) {
  if (deferred_ && seekPending_) {
    seekPending_ = false;
    seekSource(position_);
  }
  position_ += count;
  return source_ == nullptr ? 0 : static_cast<i32>(std::fwrite(buffer, 1, count, source_));
}

bool FileStream::seekSource(u32 offset) {
#if defined(_WIN32)
  return _fseeki64(source_, offset, SEEK_SET) == 0;
#else
  return fseeko(source_, static_cast<off_t>(offset), SEEK_SET) == 0;
#endif
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
