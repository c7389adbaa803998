// The same visit through callbacks that deliver short, fail, cannot seek or cancel.
#include <algorithm>

#include "codestream_mutator.h"
#include "session.h"

namespace wbx::fuzz {

namespace {

enum class Mishap { kNone, kError, kShort, kEnd, kCancel, kBoast, kCount };

class Source {
 public:
  Source(const FileInput& input, Decisions& tail) : file_(input.file), size_(input.size) {
    const u8 shape = tail.byte();
    hasSeek_ = (shape & 3) != 0;
    refusesSeek_ = (shape & 3) == 1;
    hasClose_ = (shape & 4) != 0;
    lasting_ = (shape & 8) != 0;
    onlyAtDecode_ = (shape & 16) != 0;
    mishap_ = static_cast<Mishap>(tail.below(static_cast<i32>(Mishap::kCount)));
    at_ = tail.below(1024);
  }

  [[nodiscard]] WBX_Handle open() {
    CustomCallbacks callbacks = {};
    callbacks.read = [](void* buffer, u32 count, void* user) WBX_CALL {
      return static_cast<Source*>(user)->read(static_cast<u8*>(buffer), count);
    };
    if (hasSeek_) {
      callbacks.seek = [](void* user, u32 offset)
                           WBX_CALL { return static_cast<Source*>(user)->seek(offset); };
    }
    if (hasClose_)
      callbacks.close = [](void* user) WBX_CALL { ++static_cast<Source*>(user)->closes_; };
    handle_ = WBX_OpenCustom(this, &callbacks);
    opened_ = true;
    return handle_;
  }

  [[nodiscard]] bool struck() const { return struck_; }
  // Asked for bytes behind the end, where each kind of stream has ways of its own.
  [[nodiscard]] bool leftFile() const { return leftFile_; }
  void requireClosed() const { require(closes_ == (hasClose_ ? 1 : 0), "closed not just once"); }

 private:
  [[nodiscard]] bool strikes() {
    require(closes_ == 0, "a callback after the last one");
    if (mishap_ == Mishap::kNone || (onlyAtDecode_ && !opened_)) return false;
    const i64 call = calls_++;
    const bool now = lasting_ ? call >= at_ : call == at_;
    struck_ = struck_ || now;
    return now;
  }

  i32 read(u8* buffer, u32 count) {
    const Mishap mishap = strikes() ? mishap_ : Mishap::kNone;
    if (mishap == Mishap::kError) return -1;
    if (mishap == Mishap::kEnd) return 0;
    if (mishap == Mishap::kCancel && opened_) WBX_Cancel(handle_);
    u32 there = static_cast<u32>(std::min<size_t>(count, size_ - position_));
    leftFile_ = leftFile_ || there < count;
    if (mishap == Mishap::kShort) there /= 2;
    std::copy_n(file_ + position_, there, buffer);
    position_ += there;
    if (mishap == Mishap::kBoast) return static_cast<i32>(count + 1);
    return static_cast<i32>(there);
  }

  i32 seek(u32 offset) {
    if (refusesSeek_ || (strikes() && mishap_ == Mishap::kError)) return 1;
    leftFile_ = leftFile_ || offset >= size_;
    position_ = std::min<size_t>(offset, size_);
    return 0;
  }

  const u8* file_;
  size_t size_;
  size_t position_ = 0;
  bool hasSeek_, refusesSeek_, hasClose_, lasting_, onlyAtDecode_;
  Mishap mishap_;
  i64 at_;
  i64 calls_ = 0;
  bool opened_ = false, struck_ = false, leftFile_ = false;
  int closes_ = 0;
  WBX_Handle handle_ = nullptr;
};

void run(const FileInput& input) {
  Decisions tail = input.tail;
  Source source(input, tail);
  const Decisions visitTail = tail;
  const WBX_Handle image = source.open();
  Visit seen;
  if (image == nullptr) {
    seen.openCode = codeOfFailedOpen();
  } else {
    seen = visit(image, tail, false);
    require(WBX_Close(image) == WBX_OK, "Close failed");
  }
  source.requireClosed();
  if (source.struck() || source.leftFile()) return;
  require(seen == visitMemory(input.file, input.size, visitTail),
          "a custom source and memory gave different results");
}

}  // namespace

}  // namespace wbx::fuzz

extern "C" int LLVMFuzzerTestOneInput(const wbx::u8* data, size_t size) {
  const wbx::fuzz::FileInput input(data, size);
  if (input.size == 0) return -1;
  wbx::fuzz::run(input);
  return 0;
}
