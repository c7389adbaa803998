// PacketBitReader: the bits of a packet header, with 0xFF stuffing (T.800 B.10.1).
#pragma once

#include <algorithm>

#include "base/types.h"
#include "stream/stream.h"

namespace wbx {

// Behind the end of the stream every bit reads as 1; on a failed stream a read gives -1. Bytes of
// a MemoryStream are taken where they lie, and the stream catches up when the header ends.
class PacketBitReader {
 public:
  // Set up for a tile-part.
  void attach(Stream& stream);

  [[nodiscard]] bool good() const { return good_; }
  [[nodiscard]] bool atEnd() const { return atEnd_; }
  [[nodiscard]] Stream& stream() const { return *stream_; }

  // Set up for the header of a packet, at the stream's position.
  void beginHeader();

  // 0, 1 or -1.
  [[nodiscard]] i32 readBit() {
    if (--bitIndex_ >= 0) return (current_ >> bitIndex_) & 1;
    return readFirstBit();
  }
  // `count` bits, the first one highest, of which the low 32 remain; false on a failed stream.
  [[nodiscard]] bool readBits(i32 count, u32& value);
  // The number of new coding passes, 1 to 164 (T.800 table B.4), or -1.
  [[nodiscard]] i32 readPassCount();
  // Ends the header on a byte boundary. Whether the bits passed over, the first seven of them at
  // most, equal `expected` under `mask`; false on a failed stream.
  bool align(u32 mask, u32 expected);

 private:
  [[nodiscard]] i32 readFirstBit();
  [[nodiscard]] i32 readFirstBitFromStream();
  i32 use(u8 byte);
  [[nodiscard]] bool readAligning(i32 count, u32& value, i32& total);
  void endHeader();

  bool good_ = false;
  bool atEnd_ = false;
  i32 current_ = 0;   // the byte in use, without a stuffed bit
  i32 bitIndex_ = 0;  // of the bit read last; -1 before the first bit of a packet
  Stream* stream_ = nullptr;
  MemoryStream* memory_ = nullptr;  // the stream, when it is one
  const u8* cursor_ = nullptr;      // next byte of a header in memory; equal to end_ otherwise
  const u8* end_ = nullptr;
};

}  // namespace wbx
