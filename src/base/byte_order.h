// Big-endian values, as JPEG 2000 stores them.
#pragma once

#include <bit>

#include "base/types.h"

namespace wbx {

constexpr u16 reverseBytes(u16 value) {
  return wrapTo<u16>(value << 8 | value >> 8);
}

constexpr u32 reverseBytes(u32 value) {
  return value << 24 | (value << 8 & 0x00FF0000) | (value >> 8 & 0x0000FF00) | value >> 24;
}

// From the order of the file to that of the machine, or back.
template <class T>
constexpr T swapBigEndian(T value) {
  return std::endian::native == std::endian::little ? reverseBytes(value) : value;
}

}  // namespace wbx
