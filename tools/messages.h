#ifndef WBX_TOOLS_MESSAGES_H
#define WBX_TOOLS_MESSAGES_H

#include <string>

namespace wbx::tool {

// Lines on standard error, each whole although files are decoded side by side. What could steer a
// terminal in a name is replaced.
void report(const std::string& message);
void reportNote(const std::string& message);

}  // namespace wbx::tool

#endif
