#include "decode_options.h"

#include <CLI/StringTools.hpp>
#include <sstream>

namespace wbx::tool {

namespace {

// The number of "keyword=number", which wraps when it is too long; 1 for the keyword alone. Nothing
// if the item, in lower case, is about something else.
std::optional<int32_t> valueOf(const std::string& item, const std::string& keyword,
                               bool standsAlone) {
  if (item.compare(0, keyword.size() + 1, keyword + "=") == 0) {
    size_t at = item.find_first_not_of(' ', keyword.size() + 1);
    if (at == std::string::npos) return 0;
    const bool negative = item[at] == '-';
    if (negative) ++at;
    uint32_t value = 0;
    for (; at < item.size() && item[at] >= '0' && item[at] <= '9'; ++at) {
      value = value * 10 + static_cast<uint32_t>(item[at] - '0');
    }
    return static_cast<int32_t>(negative ? 0 - value : value);
  }
  if (standsAlone && item.compare(0, keyword.size(), keyword) == 0) return 1;
  return std::nullopt;
}

void readItem(const std::string& item, DecodeOptions& options) {
  for (const char* keyword : {"rl", "res_level"}) {
    if (const auto value = valueOf(item, keyword, false)) options.level = value;
  }
  for (const char* keyword : {"bmp", "bitmap"}) {
    if (const auto value = valueOf(item, keyword, true)) options.upsideDown = *value != 0;
  }
  if (const auto value = valueOf(item, "bpp", false)) options.pixelBytes = value;
  if (const auto value = valueOf(item, "video", true)) options.video = value;
  if (valueOf(item, "nomct", true)) options.noTransform = true;
}

}  // namespace

DecodeOptions parseDecodeOptions(const std::string& text) {
  DecodeOptions options;
  options.text = text;
  std::istringstream items(CLI::detail::to_lower(text));
  for (std::string item; std::getline(items, item, ',');) {
    item.erase(0, item.find_first_not_of(' '));
    readItem(item, options);
  }
  return options;
}

}  // namespace wbx::tool
