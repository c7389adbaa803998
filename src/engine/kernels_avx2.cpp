#define WBX_KERNEL_SET avx2
#define WBX_KERNEL_SET_NAME "avx2"
#include "engine/kernels_impl.h"
