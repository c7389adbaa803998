// An application that ends while its threads write the log. On Windows the system ends them where
// they stand, perhaps with a lock of the library in hand, before it tells the library.
#include <chrono>
#include <thread>

#include "wbx.h"

int main() {
  if (WBX_StartLogging(0, 0) != WBX_OK) return 1;
  for (int i = 0; i < 4; ++i) {
    std::thread([] {
      for (;;) WBX_getErrorStr(WBX_ERROR_CORRUPT);
    }).detach();
  }
  std::this_thread::sleep_for(std::chrono::milliseconds(100));
  return 0;
}
