// What all tests of the kernels need: the sets to try, buffers between guards, and values.
#pragma once

#include <algorithm>
#include <bit>
#include <cstring>
#include <gtest/gtest.h>
#include <limits>
#include <random>
#include <string>
#include <type_traits>
#include <vector>

#include "engine/kernels.h"

namespace wbx::test {

// Calls the body with each set that this processor can run.
template <class Body>
void forEachSet(const Body& body) {
  for (const Kernels* const* set = availableKernels(); *set != nullptr; ++set) {
    SCOPED_TRACE((*set)->name);
    body(**set);
    if (testing::Test::HasFailure()) return;
  }
}

// Calls the body with every length of the shortest rows, where vector loops have their edges, and
// with some longer ones.
template <class Body>
void forEachLength(const Body& body) {
  const auto with = [&body](i32 length) {
    SCOPED_TRACE("length " + std::to_string(length));
    body(length);
  };
  for (i32 length = 0; length <= 70; ++length) with(length);
  for (const i32 length : {127, 131, 252, 253, 255, 256, 257, 260, 508, 509, 1001}) with(length);
}

// An array off any vector boundary, with a guard band on either side. Everything starts as 0xA5.
template <class T>
class Guarded {
 public:
  explicit Guarded(i32 size)
      : bytes_((static_cast<size_t>(size) + 2 * kGuard + 1) * sizeof(T), kFill),
        size_(static_cast<size_t>(size)) {}
  explicit Guarded(const std::vector<T>& values) : Guarded(static_cast<i32>(values.size())) {
    if (!values.empty()) std::memcpy(data(), values.data(), values.size() * sizeof(T));
  }

  T* data() { return reinterpret_cast<T*>(bytes_.data()) + kGuard + 1; }

  void expect(const std::vector<T>& wanted, const char* what) {
    ASSERT_EQ(wanted.size(), size_);
    expectRange(wanted, 0, static_cast<i32>(wanted.size()), what);
  }

  // Entries from first to last - 1 must be as wanted, to the last bit, and the guards untouched.
  void expectRange(const std::vector<T>& wanted, i32 first, i32 last, const char* what) {
    for (i32 i = first; i < last; ++i) {
      const T& value = wanted[static_cast<size_t>(i)];
      ASSERT_EQ(std::memcmp(data() + i, &value, sizeof value), 0)
          << what << " at " << i << ": " << +data()[i] << " instead of " << +value;
    }
    expectGuards(what);
  }

  void expectGuards(const char* what) const {
    const auto isFill = [](u8 byte) { return byte == kFill; };
    const auto front = bytes_.begin() + static_cast<i64>((kGuard + 1) * sizeof(T));
    const auto back = front + static_cast<i64>(size_ * sizeof(T));
    ASSERT_TRUE(std::all_of(bytes_.begin(), front, isFill)) << what << ": in front";
    ASSERT_TRUE(std::all_of(back, bytes_.end(), isFill)) << what << ": behind";
  }

 private:
  static constexpr u8 kFill = 0xA5;
  static constexpr size_t kGuard = 64;

  std::vector<u8> bytes_;
  size_t size_;
};

// Random values of every magnitude, and the extreme ones among them.
class Values {
 public:
  explicit Values(u32 seed) : random_(seed) {}

  u32 bits() { return static_cast<u32>(random_()); }
  i32 below(i32 limit) { return static_cast<i32>(bits() % static_cast<u32>(limit)); }

  template <class T>
  T one() {
    if constexpr (std::is_same_v<T, f32>) {
      static constexpr f32 kExtremes[] = {0.0f, -0.0f, 1e-40f, -1e-40f, 0.5f,  -0.5f,
                                          1.5f, 2.5f,  255.5f, 65535.f, 1e30f, -1e30f};
      if (below(8) == 0) return kExtremes[below(12)];
      const f32 unit = static_cast<f32>(bits()) / 2147483648.0f - 1.0f;
      return std::ldexp(unit, below(24));
    } else {
      using Signed = std::make_signed_t<T>;
      if (below(8) == 0) {
        static constexpr T kExtremes[] = {0,
                                          1,
                                          std::numeric_limits<T>::min(),
                                          std::numeric_limits<T>::max(),
                                          static_cast<T>(-1),
                                          static_cast<T>(std::numeric_limits<Signed>::min())};
        return kExtremes[below(6)];
      }
      const auto whole = static_cast<Signed>(bits());
      return static_cast<T>(whole >> below(8 * static_cast<i32>(sizeof(T))));
    }
  }

  template <class T>
  std::vector<T> some(i32 count) {
    std::vector<T> values(static_cast<size_t>(count));
    for (T& value : values) value = one<T>();
    return values;
  }

 private:
  std::mt19937 random_;
};

// The low bits of a sum, as a signed number.
constexpr i16 wrap16(i64 v) {
  return static_cast<i16>(static_cast<u64>(v) & 0xFFFF);
}
constexpr i32 wrap32(i64 v) {
  return static_cast<i32>(static_cast<u64>(v) & 0xFFFFFFFF);
}
template <class L>
constexpr L wrapTo(i64 v) {
  return sizeof(L) == 2 ? static_cast<L>(wrap16(v)) : static_cast<L>(wrap32(v));
}

// Division by a power of two, towards minus infinity.
constexpr i64 floorDivide(i64 v, i64 by) {
  return v >= 0 ? v / by : -((-v + by - 1) / by);
}

}  // namespace wbx::test
