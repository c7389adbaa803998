// Start and shutdown of the library.
#pragma once

#include "base/types.h"

namespace wbx {

// Started and not shut down. The flag makes both calls safe from any trigger, in any order and any
// number of times.
extern bool libraryReady;

void startLibrary();
void shutDownLibrary();

// In the place of a shutdown where the process ends and the system has ended the other threads at
// whatever they did. What they had locked stays locked, and what they changed may be half done.
void abandonLibrary();

// Loading the library constructs this object, unloading it or the end of the process destroys it.
// It is here, and not in one source, so that a program that links the static library gets it with
// whatever function it calls.
struct LoadNotice {
  LoadNotice() { startLibrary(); }
  ~LoadNotice() { shutDownLibrary(); }
};
inline const LoadNotice loadNotice;

}  // namespace wbx
