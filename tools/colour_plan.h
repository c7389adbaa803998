#ifndef WBX_TOOLS_COLOUR_PLAN_H
#define WBX_TOOLS_COLOUR_PLAN_H

#include <cstdint>
#include <string>
#include <vector>

#include "colour_space.h"
#include "file_facts.h"
#include "outcome.h"

namespace wbx::tool {

// What leads from the samples of a decode to those of a picture: the palette, the meaning of the
// channels, and colours that are neither grey nor RGB.
struct ColourPlan {
  // Where a sample of the picture comes from.
  struct Source {
    uint32_t component = 0;
    // For every value that a decoded sample can have, the one in the picture. Empty: as it is.
    std::vector<uint16_t> table;
  };
  enum class Mix { kNone, kYccToRgb, kCmyToRgb, kCmykToRgb };

  std::vector<Source> sources;  // of the colours, then of the opacity
  bool opacity = false;
  uint32_t decodedBits = 8;  // of the components
  uint32_t bits = 8;         // of the samples of the picture
  Mix mix = Mix::kNone;
  bool keepsProfile = true;  // an ICC profile of the image is one of the picture too
  bool throughPalette = false;
  bool needsNoTransform = false;  // the decode has to leave the components as they were coded

  uint32_t sourceColours() const {
    return static_cast<uint32_t>(sources.size()) - (opacity ? 1 : 0);
  }
  // Samples to a pixel of the picture: grey, grey and opacity, RGB or RGBA.
  uint32_t samples() const {
    return static_cast<uint32_t>(sources.size()) - (mix == Mix::kCmykToRgb ? 1 : 0);
  }
  uint32_t maxValue() const { return (1u << bits) - 1; }
  uint32_t bytesPerSample() const { return bits > 8 ? 2 : 1; }
};

// What the decoder gives.
struct DecodedSamples {
  uint32_t components = 0;
  uint32_t bits = 0;
  bool asCoded = false;  // the user asks for no transform
};

// Plans the colours of a picture. `indices` keeps those into a palette. What the picture does not
// show as the file has it is told in `notes`.
Outcome planColours(const FileFacts& facts, const DecodedSamples& decoded, bool indices,
                    ColourPlan& plan, std::vector<std::string>& notes);

// How pixels of a decode lie in a row: as WBX_Decode stores them with comp_order RGB.
struct PixelLayout {
  uint32_t samplesPerPixel = 0;
  // The place of a component in its pixel.
  uint32_t place[4] = {0, 1, 2, 3};
};

PixelLayout pixelLayout(const FileFacts& facts, uint32_t components, uint32_t samplesPerPixel);

// Makes `count` pixels of the picture out of decoded ones. Both have words of this machine for more
// than 8 bits, else bytes.
void convertPixels(const ColourPlan& plan, const PixelLayout& layout, const uint8_t* decoded,
                   size_t count, uint8_t* picture);

}  // namespace wbx::tool

#endif
