#include "api/library.h"

#include "wbx.h"

#include "api/slave_list.h"
#include "base/logger.h"
#include "base/platform.h"

namespace wbx {

constinit bool libraryReady = false;

namespace {

// Loading the library constructs this object, unloading it or the end of the process destroys it.
struct LoadNotice {
  LoadNotice() { startLibrary(); }
  ~LoadNotice() { shutDownLibrary(); }
};

const LoadNotice loadNotice;

}  // namespace

// The Logger and the SlaveList are constant-initialised and left clean by a shutdown, locks
// included, so that a start has nothing to build. An image that an application still holds open
// after a shutdown thus finds them as usable as before.
void startLibrary() {
  if (libraryReady) return;
  libraryReady = true;
  installFaultTraps();
}

void shutDownLibrary() {
  if (!libraryReady) return;
  logger.stop();
  libraryReady = false;
  removeFaultTraps();
  slaveList.clear();
}

}  // namespace wbx

void WBX_InitLibrary(void) {
  wbx::startLibrary();
}

void WBX_CloseLibrary(void) {
  wbx::shutDownLibrary();
}
