// The eight-bit engine: images of 1 to 8 bits per sample, in 16-bit lanes.
#include "engine/kernel53.h"
#include "engine/tile_engine_impl.h"
#include "engine8/byte_format.h"
#include "engine8/dequantizer8.h"
#include "engine8/kernel97_fixed.h"

namespace wbx {

struct Engine8Traits {
  using Format = ByteFormat;
  using Reversible = Kernel53<i16>;
  using Irreversible = Kernel97Fixed;
  template <class K>
  using Dequantizer = Dequantizer8<K::kKernel>;
  static constexpr i32 kMarginRows = 34;
  static constexpr bool kLogsPlane = true;
};

template class TileEngine<Engine8Traits>;

}  // namespace wbx
