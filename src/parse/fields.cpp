#include "parse/fields.h"

#include <algorithm>
#include <limits>

namespace wbx {

void readAndDrop(Stream& stream, u32 count) {
  u8 scratch[128];
  while (count > 0 && stream.isGood()) {
    const u32 piece = std::min<u32>(count, sizeof scratch);
    stream.readBytes(scratch, piece);
    count -= piece;
  }
}

bool skipBytes(Stream& stream, u32 count) {
  if (!stream.isSeekable()) {
    readAndDrop(stream, count);
    return true;
  }
  const u32 position = stream.tell();
  if (count > std::numeric_limits<u32>::max() - position) return false;
  // A refused seek leaves the stream where it is; what stands there is then read as what follows.
  stream.seek(position + count);
  return true;
}

}  // namespace wbx
