// Stream: one interface over a file, the caller's memory and the caller's callbacks.
#pragma once

#include <cstdio>

#include "wbx.h"

#include "base/types.h"

namespace wbx {

// Multi-byte reads deliver big-endian values in host order. No operation reports a failure: ask
// isGood or isEof afterwards. `position` is the stream's own count from the start of the source.
class Stream {
 public:
  enum Type : i32 { kFile = 2, kMemory = 4, kCustom = 5 };

  Stream() = default;
  Stream(const Stream&) = delete;
  Stream& operator=(const Stream&) = delete;
  virtual ~Stream() = default;

  [[nodiscard]] virtual i32 type() const = 0;
  [[nodiscard]] virtual bool isGood() const = 0;
  [[nodiscard]] virtual bool isOpen() const = 0;
  [[nodiscard]] virtual bool isEof() const = 0;
  virtual void readU8(u8* value) = 0;
  void readU16(u16* value);
  void readU32(u32* value);
  void readF32(f32* value);
  void writeU8(u8 value) { writeItem(&value, sizeof value); }
  void writeU16(u16 value);
  void writeU32(u32 value);
  void writeF32(f32 value);
  virtual i32 readBytes(void* buffer, u32 count) = 0;  // bytes delivered, or the callback's error
  virtual i32 writeBytes(const void* buffer, u32 count) = 0;
  [[nodiscard]] virtual bool isSeekable() const = 0;
  [[nodiscard]] virtual u32 tell() const = 0;
  virtual bool seek(u32 offset) = 0;
  virtual void close() = 0;
  // Counts bytes as read that nobody asks a failed source for.
  void passOver(u32 count) { position_ += count; }

 protected:
  // One value of `size` bytes in the order of the file.
  virtual void readItem(void* item, u32 size) = 0;
  virtual void writeItem(const void* item, u32 size) = 0;

  u32 position_ = 0;
};

// The file is the stream's own. Reads raise the position by what was asked for, delivered or not.
class FileStream final : public Stream {
 public:
  ~FileStream() override { FileStream::close(); }

  // False when the file cannot be opened.
  [[nodiscard]] bool open(const char* path);

  [[nodiscard]] i32 type() const override { return kFile; }
  [[nodiscard]] bool isGood() const override;
  [[nodiscard]] bool isOpen() const override { return source_ != nullptr; }
  [[nodiscard]] bool isEof() const override;
  void readU8(u8* value) override;
  i32 readBytes(void* buffer, u32 count) override;
  i32 writeBytes(const void* buffer, u32 count) override;
  [[nodiscard]] bool isSeekable() const override { return true; }
  [[nodiscard]] u32 tell() const override { return position_; }
  bool seek(u32 offset) override;
  void close() override;

  // Between the two, seek only notes a position and readBytes catches up with it, so that a walk
  // over many skipped segments costs one real seek. The other reads are not for use inside.
  void beginDeferred();
  void endDeferred();

 private:
  // A value that is there in part only is not delivered at all.
  void readItem(void* item, u32 size) override;
  void writeItem(const void* item, u32 size) override { writeBytes(item, size); }
  void catchUp();
  bool seekSource(u32 offset);

  std::FILE* source_ = nullptr;
  bool deferred_ = false;
  bool seekPending_ = false;  // the position was noted, but the file does not stand there yet
};

// The memory is the caller's. A read of one value that would pass the end delivers nothing and
// leaves the position.
class MemoryStream final : public Stream {
 public:
  void open(const void* data, u32 size);

  [[nodiscard]] i32 type() const override { return kMemory; }
  [[nodiscard]] bool isGood() const override { return source_ != nullptr && !eof_; }
  [[nodiscard]] bool isOpen() const override { return source_ != nullptr; }
  [[nodiscard]] bool isEof() const override { return eof_; }
  void readU8(u8* value) override;
  i32 readBytes(void* buffer, u32 count) override;
  i32 writeBytes(const void* buffer, u32 count) override;
  [[nodiscard]] bool isSeekable() const override { return true; }
  [[nodiscard]] u32 tell() const override { return position_; }
  bool seek(u32 offset) override;
  void close() override;

  // The bytes where they lie. Packet headers and code-block segments are read in place.
  [[nodiscard]] const u8* data() const { return source_; }
  [[nodiscard]] u32 size() const { return size_; }
  // Behind bytes that were read in place; at most `size`.
  void moveTo(u32 position) { position_ = position; }

 private:
  [[nodiscard]] u32 remaining() const;
  // All bytes of a value or none.
  void readItem(void* item, u32 size) override;
  void writeItem(const void* item, u32 size) override;
  // Bytes of a transfer of `count` that are there; fewer set the end-of-data flag.
  [[nodiscard]] u32 clip(u32 count);

  u8* source_ = nullptr;
  u32 size_ = 0;
  bool eof_ = false;
};

// The source is the caller's; its close callback is called once. Reads raise the position by what
// was asked for, delivered or not.
class CustomStream final : public Stream {
 public:
  ~CustomStream() override { CustomStream::close(); }

  // Copies the record and asks the seek callback, if any, to go to 0: that decides isSeekable.
  void open(void* user, const CustomCallbacks& callbacks);

  [[nodiscard]] i32 type() const override { return kCustom; }
  [[nodiscard]] bool isGood() const override { return !eof_; }
  [[nodiscard]] bool isOpen() const override { return callbacks_.read != nullptr; }
  [[nodiscard]] bool isEof() const override { return eof_; }
  void readU8(u8* value) override;
  i32 readBytes(void* buffer, u32 count) override;
  i32 writeBytes(const void* buffer, u32 count) override;
  [[nodiscard]] bool isSeekable() const override { return seekable_; }
  [[nodiscard]] u32 tell() const override { return position_; }
  bool seek(u32 offset) override;
  void close() override;

 private:
  void readItem(void* item, u32 size) override;
  void writeItem(const void*, u32) override {}
  // What the callback returned; the position is raised in any case.
  i32 call(void* buffer, u32 count);

  void* source_ = nullptr;  // the caller's user value
  bool eof_ = false;
  bool seekable_ = false;
  CustomCallbacks callbacks_ = {};
};

}  // namespace wbx
