#include "api/library.h"

#include "wbx.h"

#include "api/logger.h"
#include "api/platform.h"
#include "api/slave_list.h"

namespace wbx {

constinit u8 libraryReady = 0;
constinit u8 loggerReady = 0;
constinit u8 slaveListReady = 0;

// The Logger and the SlaveList are constant-initialised and left clean by a shutdown, locks
// included, so that a start has nothing to build. An image that an application still holds open
// after a shutdown thus finds them as usable as before.
void startLibrary() {
  if (libraryReady != 0) return;
  loggerReady = 1;
  libraryReady = 1;
  slaveListReady = 1;
  installFaultTraps();
}

void shutDownLibrary() {
  if (libraryReady == 0) return;
  logger.stop();
  loggerReady = 0;
  libraryReady = 0;
  removeFaultTraps();
  if (slaveListReady != 0) slaveList.clear();
  slaveListReady = 0;
}

}  // namespace wbx

void WBX_InitLibrary(void) {
  wbx::startLibrary();
}

void WBX_CloseLibrary(void) {
  wbx::shutDownLibrary();
}
