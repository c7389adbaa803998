// The system's notices of loading and unloading, for the dynamic library alone: a program that
// links the static one may have notices of its own, and starts and stops the library with its other
// static objects.
#define WIN32_LEAN_AND_MEAN
#include <windows.h>

#include "api/library.h"

// `processEnds` is not null when the process ends, and then the other threads are gone.
extern "C" BOOL WINAPI DllMain(HINSTANCE library, DWORD notice, void* processEnds) {
  if (notice == DLL_PROCESS_ATTACH) {
    DisableThreadLibraryCalls(library);
    wbx::startLibrary();
  } else if (notice == DLL_PROCESS_DETACH) {
    if (processEnds != nullptr) {
      wbx::abandonLibrary();
    } else {
      wbx::shutDownLibrary();
    }
  }
  return TRUE;
}
