// The inner loops of the engines, each instruction set by itself, on rows of one width.
#include <benchmark/benchmark.h>
#include <memory>

#include "bench_input.h"
#include "engine/kernel53.h"
#include "engine/kernels.h"
#include "engine/synthesis.h"
#include "engine16/kernel97_float.h"
#include "engine8/kernel97_fixed.h"

namespace wbx::bench {
namespace {

constexpr i32 kWidth = 2048;

// Rows of some type; values as small as those of a picture.
template <class T>
struct Rows {
  explicit Rows(size_t count, i32 width = kWidth)
      : rows(count, std::vector<T>(static_cast<size_t>(width))) {
    u32 noise = 1;
    for (auto& row : rows) {
      for (T& value : row) {
        noise = noise * 1103515245 + 12345;
        value = static_cast<T>(static_cast<i32>(noise >> 24) - 128);
      }
    }
  }
  T* operator[](size_t k) { return rows[k].data(); }

  std::vector<std::vector<T>> rows;
};

template <class Body>
void add(const Kernels& set, const char* name, Body body) {
  const std::string full = std::string(name) + "/" + set.name;
  benchmark::RegisterBenchmark(full.c_str(), [body](benchmark::State& state) {
    for (auto _ : state) {
      body();
      benchmark::ClobberMemory();
    }
    state.SetItemsProcessed(state.iterations() * kWidth);
  });
}

template <class T>
auto rowsOf(size_t count, i32 width = kWidth) {
  return std::make_shared<Rows<T>>(count, width);
}

void addTransfers(const Kernels& set) {
  const auto quads = rowsOf<u32>(1);
  const auto narrow = rowsOf<i16>(4);
  const auto wide = rowsOf<i32>(4);
  const auto floats = rowsOf<f32>(4);
  constexpr i32 kColumns = kWidth / 4;
  const auto of = [](auto& rows) { return std::array{rows[0], rows[1], rows[2], rows[3]}; };
  add(set, "transfer/fixed",
      [=, &set] { set.transferFixed((*quads)[0], kColumns, 0, 1024, of(*narrow).data()); });
  add(set, "transfer/integer",
      [=, &set] { set.transferInteger((*quads)[0], kColumns, of(*wide).data()); });
  add(set, "transfer/float",
      [=, &set] { set.transferFloat((*quads)[0], kColumns, 0, 0.25, of(*floats).data()); });
}

void addBytes(const Kernels& set) {
  const auto in = rowsOf<i16>(3);
  const auto out = rowsOf<u8>(3);
  const auto pixels = rowsOf<u8>(1, 4 * kWidth);
  const auto colours = [&](const char* name, auto kernel) {
    add(set, name,
        [=] { kernel((*in)[0], (*in)[1], (*in)[2], kWidth, (*out)[0], (*out)[1], (*out)[2]); });
  };
  add(set, "write/bytes53", [=, &set] { set.bytes53((*in)[0], kWidth, (*out)[0]); });
  add(set, "write/bytes97", [=, &set] { set.bytes97((*in)[0], kWidth, (*out)[0]); });
  colours("write/colours53Bytes", set.colours53Bytes);
  colours("write/colours97BytesNarrow", set.colours97BytesNarrow);
  colours("write/colours97BytesWide", set.colours97BytesWide);
  add(set, "write/parkInBytes", [=, &set] { set.parkInBytes((*in)[0], kWidth, 1, (*pixels)[0]); });
  add(set, "write/unparkBytes",
      [=, &set] { set.unparkBytes((*pixels)[0], kWidth, (*in)[1], (*in)[2]); });
  add(set, "write/joinBytes",
      [=, &set] { set.joinBytes((*out)[0], (*out)[1], (*out)[2], kWidth, (*pixels)[0]); });
}

void addWords(const Kernels& set) {
  const auto in = rowsOf<i32>(3);
  const auto floats = rowsOf<f32>(1);
  const auto out = rowsOf<u16>(3);
  const auto pixels = rowsOf<u8>(1, 8 * kWidth);
  add(set, "write/words53", [=, &set] { set.words53((*in)[0], kWidth, 2048, 4095, (*out)[0]); });
  add(set, "write/words97",
      [=, &set] { set.words97((*floats)[0], kWidth, 2048, 4095, (*out)[0]); });
  add(set, "write/roundSmall", [=, &set] { set.roundSmall((*floats)[0], kWidth, (*in)[0]); });
  add(set, "write/colours53Words", [=, &set] {
    set.colours53Words((*in)[0], (*in)[1], (*in)[2], kWidth, 2048, 4095, (*out)[0], (*out)[1],
                       (*out)[2]);
  });
  add(set, "write/colours97Words", [=, &set] {
    set.colours97Words((*floats)[0], (*in)[1], (*in)[2], kWidth, 2048, 4095, (*out)[0], (*out)[1],
                       (*out)[2]);
  });
  add(set, "write/parkInWords", [=, &set] { set.parkInWords((*in)[0], kWidth, 1, (*pixels)[0]); });
  add(set, "write/unparkWords",
      [=, &set] { set.unparkWords((*pixels)[0], kWidth, (*in)[1], (*in)[2]); });
  add(set, "write/joinWords",
      [=, &set] { set.joinWords((*out)[0], (*out)[1], (*out)[2], kWidth, (*pixels)[0]); });
}

// One whole level of the wavelet, from rows of its bands to rows that go nowhere.
template <class K>
void synthesisLevel(benchmark::State& state, const Kernels& set) {
  using Lane = typename K::Lane;
  const auto side = static_cast<u16>(state.range(0));
  const LevelShape shape(Rect{0, 0, side, side});
  Workspace<Lane> space;
  const auto carve = [&](Carver carver) {
    Lane* scratch = carver.take<Lane>(Workspace<Lane>::scratchLanes(side));
    space.carve(carver, side, scratch);
    return carver.used();
  };
  std::vector<u8> memory(static_cast<size_t>(carve(Carver(nullptr))));
  (void)carve(Carver(memory.data()));
  Rows<Lane> noise(side, side);
  forceKernels(&set);
  for (auto _ : state) {
    Synthesis<K> synthesis(shape, space);
    for (i32 y = 0; y < side; ++y) {
      benchmark::DoNotOptimize(synthesis.nextRow([&](i32 planar) {
        const Lane* low = noise[static_cast<size_t>(planar)];
        return PlanarRow<Lane>{low, low + shape.lowColumns(), side, 0};
      }));
    }
  }
  forceKernels(nullptr);
  state.SetItemsProcessed(state.iterations() * side * side);
}

template <class K>
void addSynthesis(const Kernels& set, const char* name) {
  const std::string full = std::string("synthesis/") + name + "/" + set.name;
  benchmark::RegisterBenchmark(full.c_str(),
                               [&set](benchmark::State& state) { synthesisLevel<K>(state, set); })
      ->RangeMultiplier(4)
      ->Range(128, 2048)
      ->Unit(benchmark::kMicrosecond);
}

}  // namespace

void registerKernelBenchmarks() {
  for (const Kernels* const* set = availableKernels(); *set != nullptr; ++set) {
    addTransfers(**set);
    addBytes(**set);
    addWords(**set);
    addSynthesis<Kernel53<i16>>(**set, "53i16");
    addSynthesis<Kernel53<i32>>(**set, "53i32");
    addSynthesis<Kernel97Fixed>(**set, "97fixed");
    addSynthesis<Kernel97Float>(**set, "97float");
  }
}

}  // namespace wbx::bench
