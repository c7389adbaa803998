// What the log shows of a text: its first 55 characters, marked if there are more.
#pragma once

#include <cstring>

#include "api/types.h"

namespace wbx {

inline constexpr size_t kPreviewLength = 55;

[[nodiscard]] inline const char* previewText(const u8* text) {
  return reinterpret_cast<const char*>(text);
}

[[nodiscard]] inline const char* previewMark(const u8* text) {
  // The text ends with a zero byte; no more of it is looked at than is shown.
  return std::memchr(text, 0, kPreviewLength + 1) == nullptr ? "..." : "";
}

}  // namespace wbx
