#define WBX_KERNEL_SET avx512
#define WBX_KERNEL_SET_NAME "avx512"
#define WBX_KERNEL_GROUP_PASSES &kGroupPasses
#include "engine/kernels_impl.h"
