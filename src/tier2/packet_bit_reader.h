// PacketBitReader: the bits of a packet header, with 0xFF stuffing (T.800 B.10.1).
#pragma once

#include "api/types.h"
#include "stream/stream.h"

namespace wbx {

class PacketBitReader {
 public:
  // Set up for a tile-part.
  void attach(Stream& stream);

  [[nodiscard]] bool good() const { return good_; }
  [[nodiscard]] bool atEnd() const { return atEnd_; }

 private:
  bool good_ = false;
  bool atEnd_ = false;
  Stream* stream_ = nullptr;
  i32 current_ = 0;
  i32 bitIndex_ = 0;
};

}  // namespace wbx
