#include "parse/marker.h"

#include <algorithm>
#include <iterator>

#include "wbx.h"

#include "base/logger.h"

namespace wbx {

namespace {

struct MarkerRow {
  char name[4];
  u8 code;
  bool hasLength;
  u8 permitted;  // the phases in which the marker may stand
  u8 next;       // the phase that it leads to; 0 stays
};

constexpr u8 kAnyHeader = kPhaseMainHeader | kPhaseTilePartHeader;

constexpr MarkerRow kMarkerTable[] = {
    {"nul", kNul, false, kPhaseStart, 0},
    {"SOC", kSOC, false, kPhaseStart, kPhaseSiz},
    {"SIZ", kSIZ, true, kPhaseSiz, kPhaseMainHeader},
    {"COD", kCOD, true, kAnyHeader, 0},
    {"COC", kCOC, true, kAnyHeader, 0},
    {"QCD", kQCD, true, kAnyHeader, 0},
    {"QCC", kQCC, true, kAnyHeader, 0},
    {"RGN", kRGN, true, kAnyHeader, 0},
    {"POC", kPOC, true, kAnyHeader, 0},
    {"TLM", kTLM, true, kPhaseMainHeader, 0},
    {"PLM", kPLM, true, kPhaseMainHeader, 0},
    {"PLT", kPLT, true, kPhaseTilePartHeader, 0},
    {"PPM", kPPM, true, kPhaseMainHeader, 0},
    {"PPT", kPPT, true, kPhaseTilePartHeader, 0},
    {"CRG", kCRG, true, kPhaseMainHeader, 0},
    {"COM", kCOM, true, kAnyHeader, 0},
    {"SOT", kSOT, true, kPhaseMainHeader | kPhaseBetweenTileParts, kPhaseTilePartHeader},
    {"SOD", kSOD, false, kPhaseTilePartHeader, kPhaseBetweenTileParts},
    {"EOC", kEOC, false, kPhaseBetweenTileParts, kPhaseEnd},
};

// A segment's length counts its own two bytes, and no segment of ours is empty.
constexpr u16 kLengthFieldSize = 2;

}  // namespace

i32 MarkerState::readMarker(Stream& stream) {
  length = 0;
  // A word that cannot be read leaves the last code behind with its bytes reversed, a nul marker.
  stream.readU16(&code);
  logger.writeStamped("[%04X]:", code);
  code &= 0xFF;

  const auto* row = std::find_if(std::begin(kMarkerTable), std::end(kMarkerTable),
                                 [this](const MarkerRow& r) { return r.code == code; });
  if (row == std::end(kMarkerTable)) return WBX_ERROR_CORRUPT;
  logger.writeMore(" \"%s\" marker", row->name);
  if ((row->permitted & state) == 0) {
    logger.writeStamped("This marker is not permitted here.");
    return WBX_ERROR_CORRUPT;
  }
  if (row->next != 0) state = row->next;
  if (!row->hasLength) return 0;

  stream.readU16(&length);
  if (length <= kLengthFieldSize) return WBX_ERROR_CORRUPT;
  length = static_cast<u16>(length - kLengthFieldSize);
  logger.writeMore(", %d bytes", length);
  return 0;
}

}  // namespace wbx
