// SOT, SOD and the packets of a tile-part (T.800 A.4.2, A.4.3).
#include "wbx.h"

#include "base/logger.h"
#include "parse/fields.h"
#include "parse/image_index.h"

namespace wbx {

namespace {

// From the first byte of the SOT marker to its payload.
constexpr u32 kSegmentHeaderSize = 4;

i32 prepareTile(Tile& tile, const ImageHeader& image) {
  if (tile.style.codSeen == 0 || tile.style.qcdSeen == 0) return WBX_ERROR_CORRUPT;
  if (!tile.style.hasEnoughStepSizes()) return WBX_ERROR_CORRUPT;
  tile.style.finishQuantization();
  return tile.build(image.component, image.components);
}

}  // namespace

i32 ImageIndex::parseSOT(i32 length) {
  const u16 isot = takeU16(*stream);
  const u32 psot = takeU32(*stream);
  const u8 tpsot = takeU8(*stream);
  const u8 tnsot = takeU8(*stream);
  logger.writeStamped(" tile # %u, Len=%u, part %u of %u", isot, psot, tpsot, tnsot);
  if (isot >= tileTable.total()) return WBX_ERROR_CORRUPT;
  Tile* tile = tileTable.obtain(isot, arena);
  if (tile == nullptr) return WBX_ERROR_MEMORY;
  currentTile = tile;

  // Psot counts from the marker on. The sum wraps like the positions themselves.
  tile->partEnd =
      psot == 0 ? 0 : stream->tell() + psot - static_cast<u32>(length) - kSegmentHeaderSize;
  if (tpsot != tile->partsSeen) return WBX_ERROR_CORRUPT;
  if (tile->partsTotal != 0 && tpsot > tile->partsTotal) return WBX_ERROR_CORRUPT;
  if (tile->partsTotal == 0) tile->partsTotal = tnsot;
  if (tpsot == 0) tile->style.inherit(mainCoding);
  return 0;
}

i32 ImageIndex::parseSOD() {
  Tile& tile = *currentTile;
  if (!tile.isBuilt()) {
    const i32 code = prepareTile(tile, image);
    if (code != 0) return code;
  }
  packetBits.attach(*stream);
  if (!packetBits.good()) return WBX_ERROR_READ;

  while (tile.iterator.done == 0 && !isCancelled()) {
    if (tile.partEnd != 0 && stream->tell() >= tile.partEnd) break;
    const i32 code = tile.readNextPacket(packetBits);
    if (code != 0) return code;
  }
  ++tile.partsSeen;
  return 0;
}

}  // namespace wbx
