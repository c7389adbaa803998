#include "engine/kernels.h"

#include <atomic>

namespace wbx {

namespace baseline {
extern const Kernels kSet;
}
#ifdef WBX_HAVE_AVX2
namespace avx2 {
extern const Kernels kSet;
}
#endif

namespace {

struct Sets {
  const Kernels* entry[3] = {&baseline::kSet, nullptr, nullptr};
  const Kernels* best = &baseline::kSet;

  Sets() {
#ifdef WBX_HAVE_AVX2
    if (__builtin_cpu_supports("avx2")) {
      entry[1] = &avx2::kSet;
      best = entry[1];
    }
#endif
  }
};

const Sets& sets() {
  static const Sets instance;
  return instance;
}

std::atomic<const Kernels*> forced{nullptr};

}  // namespace

const Kernels& kernels() {
  const Kernels* set = forced.load(std::memory_order_relaxed);
  return set ? *set : *sets().best;
}

const Kernels* const* availableKernels() {
  return sets().entry;
}

void forceKernels(const Kernels* set) {
  forced.store(set, std::memory_order_relaxed);
}

}  // namespace wbx
