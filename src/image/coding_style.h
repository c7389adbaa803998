// CodingStyle: what COD, COC, QCD, QCC and RGN say, for one scope (main header or tile).
#pragma once

#include <array>

#include "base/types.h"
#include "image/image_header.h"

namespace wbx {

inline constexpr i32 kMaxResolutions = 24;
inline constexpr i32 kMaxStepSizes = 73;

// The wavelet byte of COD and COC, and the number of the kernel that undoes it.
enum Kernel : u8 { kKernel97 = 0, kKernel53 = 1 };

enum Mct : u8 { kMctNone = 0, kMctIrreversible = 1, kMctReversible = 2 };

enum Progression : u8 { kLrcp = 0, kRlcp = 1, kRpcl = 2, kPcrl = 3, kCprl = 4 };

// Bits of the code-block style byte (T.800 table A.19).
enum CodeBlockStyle : u8 {
  kStyleLazy = 0x01,
  kStyleReset = 0x02,
  kStyleTermall = 0x04,
  kStyleCausal = 0x08,
  kStylePterm = 0x10,
  kStyleSegsym = 0x20,
};

// Bits of Scod.
enum CodingFlags : u8 { kScodPrecincts = 0x01, kScodSop = 0x02, kScodEph = 0x04 };

enum QuantizationStyle : u8 { kNoQuantization = 0, kScalarDerived = 1, kScalarExpounded = 2 };

// An entry of the step sizes has its exponent in the high 5 bits and its mantissa below.
inline constexpr i32 kExponentShift = 11;
inline constexpr u16 kMantissaMask = 0x07FF;

struct Quantization {
  u8 style = kNoQuantization;
  u8 guardBits = 0;
  u8 roiShift = 0;
  u16 qntStepSizes = 0;  // entries that the marker gave
  std::array<u16, kMaxStepSizes> stepSize = {};
};

struct ComponentCoding {
  u8 cocSeen = 0;
  u8 qccSeen = 0;
  u8 scoc = 0;
  u8 resolutions = 0;   // decomposition levels plus 1
  u8 cblkWidthExp = 0;  // true exponents, the coded values plus 2
  u8 cblkHeightExp = 0;
  u8 cblkStyle = 0;
  u8 transform = 0;
  Quantization quantization;
  std::array<u8, kMaxResolutions> PPx = filled15();  // index 0 is the lowest resolution
  std::array<u8, kMaxResolutions> PPy = filled15();

 private:
  static constexpr std::array<u8, kMaxResolutions> filled15() {
    std::array<u8, kMaxResolutions> a = {};
    for (u8& e : a) e = 15;
    return a;
  }
};

struct CodingStyle {
  u8 codSeen = 0;
  u8 qcdSeen = 0;
  u8 kernel = 0;  // of the last COD read into this record
  u8 progression = 0;
  u16 layers = 0;
  u8 mct = 0;
  u8 scod = 0;  // the SOP and EPH bits alone
  u16 components = 0;
  ComponentCoding component[kMaxComponents];

  // Makes this a tile's record: takes over what the main header says, but none of the marks that a
  // component had a COC or QCC of its own, so that a COD or QCD of the tile goes before them.
  void inherit(const CodingStyle& main);

  // The smallest number of resolutions among the components; 255 without any.
  [[nodiscard]] i32 smallestResolutions() const;
  // Whether each component has a step size for each of its subbands, or the one to derive them
  // from.
  [[nodiscard]] bool hasEnoughStepSizes() const;

  // Works out the step sizes of each component with derived quantization. `qntStepSizes` stays 1.
  void finishQuantization();
};

}  // namespace wbx
