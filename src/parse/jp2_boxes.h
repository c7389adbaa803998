// The boxes around the codestream of a JP2 or JPX file (T.800 I).
#pragma once

#include "base/types.h"
#include "image/metadata.h"
#include "stream/stream.h"

namespace wbx {

// Each returns 0 or an error code. parseJP2 starts 2 bytes into the file, behind what was read as a
// marker, and leaves the stream at the codestream; parseTrailingBoxes walks what stands behind EOC.
[[nodiscard]] i32 parseJP2(Stream& stream, MetadataStore& store);
[[nodiscard]] i32 parseTrailingBoxes(Stream& stream, MetadataStore& store);

}  // namespace wbx
