// The inner loops of the engines, chosen once for the processor at hand.
#pragma once

#include "base/types.h"
#include "tier1/group_passes.h"

namespace wbx {

// Every entry exists for every processor: kernels_impl.h is compiled once for the baseline and
// once for each instruction set worth having, from the same loops, so the results are the same to
// the last bit. Arrays of one call do not overlap unless said.
//
// Horizontal lifting works on pairs: a[p] is the even and b[p] the odd input of pair p, mirrored
// pairs in front and behind included. even[q] and odd[q] are the results of pair q; those nearer
// to either end than the reach of the filter are not valid.
//
// Vertical lifting works on a pair of lifted rows, all columns side by side, with the state of a
// running line (see the kernels) in one array for each value. Results belong to the pair `lag`
// rows before.
struct Kernels {
  const char* name;

  void (*liftPairs53i16)(const i16* a, const i16* b, i32 pairs, i16* even, i16* odd);
  void (*liftPairs53i32)(const i32* a, const i32* b, i32 pairs, i32* even, i32* odd);
  void (*liftPairs97Fixed)(const i16* a, const i16* b, i32 pairs, i16* even, i16* odd);
  void (*liftPairs97Float)(const f32* a, const f32* b, i32 pairs, f32* even, f32* odd);

  void (*liftColumns53i16)(const i16* a, const i16* b, i32 columns, i16* evenPrev, i16* oddIn,
                           i16* evenOut, i16* oddOut);
  void (*liftColumns53i32)(const i32* a, const i32* b, i32 columns, i32* evenPrev, i32* oddIn,
                           i32* evenOut, i32* oddOut);
  // state: o, e1, o1, e2.
  void (*liftColumns97Fixed)(const i16* a, const i16* b, i32 columns, i32* const state[4],
                             i16* evenOut, i16* oddOut);
  void (*liftColumns97Float)(const f32* a, const f32* b, i32 columns, f32* const state[4],
                             f32* evenOut, f32* oddOut);

  // out[2i] = even[i], out[2i + 1] = odd[i].
  void (*interleave16)(const i16* even, const i16* odd, i32 pairs, i16* out);
  void (*interleave32)(const i32* even, const i32* odd, i32 pairs, i32* out);
  void (*interleaveF32)(const f32* even, const f32* odd, i32 pairs, f32* out);

  // Coefficients of one stripe, a quad for each column, to lanes in four rows. A coefficient is
  // taken with 2 fractional bits, its midpoint in them, and a 0 stays 0. The fixed-point ones are
  // multiplied by `scale` and lose 12 bits; products and lanes wrap.
  void (*transferFixed)(const u32* quads, i32 columns, u32 midpoint, u32 scale, i16* const rows[4]);
  void (*transferInteger)(const u32* quads, i32 columns, i32* const rows[4]);
  void (*transferFloat)(const u32* quads, i32 columns, u32 midpoint, f64 step, f32* const rows[4]);

  // Lanes to samples: level shift, rounding and clamp.
  void (*bytes53)(const i16* lanes, i32 count, u8* out);
  void (*bytes97)(const i16* lanes, i32 count, u8* out);
  void (*words53)(const i32* lanes, i32 count, i32 levelShift, i32 maxValue, u16* out);
  void (*words97)(const f32* lanes, i32 count, i32 levelShift, i32 maxValue, u16* out);
  // To the nearest integers, ties to even, if all lanes are below 2^22; otherwise false.
  bool (*roundSmall)(const f32* lanes, i32 count, i32* out);

  // Inverse component transforms (T.800 G.2.2, G.3.2) of one row, from the lanes of component 0
  // and the parked values of components 1 and 2.
  void (*colours53Bytes)(const i16* y, const i16* u, const i16* v, i32 count, u8* red, u8* green,
                         u8* blue);
  void (*colours97BytesNarrow)(const i16* y, const i16* cb, const i16* cr, i32 count, u8* red,
                               u8* green, u8* blue);
  void (*colours97BytesWide)(const i16* y, const i16* cb, const i16* cr, i32 count, u8* red,
                             u8* green, u8* blue);
  void (*colours53Words)(const i32* y, const i32* u, const i32* v, i32 count, i32 levelShift,
                         i32 maxValue, u16* red, u16* green, u16* blue);
  void (*colours97Words)(const f32* y, const i32* cb, const i32* cr, i32 count, i32 levelShift,
                         i32 maxValue, u16* red, u16* green, u16* blue);

  // Pixels of four samples, side by side and at any address. Components 1 and 2 are parked in
  // their halves, 0 and 1; a fourth sample of 255 or 0 goes behind the colours.
  void (*storeInBytes)(const u8* samples, i32 count, i32 channel, u8* pixels);
  void (*parkInBytes)(const i16* lanes, i32 count, i32 half, u8* pixels);
  void (*unparkBytes)(const u8* pixels, i32 count, i16* first, i16* second);
  void (*joinBytes)(const u8* red, const u8* green, const u8* blue, i32 count, u8* pixels);
  void (*storeInWords)(const u16* samples, i32 count, i32 channel, u8* pixels);
  void (*parkInWords)(const i32* values, i32 count, i32 half, u8* pixels);
  void (*unparkWords)(const u8* pixels, i32 count, i32* first, i32* second);
  void (*joinWords)(const u16* red, const u16* green, const u16* blue, i32 count, u8* pixels);

  // The coding passes over groups of code blocks, where the processor is fit for it; else null.
  const GroupPasses* groupPasses;
};

[[nodiscard]] const Kernels& kernels();

// For tests and benchmarks: all sets that this processor can run, the baseline first, and a way
// to put one of them in force; null returns to the best one.
[[nodiscard]] const Kernels* const* availableKernels();  // ends with null
void forceKernels(const Kernels* set);

}  // namespace wbx
