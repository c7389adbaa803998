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
  const Kernels* entry[4] = {&baseline::kSet, nullptr, nullptr, nullptr};
  const Kernels* best = &baseline::kSet;
  Kernels withGroups = {};  // the loops of AVX2, and the passes of AVX-512

  Sets() {
#ifdef WBX_HAVE_AVX2
    if (__builtin_cpu_supports("avx2")) {
      entry[1] = &avx2::kSet;
      best = entry[1];
    }
#endif
#ifdef WBX_HAVE_AVX512
    const bool group = __builtin_cpu_supports("avx512f") && __builtin_cpu_supports("avx512bw") &&
                       __builtin_cpu_supports("avx512dq") && __builtin_cpu_supports("avx512cd") &&
                       __builtin_cpu_supports("avx512vbmi") && __builtin_cpu_supports("bmi2");
    if (group && entry[1] != nullptr) {
      withGroups = *entry[1];
      withGroups.name = "avx512";
      withGroups.groupPasses = &avx512::kGroupPasses;
      entry[2] = &withGroups;
      best = entry[2];
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
