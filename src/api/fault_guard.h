// FaultGuard: turns a fault in guarded code into an error code.
#pragma once

#include <type_traits>

#include "wbx.h"

#include "base/types.h"

namespace wbx {

// Guarded work returns a code, or nothing for success. A fault is an exception of the processor or
// of the language. Neither level repairs anything: an object that was being worked on stays as the
// fault left it, and destructors in the guarded code may not have run.
class FaultGuard {
 public:
  // The probe level, for first touches of memory that a caller names: code 5, silently.
  template <class Work>
  [[nodiscard]] static i32 probe(Work work) {
    return run(Level::kProbe, work);
  }

  // The work level, for the work itself: a line in the log and code 27.
  template <class Work>
  [[nodiscard]] static i32 work(Work work) {
    return run(Level::kWork, work);
  }

  // The work level for work on the log itself: code 27, silently.
  template <class Work>
  [[nodiscard]] static i32 workSilently(Work work) {
    return run(Level::kSilentWork, work);
  }

 private:
  enum class Level { kProbe, kWork, kSilentWork };

  template <class Work>
  static i32 run(Level level, Work& work) {
    const auto call = [](void* argument) -> i32 { return codeOf(*static_cast<Work*>(argument)); };
    return runCall(level, call, &work);
  }

  template <class Work>
  static i32 codeOf(Work& work) {
    if constexpr (std::is_void_v<std::invoke_result_t<Work&>>) {
      work();
      return WBX_OK;
    } else {
      return work();
    }
  }

  static i32 runCall(Level level, i32 (*call)(void*), void* argument);
};

}  // namespace wbx
