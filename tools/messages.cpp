#include "messages.h"

#include <cstdio>

#include "text.h"

namespace wbx::tool {

void report(const std::string& message) {
  std::fprintf(stderr, "wbx-decode: %s\n", printable(message).c_str());
}

void reportNote(const std::string& message) {
  report("note: " + message);
}

}  // namespace wbx::tool
