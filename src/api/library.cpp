#include "api/library.h"

#include "wbx.h"

#include "api/slave_list.h"
#include "base/logger.h"
#include "base/platform.h"

namespace wbx {

constinit bool libraryReady = false;

namespace {

// The locks of the library, the outer one first: none of them is held by a thread that a forked
// child lacks.
void takeLocks() {
  slaveList.lock();
  logger.lock();
}
void releaseLocks() {
  logger.unlock();
  slaveList.unlock();
}

// Once in a process, however often the library starts.
void prepareForForks() {
  static constinit bool prepared = false;
  if (!prepared) callAroundForks(&takeLocks, &releaseLocks);
  prepared = true;
}

}  // namespace

// The Logger and the SlaveList are constant-initialised and left clean by a shutdown, locks
// included, so that a start has nothing to build. An image that an application still holds open
// after a shutdown thus finds them as usable as before.
void startLibrary() {
  if (libraryReady) return;
  libraryReady = true;
  prepareForForks();
  installFaultTraps();
}

void shutDownLibrary() {
  if (!libraryReady) return;
  logger.stop();
  libraryReady = false;
  removeFaultTraps();
  slaveList.clear();
}

void abandonLibrary() {
  if (!libraryReady) return;
  logger.stopAsLastThread();
  libraryReady = false;
}

}  // namespace wbx

void WBX_InitLibrary(void) {
  wbx::startLibrary();
}

void WBX_CloseLibrary(void) {
  wbx::shutDownLibrary();
}
