#ifndef WBX_TOOLS_BYTE_READER_H
#define WBX_TOOLS_BYTE_READER_H

#include <cstddef>
#include <cstdint>
#include <span>

namespace wbx::tool {

// Takes big-endian numbers from the front of some bytes. Behind their end it gives zeros and
// remembers that it did, so that a header is read without a test for each field.
class ByteReader {
 public:
  explicit ByteReader(std::span<const uint8_t> bytes) : bytes_(bytes) {}

  bool good() const { return good_; }
  size_t left() const { return bytes_.size(); }

  uint8_t u8() { return static_cast<uint8_t>(number(1)); }
  uint16_t u16() { return static_cast<uint16_t>(number(2)); }
  uint32_t u32() { return static_cast<uint32_t>(number(4)); }
  uint64_t u64() { return number(8); }

  // `count` bytes, 8 at most, as a number.
  uint64_t number(size_t count) {
    if (count > bytes_.size()) {
      good_ = false;
      bytes_ = {};
      return 0;
    }
    uint64_t value = 0;
    for (size_t i = 0; i < count; ++i) value = value << 8 | bytes_[i];
    bytes_ = bytes_.subspan(count);
    return value;
  }

  void skip(size_t count) {
    good_ = good_ && count <= bytes_.size();
    bytes_ = bytes_.subspan(good_ ? count : bytes_.size());
  }

 private:
  std::span<const uint8_t> bytes_;
  bool good_ = true;
};

}  // namespace wbx::tool

#endif
