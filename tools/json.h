#ifndef WBX_TOOLS_JSON_H
#define WBX_TOOLS_JSON_H

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "text.h"

namespace wbx::tool {

// Puts JSON together from pieces that are JSON already. The outermost object has a line for each
// member, and a list can have one for each item.
class JsonObject {
 public:
  JsonObject& text(std::string_view key, std::string_view value) {
    return json(key, jsonString(value));
  }
  JsonObject& number(std::string_view key, uint64_t value) {
    return json(key, std::to_string(value));
  }
  JsonObject& flag(std::string_view key, bool value) { return json(key, value ? "true" : "false"); }
  JsonObject& json(std::string_view key, std::string_view value) {
    members_.push_back(jsonString(key) + ": " + std::string(value));
    return *this;
  }

  std::string onOneLine() const { return std::string("{").append(joined(", ")).append("}"); }
  std::string onLines() const {
    return std::string("{\n  ").append(joined(",\n  ")).append("\n}\n");
  }

 private:
  std::string joined(const char* between) const {
    std::string text;
    for (const std::string& member : members_) text += (text.empty() ? "" : between) + member;
    return text;
  }

  std::vector<std::string> members_;
};

inline std::string jsonList(const std::vector<std::string>& items) {
  std::string text = "[";
  for (const std::string& item : items) text += (text.size() > 1 ? ", " : "") + item;
  return text + "]";
}

inline std::string jsonLines(const std::vector<std::string>& items) {
  std::string text = "[";
  for (const std::string& item : items) text += (text.size() > 1 ? ",\n    " : "\n    ") + item;
  return text + (items.empty() ? "]" : "\n  ]");
}

}  // namespace wbx::tool

#endif
