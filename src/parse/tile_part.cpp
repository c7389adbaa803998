// Tile-parts (T.800 A.4.2): SOT, and the packets behind SOD.
#include "wbx.h"

#include "api/decoder.h"
#include "api/logger.h"
#include "parse/stream_fields.h"

namespace wbx {
namespace {

// A tile starts from the main header; a COD or QCD of its own then beats a COC or QCC from there.
void inheritStyle(const CodingStyle& main, CodingStyle& tile) {
  const u8 kernel = tile.kernel;
  const CodingStyle own = tile;
  tile = main;
  tile.kernel = kernel;
  for (u32 i = 0; i < kMaxComponents; ++i) {
    if (i >= main.components) tile.component[i] = own.component[i];
    tile.component[i].cocSeen = 0;
    tile.component[i].qccSeen = 0;
  }
}

}  // namespace

i32 Decoder::parseSOT(i32 length) {
  const u16 index = readU16(*stream);
  const u32 partLength = readU32(*stream);
  const u8 part = readU8(*stream);
  const u8 parts = readU8(*stream);
  logger.writeStamped(" tile # %u, Len=%u, part %u of %u", unsigned{index}, partLength,
                      unsigned{part}, unsigned{parts});
  if (index >= tileTable.total()) return WBX_ERROR_CORRUPT;
  Tile* tile = tileTable.obtain(index, arena);
  if (tile == nullptr) return WBX_ERROR_MEMORY;
  currentTile = index;
  // Psot counts from the SOT marker, which lies the payload and two words back.
  tile->partEnd = partLength == 0 ? 0 : stream->tell() + partLength - static_cast<u32>(length) - 4;
  if (part != tile->partsSeen) return WBX_ERROR_CORRUPT;
  if (tile->partsTotal != 0 && part > tile->partsTotal) return WBX_ERROR_CORRUPT;
  if (tile->partsTotal == 0) tile->partsTotal = parts;
  if (part == 0) inheritStyle(mainCoding, tile->style);
  return WBX_OK;
}

i32 Decoder::parseSOD() {
  Tile& tile = *tileTable.find(currentTile);
  if (!tile.isBuilt()) {
    CodingStyle& style = tile.style;
    if (!style.codSeen || !style.qcdSeen) return WBX_ERROR_CORRUPT;
    if (!style.hasEnoughStepSizes()) return WBX_ERROR_CORRUPT;
    style.finishQuantization();
    if (const i32 code = tile.build(image.component, image.components); code != WBX_OK) return code;
  }
  packetBits.attach(*stream);
  if (!packetBits.good()) return WBX_ERROR_READ;
  while (!tile.iterator.done && !cancelled.load(std::memory_order_relaxed)) {
    if (tile.partEnd != 0 && stream->tell() >= tile.partEnd) break;
    if (const i32 code = tile.readNextPacket(packetBits); code != WBX_OK) return code;
  }
  ++tile.partsSeen;
  return WBX_OK;
}

}  // namespace wbx
