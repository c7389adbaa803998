// DataChunk: what one packet, or several, contribute to one code block.
#pragma once

#include "base/types.h"

namespace wbx {

// A hand-packed record of variable length in the Arena: the next pointer, the passes byte, one to
// three bytes of size, then, with no alignment, one of
//   inline     the bytes themselves,
//   reference  the stream position of the first byte,
//   detached   a pointer to the bytes, null until the packet's body was read. A long contribution
//              from a source that cannot seek: its memory is taken when its bytes arrive, so that a
//              header cannot claim megabytes with every other byte.
//
// A contribution of no bytes adds its passes to the chunk before it where it can. So a chunk that
// ends codeword segments holds either the bytes of one segment or none for each of its passes.
class DataChunk {
 public:
  enum class Storage : u8 { kInline, kReference, kDetached };

  static constexpr u32 kLengthLimit = 1u << 21;  // what the size field can hold
  static constexpr i32 kMaxPasses = 127;
  static constexpr u32 kInlineLimit = 64;  // longer ones stay in the source when it can seek

  [[nodiscard]] DataChunk* next() const { return next_; }
  void setNext(DataChunk* chunk) { next_ = chunk; }
  [[nodiscard]] i32 passes() const { return passes_ & 0x7F; }
  [[nodiscard]] bool endsSegment() const { return (passes_ & kEndsSegment) != 0; }
  [[nodiscard]] u32 length() const;
  [[nodiscard]] Storage storage() const;
  [[nodiscard]] bool isReference() const { return (sizeLow_ & kByReference) != 0; }
  [[nodiscard]] u32 position() const;  // of a reference
  void setPosition(u32 position);
  [[nodiscard]] const u8* data() const;  // of any but a reference
  [[nodiscard]] u8* data();
  void setData(u8* data);  // of a detached chunk

  // Takes in the passes of a contribution of no bytes that would follow; false when it cannot.
  [[nodiscard]] bool absorb(u8 passesByte);

  // Shortens the chunk to the bytes that really came.
  void cutTo(u32 length);

  // Bytes that a chunk of this shape takes in the Arena.
  [[nodiscard]] static i64 recordSize(u32 length, Storage storage);
  // Fills the fixed fields of a fresh record; `length` is below kLengthLimit.
  void initialise(u32 length, Storage storage, u8 passesByte);

  static constexpr u8 kEndsSegment = 0x80;  // in the passes byte

 private:
  static constexpr size_t kFixedSize = sizeof(DataChunk*) + 2;
  static constexpr u8 kByReference = 0x80;
  static constexpr i32 kSizeBytesShift = 5;
  static constexpr i32 kDetachedCode = 3;  // in the place of the number of sizeHigh bytes

  [[nodiscard]] i32 sizeCode() const { return (sizeLow_ >> kSizeBytesShift) & 3; }
  [[nodiscard]] i32 sizeHighBytes() const { return sizeCode() == kDetachedCode ? 2 : sizeCode(); }
  // The bytes behind sizeLow: sizeHigh and the payload.
  [[nodiscard]] const u8* tail() const { return reinterpret_cast<const u8*>(this) + kFixedSize; }
  [[nodiscard]] u8* tail() { return reinterpret_cast<u8*>(this) + kFixedSize; }
  void setLength(u32 length);

  DataChunk* next_;
  u8 passes_;   // bits 0 to 6: coding passes; bit 7: ends a codeword segment
  u8 sizeLow_;  // bits 0 to 4: length; bits 5, 6: bytes of sizeHigh or 3; bit 7: by reference
};

}  // namespace wbx
