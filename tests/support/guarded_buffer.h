#ifndef WBX_TESTS_SUPPORT_GUARDED_BUFFER_H
#define WBX_TESTS_SUPPORT_GUARDED_BUFFER_H

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

namespace wbx::test {

// Memory between two guard bands. Everything starts as one fill byte, so that a test sees which
// bytes were written.
class GuardedBuffer {
 public:
  static constexpr uint8_t kFill = 0xA5;

  explicit GuardedBuffer(size_t size) : bytes_(size + 2 * kGuard, kFill), size_(size) {}

  uint8_t* data() { return bytes_.data() + kGuard; }
  std::span<const uint8_t> bytes() const { return {bytes_.data() + kGuard, size_}; }

  bool guardsIntact() const { return filled(0, kGuard) && filled(kGuard + size_, bytes_.size()); }
  bool untouched() const { return filled(0, bytes_.size()); }

 private:
  static constexpr size_t kGuard = 4096;

  bool filled(size_t from, size_t to) const {
    const auto begin = bytes_.begin();
    return std::all_of(begin + static_cast<std::ptrdiff_t>(from),
                       begin + static_cast<std::ptrdiff_t>(to),
                       [](uint8_t byte) { return byte == kFill; });
  }

  std::vector<uint8_t> bytes_;
  size_t size_;
};

}  // namespace wbx::test

#endif
