#include "tier2/tag_tree.h"

#include <gtest/gtest.h>
#include <limits>
#include <random>
#include <tuple>
#include <vector>

#include "stream/stream.h"
#include "tier2/packet_bit_reader.h"

namespace wbx {
namespace {

// The two trees as T.800 B.10.2 tells them: every node in an array, every leaf asked in turn.
class PlainTree {
 public:
  PlainTree(u32 wide, u32 high) {
    for (;;) {
      levels_.push_back({wide, std::vector<Node>(size_t{wide} * high)});
      if (wide * high <= 1) break;
      wide = (wide + 1) / 2;
      high = (high + 1) / 2;
    }
  }

  bool inclusion(u32 column, u32 row, i32 threshold, PacketBitReader& reader) {
    return decode(column, row, threshold, reader, &Node::inclusion);
  }
  i32 zeroPlanes(u32 column, u32 row, PacketBitReader& reader) {
    for (i32 t = 1; t <= 553; ++t) {
      if (decode(column, row, t, reader, &Node::zeroPlanes)) return t - 1;
    }
    return -1;
  }

 private:
  struct State {
    i32 value = std::numeric_limits<i32>::max();
    i32 low = 0;
  };
  struct Node {
    State inclusion, zeroPlanes;
  };
  struct Level {
    u32 wide;
    std::vector<Node> nodes;
  };

  bool decode(u32 column, u32 row, i32 threshold, PacketBitReader& reader, State Node::*tree) {
    i32 low = 0;
    for (size_t i = levels_.size(); i-- > 0;) {
      Level& level = levels_[i];
      State& state = level.nodes[size_t{row >> i} * level.wide + (column >> i)].*tree;
      low = std::max(low, state.low);
      while (low < threshold && low < state.value) {
        if (reader.readBit() != 0) {
          state.value = low;
        } else {
          ++low;
        }
      }
      state.low = low;
    }
    const State& leaf = levels_[0].nodes[size_t{row} * levels_[0].wide + column].*tree;
    return leaf.value < threshold;
  }

