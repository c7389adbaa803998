// The option text of a decode.
#pragma once

#include "engine/decode_options.h"

namespace wbx {

// Reads a comma-separated option text. Unless `keep`, starts from the defaults; unless `quiet`,
// logs each option. Returns 0, or 8 at an unknown keyword, with what came before it stored.
[[nodiscard]] i32 parseOptions(DecodeOptions& options, const char* text, bool keep, bool quiet);

}  // namespace wbx
