#include "writers.h"

namespace wbx::tool {

Outcome writeRaw(const Picture& picture, OutputFile& file) {
  file.write(picture.pixels.get(), static_cast<size_t>(picture.size()));
  return {};
}

}  // namespace wbx::tool
