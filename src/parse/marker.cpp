#include "parse/marker.h"

#include "wbx.h"

#include "api/logger.h"

namespace wbx {
namespace {

struct MarkerRow {
  char name[4];
  u8 code;
  bool hasLength;
  u8 permitted;  // phases in which the marker may stand
  u8 next;       // phase entered behind it; 0 leaves the phase
};

constexpr u8 kAnyHeader = kPhaseMainHeader | kPhaseTilePartHeader;

// The order of a codestream, and the only place that holds it. A JP2 file begins with zeros, and
// the row for code 0 sends it to the box parser.
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

const MarkerRow* findRow(u16 code) {
  for (const MarkerRow& row : kMarkerTable) {
    if (row.code == code) return &row;
  }
  return nullptr;
}

}  // namespace

i32 MarkerState::readMarker(Stream& stream) {
  constexpr u16 kLengthField = 2;
  length = 0;
  stream.readU16(&code);
  logger.writeStamped("[%04X]:", static_cast<unsigned>(code));
  code &= 0xFF;  // the high byte is not tested
  const MarkerRow* row = findRow(code);
  if (row == nullptr) return WBX_ERROR_CORRUPT;
  logger.writeMore(" \"%s\" marker", row->name);
  if ((row->permitted & state) == 0) {
    logger.writeStamped("This marker is not permitted here.");
    return WBX_ERROR_CORRUPT;
  }
  if (row->next != 0) state = row->next;
  if (!row->hasLength) return WBX_OK;
  stream.readU16(&length);
  if (length <= kLengthField) return WBX_ERROR_CORRUPT;
  length = static_cast<u16>(length - kLengthField);
  logger.writeMore(", %d bytes", static_cast<int>(length));
  return WBX_OK;
}

}  // namespace wbx
