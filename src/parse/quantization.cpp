// QCD, QCC and RGN (T.800 A.6.4, A.6.5, A.6.3).
#include <algorithm>

#include "wbx.h"

#include "api/logger.h"
#include "parse/coding_style.h"
#include "parse/stream_fields.h"

namespace wbx {
namespace {

enum QuantizationStyle : u8 { kQuantNone = 0, kQuantDerived = 1, kQuantExpounded = 2 };

// Reads the step sizes of a segment into the table. Entries beyond it are passed over.
void readStepSizes(Stream& stream, Quantization& to) {
  constexpr u16 kMostRead = 99;
  if (to.qntStepSizes > kMostRead) return;
  for (u32 i = 0; i < to.qntStepSizes; ++i) {
    const u16 entry =
        to.style == kQuantNone ? static_cast<u16>((readU8(stream) >> 3) << 11) : readU16(stream);
    if (i < to.stepSize.size()) to.stepSize[i] = entry;
  }
}

}  // namespace

i32 CodingStyle::parseQuantization(Stream& stream, i32 length, bool isQcc) {
  u8 index = 0;
  if (isQcc) {
    index = readU8(stream);
    --length;
    if (index >= kMaxComponents) return WBX_ERROR_CORRUPT;
  }
  const u8 sqcd = readU8(stream);
  Quantization read;
  read.guardBits = sqcd >> 5;
  read.style = sqcd & 0x1F;
  const i32 left = std::max(length - 1, 0);
  switch (read.style) {
    case kQuantNone:
      logger.writeStamped(" No quantization (reversible)");
      read.qntStepSizes = static_cast<u16>(left);
      break;
    case kQuantDerived:
      logger.writeStamped(" Implicit quantization (derived)");
      read.qntStepSizes = 1;
      break;
    case kQuantExpounded:
      logger.writeStamped(" Explicit quantization (expounded)");
      read.qntStepSizes = static_cast<u16>(left / 2);
      break;
    default:
      return WBX_ERROR_NOT_PART1;
  }
  readStepSizes(stream, read);
  logger.writeMore(", qntStepSizes=%u, Guard Bits=%u, qntStepSize[0]=%u",
                   unsigned{read.qntStepSizes}, unsigned{read.guardBits},
                   unsigned{read.stepSize[0]});

  if (!isQcc) qcdSeen = 1;
  for (u32 i = 0; i < components; ++i) {
    ComponentCoding& coding = component[i];
    if (isQcc ? i != index : coding.qccSeen != 0) continue;
    if (isQcc) coding.qccSeen = 1;
    read.roiShift = coding.quantization.roiShift;
    coding.quantization = read;
  }
  return WBX_OK;
}

i32 CodingStyle::parseRGN(Stream& stream) {
  const u8 index = readU8(stream);
  const u8 style = readU8(stream);
  const u8 shift = readU8(stream);
  logger.writeStamped(" Component=%u, ROI Style=%u, ROI Shift=%u", unsigned{index}, unsigned{style},
                      unsigned{shift});
  if (index >= components) return WBX_ERROR_CORRUPT;
  component[index].quantization.roiShift = shift;
  return WBX_OK;
}

bool CodingStyle::hasEnoughStepSizes() const {
  return std::all_of(component, component + components, [](const ComponentCoding& c) {
    const i32 needed = c.quantization.style == kQuantDerived ? 1 : 3 * c.resolutions - 2;
    return c.quantization.qntStepSizes >= needed;
  });
}

void CodingStyle::finishQuantization() {
  for (u32 i = 0; i < components; ++i) {
    Quantization& q = component[i].quantization;
    if (q.style != kQuantDerived) continue;
    const u32 exponent = q.stepSize[0] >> 11, mantissa = q.stepSize[0] & 0x7FF;
    const size_t end = std::min<size_t>(
        static_cast<size_t>(std::max(3 * component[i].resolutions - 2, 0)), q.stepSize.size());
    for (size_t k = 1; k < end; ++k) {
      const u32 grown = exponent + static_cast<u32>((k + 2) / 3);
      q.stepSize[k] = static_cast<u16>((grown << 11) | mantissa);
    }
  }
}

}  // namespace wbx
