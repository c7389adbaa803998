#ifndef WBX_TOOLS_IMAGE_H
#define WBX_TOOLS_IMAGE_H

#include <string>

#include "wbx.h"

#include "byte_source.h"
#include "file_facts.h"
#include "outcome.h"

namespace wbx::tool {

// An image that is open, or that could not be opened: what its headers say can be asked either way.
class Image {
 public:
  Image() = default;
  ~Image();
  Image(const Image&) = delete;
  Image& operator=(const Image&) = delete;

  // `name` is for messages.
  Outcome open(const std::string& input, const std::string& name, Depth depth);

  const std::string& name() const { return name_; }
  const FileFacts& facts() const { return facts_; }

  // Null if the image could not be opened; then there is no info either.
  WBX_Handle handle() const { return handle_; }
  const WBX_ImageInfoEx& info() const { return info_; }
  uint32_t tiles() const { return info_.tilesAcross * info_.tilesDown; }

 private:
  ByteSource source_;
  FileFacts facts_;
  WBX_Handle handle_ = nullptr;
  std::string name_;
  WBX_ImageInfoEx info_{};
};

}  // namespace wbx::tool

#endif
