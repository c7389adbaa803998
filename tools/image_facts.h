#ifndef WBX_TOOLS_IMAGE_FACTS_H
#define WBX_TOOLS_IMAGE_FACTS_H

#include <string>
#include <vector>

#include "image.h"
#include "metadata.h"

namespace wbx::tool {

struct Size {
  uint32_t width = 0;
  uint32_t height = 0;
};

// What both --info and --json tell.
struct ImageFacts {
  WBX_ImageInfoEx info{};
  bool boxed = false;       // a JP2 or JPX file
  bool reversible = false;  // the 5-3 filter
  std::vector<Size> resolutions;
  std::vector<MetadataItem> metadata;
};

Outcome gatherFacts(const Image& image, ImageFacts& facts);

// The text of a comment or URL in UTF-8 without control characters, empty for all other kinds.
std::string readableText(const MetadataItem& item);

// Bytes as UTF-8: themselves if they are, else taken as Latin-1. Control characters become '?'.
std::string printable(std::string_view bytes);

}  // namespace wbx::tool

#endif
