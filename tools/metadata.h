#ifndef WBX_TOOLS_METADATA_H
#define WBX_TOOLS_METADATA_H

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "image.h"
#include "outcome.h"

namespace wbx::tool {

struct MetadataItem {
  uint32_t kind = 0;
  const char* data = nullptr;
  uint32_t length = 0;   // of what the file holds
  uint64_t missing = 0;  // bytes that it claims beyond that

  std::string_view bytes() const { return {data, length}; }
};

// The metadata of an open image in the order of the file. The data stays the image's.
std::vector<MetadataItem> listMetadata(const Image& image);

// What a kind is called, as "XML"; "unknown" for a number that is no kind.
const char* metadataName(uint32_t kind);

// The text of a comment or URL, as it is in the file but for zeros at its end; empty for all other
// kinds.
std::string_view readableText(const MetadataItem& item);

// Saves every entry to a file of its own in the folder, which is made if it is not there. The names
// are made of the entry's number and kind, and of nothing that the image says. An entry of which
// the file holds a part only is saved as far as it goes, and fails.
Outcome saveMetadata(const Image& image, const std::string& folder);

}  // namespace wbx::tool

#endif
