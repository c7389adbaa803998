// The sixteen-bit engine: images of 9 to 16 bits per sample, in 32-bit lanes.
#include "engine/kernel53.h"
#include "engine/tile_engine_impl.h"
#include "engine16/dequantizer16.h"
#include "engine16/kernel97_float.h"
#include "engine16/word_format.h"

namespace wbx {

struct Engine16Traits {
  using Format = WordFormat;
  using Reversible = Kernel53<i32>;
  using Irreversible = Kernel97Float;
  template <class K>
  using Dequantizer = Dequantizer16<K::kKernel>;
  static constexpr i32 kMarginRows = 26;
  static constexpr bool kLogsPlane = false;
};

template class TileEngine<Engine16Traits>;

}  // namespace wbx
