// DataChunk: one packet's contribution to one code block.
#pragma once

#include "api/types.h"

namespace wbx {

// A hand-packed record of variable length in the Arena: the next pointer, the passes byte, one to
// three bytes of size, then the bytes themselves or, by reference, their stream position.
class DataChunk {
 public:
  static constexpr u32 kLengthLimit = 1u << 21;  // what the size field can hold
  static constexpr i32 kMaxPasses = 127;
  static constexpr u32 kInlineLimit = 64;  // longer ones stay in the source when it can seek

  [[nodiscard]] DataChunk* next() const { return next_; }
  void setNext(DataChunk* chunk) { next_ = chunk; }
  [[nodiscard]] i32 passes() const { return passes_ & 0x7F; }
  [[nodiscard]] bool endsSegment() const { return (passes_ & 0x80) != 0; }
  [[nodiscard]] u32 length() const;
  [[nodiscard]] bool isReference() const { return (sizeLow_ & 0x80) != 0; }
  [[nodiscard]] u32 position() const;  // of a reference
  void setPosition(u32 position);
  [[nodiscard]] const u8* data() const;  // of an inline chunk
  [[nodiscard]] u8* data();

  // Bytes that a chunk of this shape takes in the Arena.
  [[nodiscard]] static i64 recordSize(u32 length, bool reference);
  // Fills the fixed fields of a fresh record; `length` is below kLengthLimit.
  void initialise(u32 length, bool reference, u8 passesByte);

 private:
  DataChunk* next_;
  u8 passes_;   // bits 0 to 6: coding passes; bit 7: ends a codeword segment
  u8 sizeLow_;  // bits 0 to 4: length; bits 5, 6: bytes of sizeHigh; bit 7: by reference
};

}  // namespace wbx
