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
#ifdef WBX_HAVE_AVX512
namespace avx512 {
extern const Kernels kSet;
}
#endif

namespace {

#ifdef WBX_HAVE_AVX512
bool hasAvx512() {
  return __builtin_cpu_supports("avx512f") && __builtin_cpu_supports("avx512bw") &&
         __builtin_cpu_supports("avx512cd") && __builtin_cpu_supports("avx512dq") &&
         __builtin_cpu_supports("avx512vl") && __builtin_cpu_supports("avx512vbmi") &&
         __builtin_cpu_supports("bmi2");
}
#endif

struct Sets {
  const Kernels* entry[4] = {};  // ends with null
  i32 count = 0;

  Sets() {
    add(baseline::kSet);
#ifdef WBX_HAVE_AVX2
    if (__builtin_cpu_supports("avx2")) add(avx2::kSet);
#endif
#ifdef WBX_HAVE_AVX512
    if (hasAvx512()) add(avx512::kSet);
#endif
  }
  void add(const Kernels& set) {
    entry[count++] = &set;
  }
  [[nodiscard]] const Kernels& best() const {
    return *entry[count - 1];
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
  return set ? *set : sets().best();
}

const Kernels* const* availableKernels() {
  return sets().entry;
}

void forceKernels(const Kernels* set) {
  forced.store(set, std::memory_order_relaxed);
}

}  // namespace wbx
