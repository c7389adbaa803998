// TagTree: the inclusion and the zero-bit-plane tag tree of a precinct (T.800 B.10.2) in one.
#pragma once

#include "api/arena.h"
#include "api/types.h"

namespace wbx {

struct CodeBlock;

// Placeholder layout; the owner of this folder shapes it.
class TagTree {};

}  // namespace wbx
