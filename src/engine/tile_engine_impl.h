// The components of a tile in their order, for the two files that instantiate it.
#pragma once

#include "wbx.h"

#include "engine/component_decoder.h"
#include "engine/tile_engine.h"

namespace wbx {

template <class Traits>
template <class Body>
i32 TileEngine<Traits>::forEachComponent(const Tile& tile, const Body& body) {
  using Reversible = ComponentDecoder<Traits, typename Traits::Reversible>;
  using Irreversible = ComponentDecoder<Traits, typename Traits::Irreversible>;
  // Components 2 and 1 park their samples in the output pixels, and component 0 finishes them.
  static constexpr i32 kOrders[kMaxComponents][kMaxComponents] = {
      {0}, {0, 1}, {2, 1, 0}, {2, 1, 0, 3}};
  for (i32 i = 0; i < context.components; ++i) {
    const i32 n = kOrders[context.components - 1][i];
    const i32 code = tile.style.component[n].transform == kKernel53
                         ? body(Reversible(context, writer, area_, tile, n))
                         : body(Irreversible(context, writer, area_, tile, n));
    if (code != WBX_OK) return code;
  }
  return WBX_OK;
}

template <class Traits>
i32 TileEngine<Traits>::decodeTile(const Tile& tile) {
  return forEachComponent(tile, [](auto&& component) { return component.decode(); });
}

template <class Traits>
void TileEngine<Traits>::clearAbsent(const Tile& tile) {
  (void)forEachComponent(tile, [](auto&& component) {
    component.clearAbsent();
    return i32{WBX_OK};
  });
}

}  // namespace wbx
