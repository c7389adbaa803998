// MarkerState: the reader that knows which marker may stand where (T.800 A.2, A.3).
#pragma once

#include "base/types.h"
#include "stream/stream.h"

namespace wbx {

// Low bytes of the marker words.
enum MarkerCode : u8 {
  kNul = 0x00,
  kSOC = 0x4F,
  kSIZ = 0x51,
  kCOD = 0x52,
  kCOC = 0x53,
  kTLM = 0x55,
  kPLM = 0x57,
  kPLT = 0x58,
  kQCD = 0x5C,
  kQCC = 0x5D,
  kRGN = 0x5E,
  kPOC = 0x5F,
  kPPM = 0x60,
  kPPT = 0x61,
  kCRG = 0x63,
  kCOM = 0x64,
  kSOT = 0x90,
  kSOD = 0x93,
  kEOC = 0xD9,
};

enum Phase : u8 {
  kPhaseStart = 0x01,
  kPhaseSiz = 0x02,
  kPhaseMainHeader = 0x04,
  kPhaseBetweenTileParts = 0x08,
  kPhaseTilePartHeader = 0x10,
  kPhaseEnd = 0x20,
};

struct MarkerState {
  u16 code = 0;    // after a read, the low byte of the marker word
  u16 length = 0;  // payload bytes; 0 for a marker without a length
  u8 state = kPhaseStart;

  // Reads one marker and, if it has one, its length. Returns 0 or 3.
  [[nodiscard]] i32 readMarker(Stream& stream);
};

}  // namespace wbx