  std::vector<Level> levels_;
};

using Found = std::tuple<u32, u32, i32>;  // column, row, zero bit planes of an included leaf

std::vector<Found> walkPlain(PlainTree& tree, u32 wide, u32 high, u32 layer,
                             PacketBitReader& reader) {
  std::vector<Found> found;
  for (u32 row = 0; row < high; ++row) {
    for (u32 column = 0; column < wide; ++column) {
      if (!tree.inclusion(column, row, static_cast<i32>(layer) + 1, reader)) continue;
      found.push_back({column, row, tree.zeroPlanes(column, row, reader)});
    }
  }
  return found;
}

std::vector<Found> walkLazily(TagTree& tree, u32 wide, u32 high, u32 layer, PacketBitReader& reader,
                              Arena& arena) {
  std::vector<Found> found;
  InclusionWalk walk(tree, wide, high, layer, reader, arena);
  while (walk.next() != nullptr)
    found.push_back({walk.column(), walk.row(), walk.decodeZeroPlanes()});
  EXPECT_FALSE(walk.outOfMemory());
  return found;
}

struct Header {
  explicit Header(std::vector<u8> source) : bytes(std::move(source)) {
    stream.open(bytes.data(), static_cast<u32>(bytes.size()));
    reader.attach(stream);
    reader.beginHeader();
  }
  std::vector<u8> bytes;
  MemoryStream stream;
  PacketBitReader reader;
};

// Random bits of which about one in 2^(sparse + 1) is a 1.
std::vector<u8> randomBytes(std::mt19937& random, size_t count, i32 sparse) {
  std::vector<u8> bytes(count);
  for (u8& byte : bytes) {
    byte = static_cast<u8>(random());
    for (i32 i = 0; i < sparse; ++i) byte = static_cast<u8>(byte & random());
  }
  return bytes;
}

TEST(TagTree, WalksAsThePlainTreesDo) {
  std::mt19937 random(1);
  for (i32 round = 0; round < 600; ++round) {
    const u32 wide = static_cast<u32>(random() % (round % 3 == 0 ? 70 : 9) + 1);
    const u32 high = static_cast<u32>(random() % (round % 5 == 0 ? 40 : 9) + 1);
    const std::vector<u8> bytes = randomBytes(random, 3000, round % 6);
    Header lazy(bytes), plain(bytes);
    Arena arena(1000);
    TagTree tree;
    PlainTree plainTree(wide, high);
    for (u32 layer = 0; layer < 12; layer += static_cast<u32>(random() % 3 + 1)) {
      ASSERT_EQ(walkLazily(tree, wide, high, layer, lazy.reader, arena),
                walkPlain(plainTree, wide, high, layer, plain.reader))
          << wide << " x " << high << ", layer " << layer << ", round " << round;
      u32 next = 0, plainNext = 1;
      ASSERT_TRUE(lazy.reader.readBits(32, next));
      ASSERT_TRUE(plain.reader.readBits(32, plainNext));
      ASSERT_EQ(next, plainNext) << "another number of bits was read";
    }
  }
}

TEST(TagTree, OneLeafIsOneNode) {
  Header header({0b00100010, 0});
  Arena arena(1000);
  TagTree tree;
  EXPECT_TRUE(walkLazily(tree, 1, 1, 0, header.reader, arena).empty());
  EXPECT_TRUE(walkLazily(tree, 1, 1, 1, header.reader, arena).empty());
  EXPECT_EQ(walkLazily(tree, 1, 1, 2, header.reader, arena), std::vector<Found>({{0, 0, 3}}));
  EXPECT_EQ(header.reader.readBit(), 0);
}

TEST(TagTree, EndsZeroBitPlanesAtTheirLimit) {
  for (i32 planes : {552, 553}) {
    std::vector<u8> bytes(80);
    const i32 bit = planes + 1;  // behind the inclusion bit
    bytes[0] = 0x80;
    bytes[static_cast<size_t>(bit / 8)] |= static_cast<u8>(0x80 >> (bit % 8));
    Header header(bytes);
    Arena arena(1000);
    TagTree tree;
    const std::vector<Found> found = walkLazily(tree, 1, 1, 0, header.reader, arena);
    EXPECT_EQ(found, std::vector<Found>({{0, 0, planes == 552 ? 552 : -1}}));
  }
}

// 2^30 leaves, of which each packet's bits settle the most in one stroke.
TEST(TagTree, CostsNoMoreThanItsBits) {
  Header header(std::vector<u8>(200000, 0));
  Arena arena(1000);
  TagTree tree;
  for (u32 layer = 0; layer < 60000; ++layer)
    ASSERT_TRUE(walkLazily(tree, 1u << 15, 1u << 15, layer, header.reader, arena).empty());
  header.reader.align(0, 0);
  EXPECT_EQ(header.stream.tell(), 60000u / 8);
}

TEST(TagTree, LeavesTheRestOfAHugeGridAlone) {
  std::vector<u8> bytes(100000, 0);
  bytes[0] = 0xFF;  // down to the first leaf: sixteen levels of inclusion, sixteen of bit planes
  bytes[1] = 0x7F;
  std::fill_n(bytes.begin() + 2, 2, u8{0xFE});
  bytes[4] = 0xC0;
  Header header(bytes);
  Arena arena(1000);
  TagTree tree;
  const u32 side = 1u << 15;
  EXPECT_EQ(walkLazily(tree, side, side, 0, header.reader, arena).size(), 1u);
  EXPECT_EQ(tree.block(0, 0), nullptr);
  EXPECT_EQ(tree.block(side - 1, side - 1), nullptr);
  for (u32 layer = 1; layer < 1000; ++layer)
    ASSERT_EQ(walkLazily(tree, side, side, layer, header.reader, arena).size(), 1u);
}

}  // namespace
}  // namespace wbx
