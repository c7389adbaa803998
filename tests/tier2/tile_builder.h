// Tiles and packet headers for the tests of this folder.
#pragma once

#include <algorithm>
#include <string_view>
#include <vector>

#include "base/arena.h"
#include "stream/stream.h"
#include "tier2/packet.h"
#include "tier2/tile.h"

namespace wbx::test {

// A tile of its own with all that Tile::build needs.
struct TileBuilder {
  explicit TileBuilder(Rect rect, i32 components = 1, i32 resolutions = 1) {
    tile.rect = rect;
    tile.arena = &arena;
    tile.style.layers = 1;
    tile.style.components = static_cast<u16>(components);
    for (ComponentInfo& each : info) each.prec = 8;
    for (ComponentCoding& coding : tile.style.component) {
      coding.resolutions = static_cast<u8>(resolutions);
      coding.cblkWidthExp = coding.cblkHeightExp = 6;
    }
  }

  [[nodiscard]] i32 build() { return tile.build(info, tile.style.components); }

  ComponentCoding& coding(i32 component = 0) { return tile.style.component[component]; }
  Resolution& resolution(i32 index, i32 component = 0) {
    return tile.components[component].resolutions[index];
  }

  Arena arena{1000};
  ComponentInfo info[kMaxComponents];
  Tile tile;
};

// Packs bits as a packet header has them, a 0 bit stuffed behind each byte of 0xFF.
class HeaderBits {
 public:
  // Takes the characters 0 and 1; others are for the reader.
  HeaderBits& put(std::string_view bits) {
    for (char c : bits) {
      if (c == '0' || c == '1') putBit(c == '1');
    }
    return *this;
  }
  HeaderBits& put(u32 value, i32 count) {
    for (i32 i = count - 1; i >= 0; --i) putBit(((value >> i) & 1) != 0);
    return *this;
  }
  [[nodiscard]] std::vector<u8> bytes() const {
    std::vector<u8> out = bytes_;
    if (room_ < 8) out.push_back(current_);
    return out;
  }

 private:
  void putBit(bool bit) {
    --room_;
    current_ = static_cast<u8>(current_ | (bit ? 1 << room_ : 0));
    if (room_ > 0) return;
    bytes_.push_back(current_);
    room_ = current_ == 0xFF ? 7 : 8;
    current_ = 0;
  }

  std::vector<u8> bytes_;
  u8 current_ = 0;
  i32 room_ = 8;
};

inline std::vector<u8> operator+(std::vector<u8> a, const std::vector<u8>& b) {
  a.insert(a.end(), b.begin(), b.end());
  return a;
}

// A source behind callbacks that cannot seek.
class UnseekableSource {
 public:
  explicit UnseekableSource(std::vector<u8> bytes) : bytes_(std::move(bytes)) {
    CustomCallbacks callbacks = {};
    callbacks.read = &read;
    stream.open(this, callbacks);
  }

  CustomStream stream;

 private:
  static i32 read(void* buffer, u32 count, void* user) {
    auto& self = *static_cast<UnseekableSource*>(user);
    const size_t left = self.bytes_.size() - self.position_;
    const size_t delivered = std::min<size_t>(count, left);
    std::copy_n(self.bytes_.data() + self.position_, delivered, static_cast<u8*>(buffer));
    self.position_ += delivered;
    return static_cast<i32>(delivered);
  }

  std::vector<u8> bytes_;
  size_t position_ = 0;
};

}  // namespace wbx::test
