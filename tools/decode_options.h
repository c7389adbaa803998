#ifndef WBX_TOOLS_DECODE_OPTIONS_H
#define WBX_TOOLS_DECODE_OPTIONS_H

#include <cstdint>
#include <optional>
#include <string>

namespace wbx::tool {

// What the user's own decode options say of the things that the tool decides on as well. Read by
// the rules of wbx.h; what is wrong in them is for the library to find.
struct DecodeOptions {
  std::string text;  // as given
  std::optional<int32_t> level;
  std::optional<int32_t> pixelBytes;
  std::optional<int32_t> video;
  bool upsideDown = false;
  bool noTransform = false;
};

DecodeOptions parseDecodeOptions(const std::string& text);

}  // namespace wbx::tool

#endif
