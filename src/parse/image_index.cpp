#include "parse/image_index.h"

#include "wbx.h"

#include "base/logger.h"
#include "parse/coding_markers.h"
#include "parse/fields.h"
#include "parse/jp2_boxes.h"
#include "parse/metadata_reader.h"

namespace wbx {

namespace {

i32 skipSegment(Stream& stream, u32 length) {
  logger.writeMore(" - skipping...");
  return skipBytes(stream, length) && stream.isGood() ? WBX_OK : WBX_ERROR_READ;
}

}  // namespace

i32 ImageIndex::parseHeaders(Stream& source, const std::atomic<bool>& cancel) {
  stream = &source;
  cancelled = &cancel;
  if (!stream->isGood()) return WBX_ERROR_READ;
  while (!isCancelled()) {
    CodingStyle& style = codingStyleInForce();
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
  return isCancelled() ? WBX_ERROR_CANCELLED : WBX_OK;
}

// In a tile-part header the tile's own parameters, else those of the whole image.
CodingStyle& ImageIndex::codingStyleInForce() {
  return inTilePartHeader() ? currentTile->style : mainCoding;
}

i32 ImageIndex::handleMarker(CodingStyle& style) {
  switch (marker.code) {
    case kNul:
      return parseJP2(*stream, metadata);
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
      return parseRGN(*stream, style);
    case kCOM:
      return parseCOM(*stream, metadata, marker.length);
    case kSOT:
      return parseSOT(marker.length);
    case kSOD:
      return parseSOD();
    case kEOC:
      return parseTrailingBoxes(*stream, metadata);
    default:
      return skipSegment(*stream, marker.length);
  }
}

// The parameters of a tile are fixed once its tree is built from them, and the standard allows them
// in its first tile-part only (T.800 A.6).
i32 ImageIndex::parseCodingMarker(CodingStyle& style) {
  if (inTilePartHeader() && currentTile->isBuilt()) return WBX_ERROR_CORRUPT;
  switch (marker.code) {
    case kCOD:
      return parseCOD(*stream, style);
    case kCOC:
      return parseCOC(*stream, style);
    default:
      return parseQuantization(*stream, style, marker.length, marker.code == kQCC);
  }
}

}  // namespace wbx
