#ifndef WBX_TOOLS_COLOUR_SPACE_H
#define WBX_TOOLS_COLOUR_SPACE_H

#include <cstdint>
#include <string>

#include "file_facts.h"

namespace wbx::tool {

// What is to be done with the colours of a space to show them as grey or RGB.
enum class ColourKind { kUnknown, kGrey, kRgb, kYcc, kCmy, kCmyk, kNotConverted };

struct ColourSpace {
  std::string name;  // as "sRGB"
  ColourKind kind = ColourKind::kUnknown;
  uint32_t colours = 0;  // how many channels carry colour; 0 if that is not known
};

// The space of a file: that of its first colr box, as T.800 I.5.3.3 has it.
ColourSpace colourSpaceOf(const FileFacts& facts);

// Whether the library knows it for one of luminance and chroma, and converts it to RGB.
bool libraryConverts(const FileFacts& facts);

// Whether two of three components have fewer samples than the first, and no transform is named for
// them: by all custom they are the chroma to its luminance, whatever else the file says.
bool hasSmallChroma(const FileFacts& facts);

}  // namespace wbx::tool

#endif
