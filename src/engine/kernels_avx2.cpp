#define WBX_KERNEL_SET avx2
#define WBX_KERNEL_SET_NAME "avx2"
#define WBX_KERNEL_GROUP_PASSES &kGroupPasses
#include "engine/kernels_impl.h"
