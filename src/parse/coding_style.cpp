// COD and COC (T.800 A.6.1, A.6.2).
#include "parse/coding_style.h"

#include <algorithm>
#include <string>

#include "wbx.h"

#include "api/logger.h"
#include "parse/stream_fields.h"

namespace wbx {
namespace {

constexpr const char* kProgressionNames[] = {"LRCP", "RLCP", "RPCL", "PCRL", "CPRL"};
constexpr const char* kMctNames[] = {"None", "Irreversible", "Reversible"};

const char* transformName(u8 transform) {
  return transform == kKernel97 ? "Irreversible" : "Reversible";
}

// The names of the set style bits, each with a blank behind it.
struct StyleNames {
  char text[64] = "";

  explicit StyleNames(u8 style) {
    static constexpr const char* kNames[] = {"LAZY ",    "RESET ", "TERMALL ",
                                             "VCAUSAL ", "PTERM ", "SEGSYM "};
    char* end = text;
    for (u32 bit = 0; bit < 6; ++bit) {
      if ((style >> bit) & 1)
        end = std::copy_n(kNames[bit], std::char_traits<char>::length(kNames[bit]), end);
    }
    *end = '\0';
  }
};

// The fields that COD and COC share.
void readCodeBlockFields(Stream& stream, ComponentCoding& coding) {
  coding.resolutions = static_cast<u8>(readU8(stream) + 1);
  coding.cblkWidthExp = static_cast<u8>(readU8(stream) + 2);
  coding.cblkHeightExp = static_cast<u8>(readU8(stream) + 2);
  coding.cblkStyle = readU8(stream);
  coding.transform = readU8(stream);
}

void readPrecinctSizes(Stream& stream, ComponentCoding& coding) {
  const i32 count = std::min<i32>(coding.resolutions, kMaxResolutions);
  for (i32 r = 0; r < count; ++r) {
    const u8 sizes = readU8(stream);
    coding.PPx[static_cast<size_t>(r)] = sizes & 0x0F;
    coding.PPy[static_cast<size_t>(r)] = sizes >> 4;
  }
}

}  // namespace

i32 CodingStyle::parseCOD(Stream& stream) {
  ComponentCoding coding;  // what every component without a COC gets
  scod = readU8(stream);
  progression = readU8(stream);
  layers = readU16(stream);
  const u8 transformByte = readU8(stream);
  readCodeBlockFields(stream, coding);
  kernel = coding.transform;
  mct = transformByte == 0 ? kMctNone : kernel != kKernel97 ? kMctReversible : kMctIrreversible;
  if (components < 3) mct = kMctNone;
  if (progression > kCprl || kernel > kKernel53) return WBX_ERROR_NOT_PART1;

  const bool hasPrecincts = (scod & kScodPrecincts) != 0;
  if (logger.active()) {
    logger.writeStamped(
        " >> %s: CodingStyle=%u, Layers=%u, Resolution Levels=%u, ProgrOrder=%s, "
        "cblkWidthExp=%u, cblkHeightExp=%u%s",
        transformName(kernel), unsigned{scod}, unsigned{layers}, unsigned{coding.resolutions},
        kProgressionNames[progression], unsigned{coding.cblkWidthExp},
        unsigned{coding.cblkHeightExp}, hasPrecincts ? ", COX PRT" : "");
    logger.writeStamped(" >> MCT: '%s', CblkStyles: [ %s]", kMctNames[mct],
                        StyleNames(coding.cblkStyle).text);
  }
  if (hasPrecincts) readPrecinctSizes(stream, coding);

  for (u32 i = 0; i < components; ++i) {
    ComponentCoding& to = component[i];
    if (to.cocSeen) continue;
    to.scoc = scod & kScodPrecincts;
    to.resolutions = coding.resolutions;
    to.cblkWidthExp = coding.cblkWidthExp;
    to.cblkHeightExp = coding.cblkHeightExp;
    to.cblkStyle = coding.cblkStyle;
    to.transform = coding.transform;
    if (!hasPrecincts) continue;
    const i32 count = std::min<i32>(coding.resolutions, kMaxResolutions);
    std::copy_n(coding.PPx.begin(), count, to.PPx.begin());
    std::copy_n(coding.PPy.begin(), count, to.PPy.begin());
  }
  scod &= kScodSop | kScodEph;
  codSeen = 1;
  return WBX_OK;
}

i32 CodingStyle::parseCOC(Stream& stream) {
  const u8 index = readU8(stream);
  if (index >= kMaxComponents) return WBX_ERROR_CORRUPT;
  ComponentCoding& coding = component[index];
  coding.scoc = readU8(stream);
  readCodeBlockFields(stream, coding);
  if (coding.transform > kKernel53) return WBX_ERROR_NOT_PART1;
  const bool hasPrecincts = (coding.scoc & kScodPrecincts) != 0;
  if (hasPrecincts) readPrecinctSizes(stream, coding);
  if (logger.active()) {
    logger.writeStamped(
        " [%u]: %s, CodingStyle=%u, Resolution Levels=%u, cblkWidthExp=%u, cblkHeightExp=%u%s, "
        "CblkStyles: [ %s]",
        unsigned{index}, transformName(coding.transform), unsigned{coding.scoc},
        unsigned{coding.resolutions}, unsigned{coding.cblkWidthExp}, unsigned{coding.cblkHeightExp},
        hasPrecincts ? ", COX PRT" : "", StyleNames(coding.cblkStyle).text);
  }
  coding.cocSeen = 1;
  coding.scoc &= kScodPrecincts;
  return WBX_OK;
}

i32 CodingStyle::smallestResolutions() const {
  i32 smallest = 255;
  for (u32 i = 0; i < components; ++i) smallest = std::min<i32>(smallest, component[i].resolutions);
  return smallest;
}

}  // namespace wbx
