#include "tier2/packet_iterator.h"

#include <gtest/gtest.h>
#include <random>
#include <tuple>
#include <vector>

#include "tile_builder.h"

namespace wbx {
namespace {

using test::TileBuilder;
using Place = std::tuple<i32, i32, u32, i32>;  // component, resolution, precinct, layer

Place place(const PacketIterator& it) {
  return {it.component, it.resolution, it.precinct, it.layer};
}

std::vector<Place> walk(Tile& tile) {
  std::vector<Place> found;
  PacketIterator& it = tile.iterator;
  while (it.done == 0) {
    if (it.current(tile.components) == nullptr) {
      it.skipEmpty(tile.components);
      continue;
    }
    found.push_back(place(it));
    it.step(tile.components);
  }
  return found;
}

const Resolution* resolutionOf(const Tile& tile, i32 c, i32 r) {
  const TileComponent& component = tile.components[c];
  return r < component.resolutionCount ? &component.resolutions[r] : nullptr;
}

// The loops of T.800 B.12.1.1 and B.12.1.2.
std::vector<Place> countedWalk(const Tile& tile) {
  std::vector<Place> found;
  const i32 resolutions = tile.iterator.resolutions, layers = tile.style.layers;
  const bool byLayer = tile.style.progression == kLrcp;
  for (i32 outer = 0; outer < (byLayer ? layers : resolutions); ++outer) {
    for (i32 inner = 0; inner < (byLayer ? resolutions : layers); ++inner) {
      const i32 r = byLayer ? inner : outer, l = byLayer ? outer : inner;
      for (i32 c = 0; c < tile.componentCount; ++c) {
        const Resolution* resolution = resolutionOf(tile, c, r);
        const u32 precincts = resolution == nullptr ? 0 : resolution->precinctCount();
        for (u32 p = 0; p < precincts; ++p) found.push_back({c, r, p, l});
      }
    }
  }
  return found;
}

// Whether a precinct of the resolution starts at a coordinate of the reference grid, by the
// condition of T.800 B.12.1.3; its index along the direction as in equation B-20.
bool startsAt(u32 at, u32 tileStart, u32 step, u32 reduction, u32 exponent, u32 start, u32& index) {
  const u64 span = u64{step} << (exponent + reduction);
  const bool clippedStart =
      at == tileStart && (u64{start} << reduction) % (u64{1} << (exponent + reduction)) != 0;
  if (at % span != 0 && !clippedStart) return false;
  const u64 divisor = u64{step} << reduction;
  index = static_cast<u32>((((at + divisor - 1) / divisor) >> exponent) - (start >> exponent));
  return true;
}

// The packets of one resolution of one component at one position.
void addAt(const Tile& tile, i32 c, i32 r, u32 x, u32 y, std::vector<Place>& found) {
  const Resolution* resolution = resolutionOf(tile, c, r);
  if (resolution == nullptr || resolution->precinctCount() == 0) return;
  const TileComponent& component = tile.components[c];
  const u32 reduction = static_cast<u32>(component.resolutionCount - 1 - r);
  u32 i, j;
  if (!startsAt(y, tile.rect.y0, component.yStep, reduction, resolution->ppy, resolution->rect.y0,
                j) ||
      !startsAt(x, tile.rect.x0, component.xStep, reduction, resolution->ppx, resolution->rect.x0,
                i))
    return;
  for (i32 l = 0; l < tile.style.layers; ++l)
    found.push_back({c, r, j * resolution->precinctsWide + i, l});
}

template <class Action>
void forEachPosition(const Rect& tile, Action action) {
  for (u32 y = tile.y0; y < tile.y1; ++y) {
    for (u32 x = tile.x0; x < tile.x1; ++x) action(x, y);
  }
}

// The loops of T.800 B.12.1.3 to B.12.1.5, over every position of the tile.
std::vector<Place> positionWalk(const Tile& tile) {
  std::vector<Place> found;
  const i32 resolutions = tile.iterator.resolutions, components = tile.componentCount;
  const auto visit = [&](i32 firstC, i32 endC, i32 firstR, i32 endR) {
    forEachPosition(tile.rect, [&](u32 x, u32 y) {
      for (i32 c = firstC; c < endC; ++c) {
        for (i32 r = firstR; r < endR; ++r) addAt(tile, c, r, x, y, found);
      }
    });
  };
  switch (tile.style.progression) {
    case kRpcl:
      for (i32 r = 0; r < resolutions; ++r) visit(0, components, r, r + 1);
      break;
    case kPcrl:
      visit(0, components, 0, resolutions);
      break;
    default:
      for (i32 c = 0; c < components; ++c) visit(c, c + 1, 0, resolutions);
  }
  return found;
}

void randomise(TileBuilder& b, std::mt19937& random) {
  const auto below = [&](u32 n) { return static_cast<u8>(random() % n); };
  b.tile.style.layers = static_cast<u16>(below(3) + 1);
  for (i32 c = 0; c < kMaxComponents; ++c) {
    b.info[c].hsamp = static_cast<u8>(below(2) + 1);
    b.info[c].vsamp = static_cast<u8>(below(2) + 1);
    ComponentCoding& coding = b.coding(c);
    coding.resolutions = static_cast<u8>(below(5) + 1);
    for (size_t r = 0; r < coding.resolutions; ++r) {
      coding.PPx[r] = static_cast<u8>(below(5) + (r == 0 ? 0 : 1));
      coding.PPy[r] = static_cast<u8>(below(5) + (r == 0 ? 0 : 1));
    }
  }
}

TEST(PacketIterator, FollowsTheStandardOnRandomGeometries) {
  std::mt19937 random(2);
  for (i32 round = 0; round < 400; ++round) {
    const u16 x = static_cast<u16>(random() % 40), y = static_cast<u16>(random() % 40);
    const Rect rect = {x, y, static_cast<u16>(x + random() % 40 + 1),
                       static_cast<u16>(y + random() % 40 + 1)};
    for (u8 order = kLrcp; order <= kCprl; ++order) {
      TileBuilder b(rect, static_cast<i32>(random() % 4 + 1));
      randomise(b, random);
      b.tile.style.progression = order;
      ASSERT_EQ(b.build(), 0);
      const std::vector<Place> expected =
          order < kRpcl ? countedWalk(b.tile) : positionWalk(b.tile);
      ASSERT_EQ(walk(b.tile), expected) << "order " << int{order} << ", round " << round;
    }
  }
}

TEST(PacketIterator, WithOnePrecinctEachTheOrdersAreNestedLoops) {
  const auto order = [](u8 progression) {
    TileBuilder b({0, 0, 8, 8}, 2, 2);
    b.coding(1).resolutions = 1;
    b.tile.style.layers = 2;
    b.tile.style.progression = progression;
    EXPECT_EQ(b.build(), 0);
    std::vector<std::tuple<i32, i32, i32>> found;  // component, resolution, layer
    for (const auto& [c, r, p, l] : walk(b.tile)) found.push_back({c, r, l});
    return found;
  };
  using Order = std::vector<std::tuple<i32, i32, i32>>;
  EXPECT_EQ(order(kLrcp),
            (Order{{0, 0, 0}, {1, 0, 0}, {0, 1, 0}, {0, 0, 1}, {1, 0, 1}, {0, 1, 1}}));
  EXPECT_EQ(order(kRlcp),
            (Order{{0, 0, 0}, {1, 0, 0}, {0, 0, 1}, {1, 0, 1}, {0, 1, 0}, {0, 1, 1}}));
  EXPECT_EQ(order(kRpcl),
            (Order{{0, 0, 0}, {0, 0, 1}, {1, 0, 0}, {1, 0, 1}, {0, 1, 0}, {0, 1, 1}}));
  EXPECT_EQ(order(kPcrl),
            (Order{{0, 0, 0}, {0, 0, 1}, {0, 1, 0}, {0, 1, 1}, {1, 0, 0}, {1, 0, 1}}));
  EXPECT_EQ(order(kCprl), order(kPcrl));
}

TEST(PacketIterator, ReachesTheLastLayerInEveryOrder) {
  for (u8 progression = kLrcp; progression <= kCprl; ++progression) {
    for (u16 layers : {u16{0}, u16{1}, u16{65535}}) {
      TileBuilder b({0, 0, 8, 8});
      b.tile.style.layers = layers;
      b.tile.style.progression = progression;
      ASSERT_EQ(b.build(), 0);
      EXPECT_EQ(walk(b.tile).size(), std::max<size_t>(layers, 1));
      EXPECT_EQ(b.tile.iterator.layer, 0);
    }
  }
}

// One column of samples at an odd coordinate: all resolutions but the highest are empty.
TEST(PacketIterator, SkipsEmptyResolutionsInFewSteps) {
  for (u8 progression = kLrcp; progression <= kCprl; ++progression) {
    TileBuilder b({1, 0, 2, 8}, 4, 24);
    b.tile.style.layers = 65535;
    b.tile.style.progression = progression;
    ASSERT_EQ(b.build(), 0);
    PacketIterator& it = b.tile.iterator;
    it.skipEmpty(b.tile.components);
    EXPECT_EQ(place(it), (Place{0, 23, 0, 0}));
  }
}

TEST(PacketIterator, EndsAtOnceWithoutAnyPacket) {
  for (u8 progression = kLrcp; progression <= kCprl; ++progression) {
    TileBuilder b({1, 1, 2, 2}, 2, 1);
    b.info[0].hsamp = b.info[1].hsamp = 2;
    b.tile.style.layers = 65535;
    b.tile.style.progression = progression;
    ASSERT_EQ(b.build(), 0);
    EXPECT_TRUE(walk(b.tile).empty());
    EXPECT_EQ(b.tile.iterator.done, 1);
  }
}

// The counted orders pass the empty places behind the last packet before they are done; the orders
// by position have no such places.
TEST(PacketIterator, IsDoneBehindTheLastPlace) {
  for (u8 progression = kLrcp; progression <= kCprl; ++progression) {
    TileBuilder b({1, 0, 2, 8}, 2, 1);
    b.info[1].hsamp = 2;  // an empty component
    b.tile.style.progression = progression;
    ASSERT_EQ(b.build(), 0);
    PacketIterator& it = b.tile.iterator;
    it.step(b.tile.components);
    EXPECT_EQ(it.done, progression < kRpcl ? 0 : 1);
    it.skipEmpty(b.tile.components);
    EXPECT_EQ(it.done, 1);
  }
}

// Precincts 1 wide and 32768 high beside others 32768 wide and 1 high: four times 65535 of them on
// 2^32 positions.
TEST(PacketIterator, StepsFromCornerToCorner) {
  for (u8 progression : {kRpcl, kPcrl, kCprl}) {
    TileBuilder b({0, 0, 65535, 65535}, 2, 1);
    b.tile.style.progression = progression;
    b.coding(0).PPx[0] = 0;
    b.coding(1).PPy[0] = 0;
    ASSERT_EQ(b.build(), 0);
    size_t packets = 0;
    PacketIterator& it = b.tile.iterator;
    for (; it.done == 0; it.step(b.tile.components)) ++packets;
    EXPECT_EQ(packets, 4u * 65535);
  }
}

}  // namespace
}  // namespace wbx
