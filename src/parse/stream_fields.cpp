#include "parse/stream_fields.h"

#include <algorithm>

namespace wbx {

void stepOver(Stream& stream, u32 count) {
  if (stream.isSeekable()) {
    stream.seek(stream.tell() + count);
    return;
  }
  u8 scratch[128];
  while (count > 0 && stream.isGood()) {
    const u32 piece = std::min<u32>(count, sizeof scratch);
    stream.readBytes(scratch, piece);
    count -= piece;
  }
}

}  // namespace wbx
