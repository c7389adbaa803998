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
CodingStyle& codingStyleInForce(Decoder& decoder) {
  return inTilePartHeader(decoder) ? decoder.tileTable.find(decoder.currentTile)->style
                                   : decoder.mainCoding;
}

i32 skipSegment(Decoder& decoder) {
  logger.writeMore(" - skipping...");
  const bool skipped = skipBytes(*decoder.stream, decoder.marker.length);
  return skipped && decoder.stream->isGood() ? WBX_OK : WBX_ERROR_READ;
}

// The parameters of a tile are fixed once its tree is built from them (T.800 A.4.2 allows them in
// its first tile-part only).
i32 handleCodingMarker(Decoder& decoder, CodingStyle& style) {
  if (inTilePartHeader(decoder) && decoder.tileTable.find(decoder.currentTile)->isBuilt())
    return WBX_ERROR_CORRUPT;
  switch (decoder.marker.code) {
    case kCOD:
      return style.parseCOD(*decoder.stream);
    case kCOC:
      return style.parseCOC(*decoder.stream);
    default:
      return style.parseQuantization(*decoder.stream, decoder.marker.length,
                                     decoder.marker.code == kQCC);
  }
}

i32 handleMarker(Decoder& decoder, CodingStyle& style) {
  switch (decoder.marker.code) {
    case kNul:
      return decoder.metadata.parseJP2(*decoder.stream);
    case kSOC:
      return 0;
    case kSIZ:
      return decoder.parseSIZ();
    case kCOD:
    case kCOC:
    case kQCD:
    case kQCC:
      return handleCodingMarker(decoder, style);
    case kRGN:
      return style.parseRGN(*decoder.stream);
    case kCOM:
      return decoder.metadata.parseCOM(*decoder.stream, decoder.marker.length);
    case kSOT:
      return decoder.parseSOT(decoder.marker.length);
    case kSOD:
      return decoder.parseSOD();
    case kEOC:
      return decoder.metadata.parseTrailingBoxes(*decoder.stream);
    default:
      return skipSegment(decoder);
  }
}

}  // namespace

i32 Decoder::parseHeaders() {
  if (!stream->isGood()) return WBX_ERROR_READ;
  while (!cancelled.load(std::memory_order_relaxed)) {
    CodingStyle& style = codingStyleInForce(*this);
    i32 code = marker.readMarker(*stream);
    if (code != 0) return code;
    if (!stream->isGood()) return WBX_ERROR_READ;
    code = handleMarker(*this, style);
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

}  // namespace wbx
