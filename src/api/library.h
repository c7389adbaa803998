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

// Loading the library constructs this object, unloading it or the end of the process destroys it.
// It is here, and not in one source, so that a program that links the static library gets it with
// whatever function it calls.
struct LoadNotice {
  LoadNotice() { startLibrary(); }
  ~LoadNotice() { shutDownLibrary(); }
};
inline const LoadNotice loadNotice;

}  // namespace wbx
