#define WBX_KERNEL_SET baseline
#define WBX_KERNEL_SET_NAME "baseline"
#include "engine/kernels_impl.h"
