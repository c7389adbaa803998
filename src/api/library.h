// Start and shutdown of the library.
#pragma once

#include "base/types.h"

namespace wbx {

// Started and not shut down. The flag makes both calls safe from any trigger, in any order and any
// number of times.
extern bool libraryReady;

void startLibrary();
void shutDownLibrary();

}  // namespace wbx
