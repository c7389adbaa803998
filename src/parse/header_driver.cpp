// The one pass of an open over all markers.
#include "wbx.h"

#include "api/decoder.h"
#include "api/logger.h"
#include "parse/fields.h"

namespace wbx {

namespace {

bool inTilePartHeader(const Decoder& decoder) {
  return decoder.marker.state == kPhaseTilePartHeader;
}

// In a tile-part header the tile's own parameters, else those of the whole image.
// The tile has a record: its SOT made one.
CodingStyle& codingStyleInForce(Decoder& decoder) {
  // NOLINTNEXTLINE(clang-analyzer-core.uninitialized.UndefReturn)
  return inTilePartHeader(decoder) ? decoder.tileTable.find(decoder.currentTile)->style
                                   : decoder.mainCoding;
}

i32 skipSegment(Stream& stream, u32 length) {
  logger.writeMore(" - skipping...");
  return skipBytes(stream, length) && stream.isGood() ? WBX_OK : WBX_ERROR_READ;
}

}  // namespace

i32 Decoder::parseHeaders() {
  if (!stream->isGood()) return WBX_ERROR_READ;
  while (!cancelled.load(std::memory_order_relaxed)) {
    CodingStyle& style = codingStyleInForce(*this);
    i32 code = marker.readMarker(*stream);
    if (code != 0) return code;
    if (!stream->isGood()) return WBX_ERROR_READ;
    code = handleMarker(style);
    if (code != 0) return code;
    code = checkCompliance(style);
    if (code != 0) {
      logger.writeStamped("checkCompliance() failure!");
      return code;
    }
    if (marker.code == kEOC) break;
  }
  return cancelled.load(std::memory_order_relaxed) ? WBX_ERROR_CANCELLED : WBX_OK;
}

i32 Decoder::handleMarker(CodingStyle& style) {
  switch (marker.code) {
    case kNul:
      return metadata.parseJP2(*stream);
    case kSOC:
      return 0;
    case kSIZ:
      return parseSIZ();
    case kCOD:
    case kCOC:
    case kQCD:
    case kQCC:
      return parseCodingMarker(style);
    case kRGN:
      return style.parseRGN(*stream);
    case kCOM:
      return metadata.parseCOM(*stream, marker.length);
    case kSOT:
      return parseSOT(marker.length);
    case kSOD:
      return parseSOD();
    case kEOC:
      return metadata.parseTrailingBoxes(*stream);
    default:
      return skipSegment(*stream, marker.length);
  }
}

// The parameters of a tile are fixed once its tree is built from them, and the standard allows them
// in its first tile-part only (T.800 A.6).
i32 Decoder::parseCodingMarker(CodingStyle& style) {
  if (inTilePartHeader(*this) && tileTable.find(currentTile)->isBuilt()) return WBX_ERROR_CORRUPT;
  switch (marker.code) {
    case kCOD:
      return style.parseCOD(*stream);
    case kCOC:
      return style.parseCOC(*stream);
    default:
      return style.parseQuantization(*stream, marker.length, marker.code == kQCC);
  }
}

}  // namespace wbx
