#ifndef WBX_TOOLS_TEXT_H
#define WBX_TOOLS_TEXT_H

#include <string>
#include <string_view>

namespace wbx::tool {

// Bytes as UTF-8: themselves if they are, else taken as Latin-1. Control characters, which could
// steer a terminal, become '?'.
std::string printable(std::string_view bytes);

// The same as a JSON string with its quotes, control characters written as \u00XX.
std::string jsonString(std::string_view bytes);

}  // namespace wbx::tool

#endif
