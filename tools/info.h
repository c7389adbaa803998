#ifndef WBX_TOOLS_INFO_H
#define WBX_TOOLS_INFO_H

#include "image.h"
#include "outcome.h"

namespace wbx::tool {

// What the image is made of, on standard output: a table for people, or JSON for programs.
Outcome printTable(const Image& image);
Outcome printJson(const Image& image);

}  // namespace wbx::tool

#endif
