// QCD, QCC and RGN (T.800 A.6.3 to A.6.5).
#include <algorithm>

#include "wbx.h"

#include "api/logger.h"
#include "parse/coding_style.h"
#include "parse/fields.h"
#include "tier2/tile.h"

namespace wbx {

namespace {

enum QuantizationStyle : u8 { kNoQuantization = 0, kScalarDerived = 1, kScalarExpounded = 2 };

constexpr i32 kMaxEntriesRead = 99;
constexpr i32 kExponentShift = 11;
constexpr u16 kMantissaMask = 0x07FF;

constexpr const char* kStyleTexts[] = {" No quantization (reversible)",
                                       " Implicit quantization (derived)",
                                       " Explicit quantization (expounded)"};

// Step sizes in a segment of `bytes` behind Sqcd; -1 bytes when even that one was not announced.
i32 announcedEntries(u8 style, i32 bytes) {
  switch (style) {
    case kNoQuantization:
      return bytes;
    case kScalarDerived:
      return 1;
    default:
      return bytes / 2;
  }
}

u16 readEntry(Stream& stream, u8 style) {
  if (style != kNoQuantization) return takeU16(stream);
  // An exponent alone, in the high five bits of its byte.
  return static_cast<u16>((takeU8(stream) >> 3) << kExponentShift);
}

// Entries beyond the table are passed over; a count beyond all sense is not read at all.
void readEntries(Stream& stream, i32 count, Quantization& quantization) {
  if (count > kMaxEntriesRead) return;
  for (i32 i = 0; i < count; ++i) {
    const u16 entry = readEntry(stream, quantization.style);
    if (i < kMaxStepSizes) quantization.stepSize[static_cast<size_t>(i)] = entry;
  }
}

// An RGN for the component holds whatever quantization comes after it.
void replaceQuantization(const Quantization& given, Quantization& quantization) {
  const u8 roiShift = quantization.roiShift;
  quantization = given;
  quantization.roiShift = roiShift;
}

i32 subbandCount(const ComponentCoding& coding) {
  return 3 * coding.resolutions - 2;
}

void deriveStepSizes(ComponentCoding& coding) {
  auto& stepSize = coding.quantization.stepSize;
  const i32 exponent = stepSize[0] >> kExponentShift;
  const i32 mantissa = stepSize[0] & kMantissaMask;
  for (i32 i = 1; i < subbandCount(coding); ++i) {
    // One more for each resolution above the lowest.
    const i32 raised = exponent + (i + 2) / 3;
    stepSize[static_cast<size_t>(i)] = wrapTo<u16>((raised << kExponentShift) | mantissa);
  }
}

}  // namespace

i32 CodingStyle::parseQuantization(Stream& stream, i32 length, bool isQcc) {
  u8 index = 0;
  if (isQcc) {
    index = takeU8(stream);
    --length;
    if (index >= kMaxComponents) return WBX_ERROR_CORRUPT;
  }
  const u8 sqcd = takeU8(stream);
  Quantization given;
  given.guardBits = sqcd >> 5;
  given.style = sqcd & 0x1F;
  if (given.style > kScalarExpounded) return WBX_ERROR_NOT_PART1;
  logger.writeStamped("%s", kStyleTexts[given.style]);

  const i32 count = announcedEntries(given.style, length - 1);
  given.qntStepSizes = static_cast<u16>(count);
  readEntries(stream, count, given);
  logger.writeMore(", qntStepSizes=%u, Guard Bits=%u, qntStepSize[0]=%u", given.qntStepSizes,
                   given.guardBits, given.stepSize[0]);
  if (isQcc) {
    storeQCC(index, given);
  } else {
    storeQCD(given);
  }
  return 0;
}

void CodingStyle::storeQCD(const Quantization& given) {
  qcdSeen = 1;
  for (i32 c = 0; c < components; ++c)
    if (component[c].qccSeen == 0) replaceQuantization(given, component[c].quantization);
}

void CodingStyle::storeQCC(u8 index, const Quantization& given) {
  if (index >= components) return;
  replaceQuantization(given, component[index].quantization);
  component[index].qccSeen = 1;
}

i32 CodingStyle::parseRGN(Stream& stream) {
  const u8 crgn = takeU8(stream);
  const u8 srgn = takeU8(stream);
  const u8 shift = takeU8(stream);
  logger.writeStamped(" Component=%u, ROI Style=%u, ROI Shift=%u", crgn, srgn, shift);
  if (crgn >= components) return WBX_ERROR_CORRUPT;
  component[crgn].quantization.roiShift = shift;
  return 0;
}

bool CodingStyle::hasEnoughStepSizes() const {
  return std::all_of(component, component + components, [](const ComponentCoding& coding) {
    const Quantization& q = coding.quantization;
    return q.qntStepSizes >= (q.style == kScalarDerived ? 1 : subbandCount(coding));
  });
}

void finishQuantization(Tile& tile) {
  for (i32 c = 0; c < tile.style.components; ++c) {
    ComponentCoding& coding = tile.style.component[c];
    if (coding.quantization.style == kScalarDerived) deriveStepSizes(coding);
  }
}

}  // namespace wbx
