// COD and COC (T.800 A.6.1, A.6.2).
#include "parse/coding_markers.h"

#include <algorithm>

#include "wbx.h"

#include "base/logger.h"
#include "parse/fields.h"

namespace wbx {

namespace {

constexpr const char* kProgressionNames[] = {"LRCP", "RLCP", "RPCL", "PCRL", "CPRL"};
constexpr const char* kKernelNames[] = {"Irreversible", "Reversible"};
constexpr const char* kMctNames[] = {"None", "Irreversible", "Reversible"};

// The names of a code-block style for the log, each with a blank behind it.
class StyleNames {
 public:
  explicit StyleNames(u8 style) {
    constexpr const char* kNames[] = {"LAZY ",    "RESET ", "TERMALL ",
                                      "VCAUSAL ", "PTERM ", "SEGSYM "};
    char* end = text_;
    for (const char* name : kNames) {
      if ((style & 1) != 0)
        while (*name != '\0') *end++ = *name++;
      style >>= 1;
    }
  }
  [[nodiscard]] const char* text() const { return text_; }

 private:
  char text_[48] = {};  // 40 characters with all six names
};

const char* precinctNote(u8 scod) {
  return (scod & kScodPrecincts) != 0 ? ", COX PRT" : "";
}

// The part that COD and COC have in common (T.800 table A.15), in stream order. A field that is not
// there keeps what the record held.
void readCodingParameters(Stream& stream, ComponentCoding& coding) {
  stream.readU8(&coding.resolutions);
  stream.readU8(&coding.cblkWidthExp);
  stream.readU8(&coding.cblkHeightExp);
  stream.readU8(&coding.cblkStyle);
  stream.readU8(&coding.transform);
  coding.resolutions = wrapTo<u8>(coding.resolutions + 1);
  coding.cblkWidthExp = wrapTo<u8>(coding.cblkWidthExp + 2);
  coding.cblkHeightExp = wrapTo<u8>(coding.cblkHeightExp + 2);
}

i32 precinctEntries(const ComponentCoding& coding) {
  return std::min<i32>(coding.resolutions, kMaxResolutions);
}

void readPrecinctSizes(Stream& stream, ComponentCoding& coding) {
  for (i32 r = 0; r < precinctEntries(coding); ++r) {
    const u8 sizes = takeU8(stream);
    coding.PPx[static_cast<size_t>(r)] = sizes & 0x0F;
    coding.PPy[static_cast<size_t>(r)] = sizes >> 4;
  }
}

// What a COD says about a component, in place of all that no COC has fixed. Precinct sizes that the
// COD does not give stay as an earlier marker left them.
void applyDefault(const ComponentCoding& given, ComponentCoding& coding) {
  coding.scoc = given.scoc;
  coding.resolutions = given.resolutions;
  coding.cblkWidthExp = given.cblkWidthExp;
  coding.cblkHeightExp = given.cblkHeightExp;
  coding.cblkStyle = given.cblkStyle;
  coding.transform = given.transform;
  if (given.scoc == 0) return;
  std::copy_n(given.PPx.begin(), precinctEntries(given), coding.PPx.begin());
  std::copy_n(given.PPy.begin(), precinctEntries(given), coding.PPy.begin());
}

void logCOD(const CodingStyle& style, const ComponentCoding& coding) {
  if (!logger.active()) return;
  logger.writeStamped(
      " >> %s: CodingStyle=%u, Layers=%u, Resolution Levels=%u, ProgrOrder=%s, cblkWidthExp=%u,"
      " cblkHeightExp=%u%s",
      kKernelNames[coding.transform], style.scod, style.layers, coding.resolutions,
      kProgressionNames[style.progression], coding.cblkWidthExp, coding.cblkHeightExp,
      precinctNote(style.scod));
  logger.writeStamped(" >> MCT: '%s', CblkStyles: [ %s]", kMctNames[style.mct],
                      StyleNames(coding.cblkStyle).text());
}

void logCOC(u32 index, const ComponentCoding& coding) {
  if (!logger.active()) return;
  logger.writeStamped(
      " [%u]: %s, CodingStyle=%u, Resolution Levels=%u, cblkWidthExp=%u, cblkHeightExp=%u%s,"
      " CblkStyles: [ %s]",
      index, kKernelNames[coding.transform], coding.scoc, coding.resolutions, coding.cblkWidthExp,
      coding.cblkHeightExp, precinctNote(coding.scoc), StyleNames(coding.cblkStyle).text());
}

// The transform works on three components, by the kernel that the wavelet has.
u8 chooseMct(u8 transformByte, u8 wavelet, u16 components) {
  if (transformByte == 0 || components < 3) return kMctNone;
  return wavelet == kKernel97 ? kMctIrreversible : kMctReversible;
}

}  // namespace

i32 parseCOD(Stream& stream, CodingStyle& style) {
  stream.readU8(&style.scod);
  stream.readU8(&style.progression);
  stream.readU16(&style.layers);
  const u8 mctByte = takeU8(stream);
  ComponentCoding given;
  readCodingParameters(stream, given);
  if (style.progression > kCprl || given.transform > kKernel53) return WBX_ERROR_NOT_PART1;

  style.kernel = given.transform;
  style.mct = chooseMct(mctByte, style.kernel, style.components);
  logCOD(style, given);
  given.scoc = style.scod & kScodPrecincts;
  if (given.scoc != 0) readPrecinctSizes(stream, given);
  for (i32 c = 0; c < style.components; ++c)
    if (style.component[c].cocSeen == 0) applyDefault(given, style.component[c]);
  style.scod &= kScodSop | kScodEph;
  style.codSeen = 1;
  return 0;
}

i32 parseCOC(Stream& stream, CodingStyle& style) {
  const u8 index = takeU8(stream);
  if (index >= kMaxComponents) return WBX_ERROR_CORRUPT;
  ComponentCoding& coding = style.component[index];
  stream.readU8(&coding.scoc);
  readCodingParameters(stream, coding);
  if (coding.transform > kKernel53) return WBX_ERROR_NOT_PART1;

  if ((coding.scoc & kScodPrecincts) != 0) readPrecinctSizes(stream, coding);
  logCOC(index, coding);
  coding.cocSeen = 1;
  coding.scoc &= kScodPrecincts;
  return 0;
}

}  // namespace wbx
