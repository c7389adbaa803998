// The same visit through callbacks that deliver short, fail, fault, cannot seek or cancel, and
// without memory from some allocation on.
#include <algorithm>
#include <csignal>
#include <optional>

#include "codestream_mutator.h"
#include "session.h"
#include "shortage.h"

// Null without a leak checker.
extern "C" __attribute__((weak)) void __lsan_disable();
extern "C" __attribute__((weak)) void __lsan_enable();

namespace wbx::fuzz {

namespace {

enum class Mishap { kNone, kError, kShort, kEnd, kCancel, kBoast, kCount };

// A fault loses memory, which a leak checker need not be told.
struct AcceptLeaks {
  AcceptLeaks() {
    if (__lsan_disable != nullptr) __lsan_disable();
  }
  ~AcceptLeaks() {
    if (__lsan_enable != nullptr) __lsan_enable();
  }
};

volatile std::sig_atomic_t signalExpected = 0;

// The application's own handler below that of the library. Anything but a signal that was sent is
// a fault outside the guard.
void takeSignal(int) {
  if (signalExpected == 0) std::abort();
  signalExpected = 0;
}

void handleSignals() {
  WBX_CloseLibrary();
  std::signal(SIGFPE, &takeSignal);
  WBX_InitLibrary();
}

// What the fault guard of the library takes, with a sanitizer around as well, or a signal that it
// hands on.
__attribute__((no_sanitize("undefined"))) void fault(i64 kind) {
  volatile i32 zero = 0;
  if (kind == 3) {
    signalExpected = 1;
    std::raise(SIGFPE);
    require(signalExpected == 0, "a signal was not handed on");
    return;
  }
  if (kind == 0) throw kind;
  if (kind == 1) zero = 7 / zero;
  __builtin_trap();
}

class Host {
 public:
  Host(const FileInput& input, Decisions& tail) : file_(input.file), size_(input.size) {
    const u8 shape = tail.byte();
    hasSeek_ = (shape & 3) != 0;
    refusesSeek_ = (shape & 3) == 1;
    hasClose_ = (shape & 4) != 0;
    lasting_ = (shape & 8) != 0;
    onlyAtDecode_ = (shape & 16) != 0;
    faults_ = (shape & 32) != 0;
    shortOfMemory_ = (shape & 64) != 0;
    mishap_ = static_cast<Mishap>(tail.below(static_cast<i32>(Mishap::kCount)));
    at_ = tail.below(1024);
  }

  [[nodiscard]] WBX_Handle open() {
    CustomCallbacks callbacks = {};
    callbacks.read = [](void* buffer, u32 count, void* user) WBX_CALL {
      return static_cast<Host*>(user)->read(static_cast<u8*>(buffer), count);
    };
    if (hasSeek_) {
      callbacks.seek = [](void* user, u32 offset)
                           WBX_CALL { return static_cast<Host*>(user)->seek(offset); };
    }
    if (hasClose_)
      callbacks.close = [](void* user) WBX_CALL { ++static_cast<Host*>(user)->closes_; };
    handle_ = WBX_OpenCustom(this, &callbacks);
    opened_ = true;
    return handle_;
  }

  [[nodiscard]] bool struck() const { return struck_; }
  [[nodiscard]] bool isShortOfMemory() const { return shortOfMemory_; }
  [[nodiscard]] Source kind() const { return faults_ ? Source::kFaulting : Source::kFailing; }
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
    if (mishap == Mishap::kError && faults_) fault(at_ % 4);
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
  bool hasSeek_, refusesSeek_, hasClose_, lasting_, onlyAtDecode_, faults_, shortOfMemory_;
  Mishap mishap_;
  i64 at_;
  i64 calls_ = 0;
  bool opened_ = false, struck_ = false, leftFile_ = false;
  int closes_ = 0;
  WBX_Handle handle_ = nullptr;
};

Visit visitOnce(Host& host, Decisions tail) {
  const WBX_Handle image = host.open();
  if (image == nullptr) return {codeOfFailedOpen(host.kind()), WBX_OK, 0};
  const Visit seen = visit(image, tail, host.kind());
  require(WBX_Close(image) == WBX_OK, "Close failed");
  return seen;
}

void run(const FileInput& input) {
  [[maybe_unused]] static const bool once = (handleSignals(), true);
  Decisions tail = input.tail;
  Host host(input, tail);
  std::optional<Shortage> shortage;
  if (host.isShortOfMemory()) shortage.emplace(1 + tail.below(512), tail.flag());
  const Decisions visitTail = tail;
  std::optional<AcceptLeaks> acceptLeaks;
  if (host.kind() == Source::kFaulting) acceptLeaks.emplace();
  const Visit seen = visitOnce(host, tail);
  acceptLeaks.reset();
  host.requireClosed();
  if (host.isShortOfMemory() || host.struck() || host.leftFile()) return;
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
