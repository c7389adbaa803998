#ifndef WBX_TOOLS_IMAGE_H
#define WBX_TOOLS_IMAGE_H

#include <optional>
#include <string>
#include <vector>

#include "wbx.h"

#include "arguments.h"
#include "outcome.h"

namespace wbx::tool {

// An open image, with the bytes of the standard input if it came from there.
class Image {
 public:
  Image() = default;
  ~Image();
  Image(const Image&) = delete;
  Image& operator=(const Image&) = delete;

  Outcome open(const Arguments& arguments);

  WBX_Handle handle() const { return handle_; }
  const std::string& name() const { return name_; }
  const WBX_ImageInfoEx& info() const { return info_; }
  uint32_t tiles() const { return info_.tilesAcross * info_.tilesDown; }

  // Leaves only these tiles selected; all of them without a range.
  Outcome select(const std::optional<TileRange>& range);

 private:
  Outcome openStandardInput();

  WBX_Handle handle_ = nullptr;
  std::string name_;
  std::vector<unsigned char> bytes_;
  WBX_ImageInfoEx info_{};
};

}  // namespace wbx::tool

#endif
