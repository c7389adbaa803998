// QCD, QCC and RGN (T.800 A.6.3 to A.6.5).
#include "wbx.h"

#include "base/logger.h"
#include "parse/coding_markers.h"
#include "parse/fields.h"

namespace wbx {

namespace {

constexpr i32 kMaxEntriesRead = 99;

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

void storeQCD(const Quantization& given, CodingStyle& style) {
  style.qcdSeen = 1;
  for (i32 c = 0; c < style.components; ++c)
    if (style.component[c].qccSeen == 0)
      replaceQuantization(given, style.component[c].quantization);
}

void storeQCC(u8 index, const Quantization& given, CodingStyle& style) {
  if (index >= style.components) return;
  replaceQuantization(given, style.component[index].quantization);
  style.component[index].qccSeen = 1;
}

}  // namespace

i32 parseQuantization(Stream& stream, CodingStyle& style, i32 length, bool isQcc) {
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
    storeQCC(index, given, style);
  } else {
    storeQCD(given, style);
  }
  return 0;
}

i32 parseRGN(Stream& stream, CodingStyle& style) {
  const u8 crgn = takeU8(stream);
  const u8 srgn = takeU8(stream);
  const u8 shift = takeU8(stream);
  logger.writeStamped(" Component=%u, ROI Style=%u, ROI Shift=%u", crgn, srgn, shift);
  if (crgn >= style.components) return WBX_ERROR_CORRUPT;
  style.component[crgn].quantization.roiShift = shift;
  return 0;
}

}  // namespace wbx
