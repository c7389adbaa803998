// Codestreams and JP2 files put together byte by byte.
#pragma once

#include <string_view>
#include <vector>

#include "base/types.h"
#include "stream/stream.h"

namespace wbx::test::parse {

using Bytes = std::vector<u8>;

inline Bytes operator+(Bytes left, const Bytes& right) {
  left.insert(left.end(), right.begin(), right.end());
  return left;
}

inline Bytes be16(u32 v) {
  return {static_cast<u8>(v >> 8), static_cast<u8>(v)};
}
inline Bytes be32(u32 v) {
  return be16(v >> 16) + be16(v & 0xFFFF);
}
inline Bytes text(std::string_view s) {
  return {s.begin(), s.end()};
}

inline Bytes segment(u8 marker, const Bytes& payload) {
  return Bytes{0xFF, marker} + be16(static_cast<u32>(payload.size()) + 2) + payload;
}

struct Component {
  u8 ssiz = 7, hsamp = 1, vsamp = 1;
};

struct Siz {
  u32 Xsiz = 8, Ysiz = 8, XOsiz = 0, YOsiz = 0, XTsiz = 8, YTsiz = 8, XTOsiz = 0, YTOsiz = 0;
  std::vector<Component> components = {{}};

  [[nodiscard]] Bytes bytes() const {
    Bytes payload = be16(0);
    for (u32 v : {Xsiz, Ysiz, XOsiz, YOsiz, XTsiz, YTsiz, XTOsiz, YTOsiz})
      payload = payload + be32(v);
    payload = payload + be16(static_cast<u32>(components.size()));
    for (const Component& c : components) payload = payload + Bytes{c.ssiz, c.hsamp, c.vsamp};
    return segment(0x51, payload);
  }
};

struct Cod {
  u8 scod = 0, progression = 0, layers = 1, mct = 0, levels = 0, width = 4, height = 4, style = 0,
     wavelet = 1;
  Bytes precincts = {};

  [[nodiscard]] Bytes payload() const {
    return Bytes{scod, progression, 0, layers, mct, levels, width, height, style, wavelet} +
           precincts;
  }
  [[nodiscard]] Bytes bytes() const { return segment(0x52, payload()); }
};

inline Bytes sot(u16 isot, u32 psot, u8 tpsot, u8 tnsot) {
  return segment(0x90, be16(isot) + be32(psot) + Bytes{tpsot, tnsot});
}

inline const Bytes kSoc = {0xFF, 0x4F};
inline const Bytes kSod = {0xFF, 0x93};
inline const Bytes kEoc = {0xFF, 0xD9};
inline const Bytes kEmptyPacket = {0x00};
inline const Bytes kQcd = segment(0x5C, {0x40, 0x40});

// One tile of one packet; `main` and `tile` stand in the two headers behind what must be there.
inline Bytes codestream(const Siz& siz = {}, const Cod& cod = {}, const Bytes& main = {},
                        const Bytes& tile = {}) {
  return kSoc + siz.bytes() + cod.bytes() + kQcd + main + sot(0, 0, 0, 1) + tile + kSod +
         kEmptyPacket + kEoc;
}

inline Bytes box(std::string_view type, const Bytes& payload, u32 length) {
  return be32(length) + text(type) + payload;
}
inline Bytes box(std::string_view type, const Bytes& payload = {}) {
  return box(type, payload, static_cast<u32>(payload.size()) + 8);
}

inline const Bytes kSignature = box("jP  ", {0x0D, 0x0A, 0x87, 0x0A});
inline const Bytes kFileType = box("ftyp", text("jp2 ") + be32(0) + text("jp2 "));

// A source that cannot seek.
class UnseekableSource {
 public:
  explicit UnseekableSource(const Bytes& bytes) : bytes_(bytes) {
    stream.open(this, {nullptr, &UnseekableSource::read, nullptr});
  }

  CustomStream stream;

 private:
  static i32 read(void* buffer, u32 count, void* user) {
    auto& self = *static_cast<UnseekableSource*>(user);
    const size_t left = self.bytes_.size() - self.position_;
    const size_t delivered = count < left ? count : left;
    for (size_t i = 0; i < delivered; ++i)
      static_cast<u8*>(buffer)[i] = self.bytes_[self.position_ + i];
    self.position_ += delivered;
    return static_cast<i32>(delivered);
  }

  const Bytes& bytes_;
  size_t position_ = 0;
};

}  // namespace wbx::test::parse
