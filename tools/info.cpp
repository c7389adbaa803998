#include "info.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <iterator>

#include "wbx.h"

namespace wbx::tool {

namespace {

struct Marker {
  uint16_t code;
  const char* name;
};

// T.800 table A.2 and T.814 A.2.
constexpr Marker kMarkers[] = {{0xFF4F, "SOC"}, {0xFF50, "CAP"}, {0xFF51, "SIZ"}, {0xFF52, "COD"},
                               {0xFF53, "COC"}, {0xFF55, "TLM"}, {0xFF57, "PLM"}, {0xFF58, "PLT"},
                               {0xFF59, "CPF"}, {0xFF5C, "QCD"}, {0xFF5D, "QCC"}, {0xFF5E, "RGN"},
                               {0xFF5F, "POC"}, {0xFF60, "PPM"}, {0xFF61, "PPT"}, {0xFF63, "CRG"},
                               {0xFF64, "COM"}, {0xFF90, "SOT"}, {0xFF93, "SOD"}, {0xFFD9, "EOC"}};

// The resolutions that the main header announces.
std::vector<Size> announcedResolutions(const CodestreamFacts& codestream) {
  std::vector<Size> sizes;
  if (!codestream.size || !codestream.coding) return sizes;
  constexpr uint32_t kMostLevels = 32;
  uint32_t levels = std::min(codestream.coding->style.levels, kMostLevels);
  for (const auto& [component, style] : codestream.componentStyles) {
    levels = std::min(levels, style.levels);
  }
  for (uint32_t level = 0; level <= levels; ++level) {
    const Rect rect = reduced(codestream.size->image, level);
    sizes.push_back({rect.width(), rect.height()});
  }
  return sizes;
}

// Those of an open image: tiles may have fewer than the main header says.
std::vector<Size> resolutionsOf(const Image& image) {
  std::vector<Size> sizes;
  int32_t count = 0;
  int32_t code = WBX_GetResolutions(image.handle(), &count);
  for (int32_t level = 0; code == WBX_OK && level < count; ++level) {
    Size size;
    code = WBX_GetResolutionDimensions(image.handle(), level, &size.width, &size.height);
    sizes.push_back(size);
  }
  return sizes;
}

FileReport::Error errorOf(const Outcome& outcome) {
  if (outcome.code == 0) return {0, outcome.message, {}};
  return {outcome.code, WBX_getErrorStr(outcome.code), outcome.reason};
}

}  // namespace

FileReport makeReport(const Image& image, const Outcome& opened) {
  FileReport report;
  report.name = image.name();
  report.facts = image.facts();
  if (opened.failed()) {
    report.error = errorOf(opened);
    if (report.facts.codestream) {
      report.resolutions = announcedResolutions(*report.facts.codestream);
    }
  } else {
    report.resolutions = resolutionsOf(image);
    report.metadata = listMetadata(image);
  }
  return report;
}

const char* progressionName(uint32_t progression) {
  constexpr const char* kNames[] = {"LRCP", "RLCP", "RPCL", "PCRL", "CPRL"};
  return progression < std::size(kNames) ? kNames[progression] : "unknown";
}

const char* waveletName(uint32_t wavelet) {
  constexpr const char* kNames[] = {"9-7", "5-3"};
  return wavelet < std::size(kNames) ? kNames[wavelet] : "unknown";
}

const char* transformName(const CodingFacts& coding) {
  if (coding.transform == 0) return "none";
  if (coding.transform > 1 || coding.style.wavelet > 1) return "unknown";
  return coding.style.wavelet == 1 ? "RCT" : "ICT";
}

const char* opacityName(const BoxFacts& boxes) {
  const char* name = "none";
  for (const ChannelMeaning& meaning : boxes.channels) {
    const auto type = static_cast<ChannelType>(meaning.type);
    const bool isOpacity = type == ChannelType::kOpacity || type == ChannelType::kPremultiplied;
    if (!isOpacity) continue;
    if (meaning.association != 0) {
      name = "of single colours";
      continue;
    }
    return type == ChannelType::kOpacity ? "straight" : "premultiplied";
  }
  return name;
}

const char* channelTypeName(uint32_t type) {
  switch (static_cast<ChannelType>(type)) {
    case ChannelType::kColour:
      return "colour";
    case ChannelType::kOpacity:
      return "opacity";
    case ChannelType::kPremultiplied:
      return "premultiplied opacity";
  }
  return "unspecified";
}

std::string markerName(uint16_t marker) {
  const auto* found = std::find_if(std::begin(kMarkers), std::end(kMarkers),
                                   [&](const Marker& known) { return known.code == marker; });
  if (found != std::end(kMarkers)) return found->name;
  char digits[8];
  std::snprintf(digits, sizeof digits, "%04X", static_cast<unsigned>(marker));
  return digits;
}

std::vector<std::string> modeNames(uint32_t modes) {
  constexpr std::array<const char*, 6> kNames = {"bypass", "reset",       "termall",
                                                 "causal", "predictable", "segsym"};
  std::vector<std::string> names;
  for (size_t i = 0; i < kNames.size(); ++i) {
    if ((modes >> i & 1) != 0) names.emplace_back(kNames[i]);
  }
  return names;
}

}  // namespace wbx::tool
