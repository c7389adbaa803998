// The one pass over the file that an open makes, marker by marker.
#include "wbx.h"

#include "api/decoder.h"
#include "api/logger.h"
#include "parse/stream_fields.h"

namespace wbx {

i32 Decoder::parseHeaders() {
  if (!stream->isGood()) return WBX_ERROR_READ;
  while (!cancelled.load(std::memory_order_relaxed)) {
    // The record in force is chosen before the marker is read.
    CodingStyle& style =
        marker.state == kPhaseTilePartHeader ? tileTable.find(currentTile)->style : mainCoding;
    if (const i32 code = marker.readMarker(*stream); code != WBX_OK) return code;
    if (!stream->isGood()) return WBX_ERROR_READ;
    if (const i32 code = handleMarker(style); code != WBX_OK) return code;
    // SOT has made its tile current by now, but this marker stood before it.
    if (const i32 code = checkCompliance(style); code != WBX_OK) {
      logger.writeStamped("checkCompliance() failure!");
      return code;
    }
    if (marker.code == kEOC) break;
  }
  return cancelled.load(std::memory_order_relaxed) ? WBX_ERROR_CANCELLED : WBX_OK;
}

i32 Decoder::handleMarker(CodingStyle& style) {
  const i32 length = marker.length;
  switch (marker.code) {
    case kNul:
      return metadata.parseJP2(*stream);
    case kSOC:
      return WBX_OK;
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
      return metadata.parseCOM(*stream, length);
    case kSOT:
      return parseSOT(length);
    case kSOD:
      return parseSOD();
    case kEOC:
      return metadata.parseTrailingBoxes(*stream);
    default:
      logger.writeMore(" - skipping...");
      stepOver(*stream, static_cast<u32>(length));
      return stream->isGood() ? WBX_OK : WBX_ERROR_READ;
  }
}

i32 Decoder::parseCodingMarker(CodingStyle& style) {
  // A tile's tree is built from what stood in its first tile-part header.
  if (&style != &mainCoding && tileTable.find(currentTile)->isBuilt()) return WBX_ERROR_CORRUPT;
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
