#include "colour_space.h"

#include <algorithm>
#include <iterator>
#include <string_view>

namespace wbx::tool {

namespace {

constexpr uint32_t kSycc = 18;
constexpr uint32_t kYpbpr60 = 22;

struct Enumerated {
  uint32_t number;
  const char* name;
  ColourKind kind;
  uint32_t colours;
};

// T.800 table I.10 and T.801 table M.25.
constexpr Enumerated kEnumerated[] = {{0, "bi-level, 1 is black", ColourKind::kNotConverted, 1},
                                      {1, "YCbCr(1)", ColourKind::kNotConverted, 3},
                                      {3, "YCbCr(2)", ColourKind::kNotConverted, 3},
                                      {4, "YCbCr(3)", ColourKind::kNotConverted, 3},
                                      {9, "PhotoYCC", ColourKind::kNotConverted, 3},
                                      {11, "CMY", ColourKind::kCmy, 3},
                                      {12, "CMYK", ColourKind::kCmyk, 4},
                                      {13, "YCCK", ColourKind::kNotConverted, 4},
                                      {14, "CIELab", ColourKind::kNotConverted, 3},
                                      {15, "bi-level, 1 is white", ColourKind::kGrey, 1},
                                      {16, "sRGB", ColourKind::kRgb, 3},
                                      {17, "greyscale", ColourKind::kGrey, 1},
                                      {kSycc, "sYCC", ColourKind::kYcc, 3},
                                      {19, "CIEJab", ColourKind::kNotConverted, 3},
                                      {20, "e-sRGB", ColourKind::kNotConverted, 3},
                                      {21, "ROMM-RGB", ColourKind::kNotConverted, 3},
                                      {kYpbpr60, "YPbPr(1125/60)", ColourKind::kYcc, 3},
                                      {23, "YPbPr(1250/50)", ColourKind::kNotConverted, 3},
                                      {24, "e-sYCC", ColourKind::kNotConverted, 3}};

ColourSpace enumerated(uint32_t number) {
  const auto* found = std::find_if(std::begin(kEnumerated), std::end(kEnumerated),
                                   [&](const Enumerated& space) { return space.number == number; });
  if (found != std::end(kEnumerated)) return {found->name, found->kind, found->colours};
  return {"number " + std::to_string(number), ColourKind::kNotConverted, 0};
}

// The colour space of an ICC profile, from its header.
ColourSpace ofProfile(const ColourFacts& colour) {
  const std::string_view letters(colour.profileSpace.data(), colour.profileSpace.size());
  if (letters == "GRAY") return {"ICC profile, grey", ColourKind::kGrey, 1};
  if (letters == "RGB ") return {"ICC profile, RGB", ColourKind::kRgb, 3};
  if (letters == "CMYK") return {"ICC profile, CMYK", ColourKind::kCmyk, 4};
  if (letters == "CMY ") return {"ICC profile, CMY", ColourKind::kCmy, 3};
  if (letters == "Lab " || letters == "XYZ " || letters == "YCbr" || letters == "YCbR") {
    return {"ICC profile, " + std::string(letters), ColourKind::kNotConverted, 3};
  }
  return {"ICC profile", ColourKind::kUnknown, 0};
}

}  // namespace

ColourSpace colourSpaceOf(const FileFacts& facts) {
  if (!facts.boxes || facts.boxes->colours.empty()) return {"not given", ColourKind::kUnknown, 0};
  const ColourFacts& colour = facts.boxes->colours.front();
  switch (static_cast<ColourMethod>(colour.method)) {
    case ColourMethod::kEnumerated:
      return enumerated(colour.space);
    case ColourMethod::kRestrictedIcc:
    case ColourMethod::kAnyIcc:
      return ofProfile(colour);
  }
  return {"method " + std::to_string(colour.method), ColourKind::kNotConverted, 0};
}

bool libraryConverts(const FileFacts& facts) {
  if (!facts.boxes || facts.boxes->colours.empty()) return false;
  const ColourFacts& colour = facts.boxes->colours.front();
  const bool isEnumerated = colour.method == static_cast<uint8_t>(ColourMethod::kEnumerated);
  // Under the brand of JPX it takes 18 for something else.
  const bool isSycc = colour.space == kSycc && facts.boxes->brand == "jp2 ";
  return colour.inImageHeader && isEnumerated && (isSycc || colour.space == kYpbpr60);
}

bool hasSmallChroma(const FileFacts& facts) {
  const auto& codestream = facts.codestream;
  if (!codestream || !codestream->size || !codestream->coding) return false;
  const std::vector<ComponentFacts>& components = codestream->size->components;
  const auto isSmall = [](const ComponentFacts& c) { return c.dx > 1 || c.dy > 1; };
  return codestream->coding->transform == 0 && components.size() == 3 && !isSmall(components[0]) &&
         isSmall(components[1]) && isSmall(components[2]);
}

}  // namespace wbx::tool
