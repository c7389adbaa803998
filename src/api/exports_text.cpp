// Version, error texts and the log.
#include <cstring>

#include "wbx.h"

#include "api/call_frame.h"
#include "api/error_table.h"
#include "base/platform.h"

using namespace wbx;

namespace {

i32 lastError() {
  return static_cast<i32>(lastErrorWord() & ~kLibraryErrorFlag);
}

}  // namespace

uint32_t WBX_getVersion(void) {
  return WBX_VERSION;
}

int32_t WBX_getLastError(void) {
  return lastError();
}

const char* WBX_getErrorStr(int32_t code) {
  const char* text = errorText(code);
  logger.writeStamped("API call: WBX_getErrorStr(%d) => \"%s\".", code, text);
  return text;
}

const char* WBX_getLastErrorStr(void) {
  const i32 code = lastError();
  const char* text = errorText(code);
  logger.writeStamped("API call: WBX_getLastErrorStr() => %u => \"%s\".", static_cast<u32>(code),
                      text);
  return text;
}

void WBX_getErrorStrVB(int32_t code, char* text) {
  const char* found = errorText(code);
  logger.writeStamped("API call: WBX_getErrorStrVB(%d) => \"%s\".", code, found);
  if (text != nullptr) (void)FaultGuard::probe([&] { std::strcpy(text, found); });
}

int32_t WBX_StartLogging(uint32_t, int32_t append) {
  const i32 code = FaultGuard::workSilently([&] { return logger.start(append != 0); });
  return code == WBX_OK ? WBX_OK : report(code);
}

void WBX_StopLogging(void) {
  (void)FaultGuard::workSilently([] { logger.stop(); });
}
