// Start and shutdown of the library.
#pragma once

#include "api/types.h"

namespace wbx {

// The flags make both safe to call from any trigger, in any order and any number of times.
extern u8 libraryReady;    // started and not shut down
extern u8 loggerReady;     // the Logger may be used
extern u8 slaveListReady;  // the SlaveList may be used

void startLibrary();
void shutDownLibrary();

}  // namespace wbx
