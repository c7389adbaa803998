// The components of a tile in their order, for the two files that instantiate it.
#pragma once

#include <variant>

#include "wbx.h"

#include "engine/component_decoder.h"
#include "engine/tile_engine.h"

namespace wbx {

// Whether the components of a tile are decoded together: where one has too few code blocks to
// choose groups from, if they have the same rows.
inline bool goesTogether(const Tile& tile, i32 count) {
  constexpr i32 kFewBlocks = 96;
  for (i32 c = 0; c < count; ++c) {
    const TileComponent& component = tile.components[c];
    const ComponentCoding& coding = tile.style.component[c];
    const i32 blocks = ((component.rect.width() >> coding.cblkWidthExp) + 1) *
                       ((component.rect.height() >> coding.cblkHeightExp) + 1);
    if (component.yStep != 1 || blocks > kFewBlocks) return false;
  }
  return true;
}

template <class Traits>
template <class Body>
i32 TileEngine<Traits>::forEachGroup(const Tile& tile, const Body& body) {
  using Reversible = ComponentDecoder<Traits, typename Traits::Reversible>;
  using Irreversible = ComponentDecoder<Traits, typename Traits::Irreversible>;
  // Components 2 and 1 park their samples in the output pixels, and component 0 finishes them.
  static constexpr i32 kOrders[kMaxComponents][kMaxComponents] = {
      {0}, {0, 1}, {2, 1, 0}, {2, 1, 0, 3}};
  const i32 count = context.components;
  const bool wholly = orderIsSeen(tile);
  const i32 groupSize = !wholly && goesTogether(tile, count) ? count : 1;
  for (i32 first = 0; first < count; first += groupSize) {
    ComponentGroup group(context, tile);
    std::variant<std::monostate, Reversible, Irreversible> components[kMaxComponents];
    for (i32 place = 0; place < groupSize; ++place) {
      const i32 n = kOrders[count - 1][first + place];
      if (tile.style.component[n].transform == kKernel53) {
        group.add(components[place].template emplace<Reversible>(context, writer, tile, n, group,
                                                                 place, wholly));
      } else {
        group.add(components[place].template emplace<Irreversible>(context, writer, tile, n, group,
                                                                   place, wholly));
      }
    }
    const i32 code = body(group);
    if (code != WBX_OK) return code;
  }
  return WBX_OK;
}

template <class Traits>
i32 TileEngine<Traits>::decodeTile(const Tile& tile) {
  return forEachGroup(tile, [this](ComponentGroup& group) { return group.decode(area_); });
}

template <class Traits>
void TileEngine<Traits>::clearAbsent(const Tile& tile) {
  (void)forEachGroup(tile, [](const ComponentGroup& group) {
    group.clearAbsent();
    return i32{WBX_OK};
  });
}

}  // namespace wbx
