// The marker segments that fill a CodingStyle: COD, COC, QCD, QCC and RGN (T.800 A.6).
#pragma once

#include "base/types.h"
#include "image/coding_style.h"
#include "stream/stream.h"

namespace wbx {

// Each starts at the first payload byte and returns 0 or an error code.
[[nodiscard]] i32 parseCOD(Stream& stream, CodingStyle& style);
[[nodiscard]] i32 parseCOC(Stream& stream, CodingStyle& style);
// `length` is that of the payload.
[[nodiscard]] i32 parseQuantization(Stream& stream, CodingStyle& style, i32 length, bool isQcc);
[[nodiscard]] i32 parseRGN(Stream& stream, CodingStyle& style);

}  // namespace wbx
