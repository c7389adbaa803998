// Whole pictures, and the open that reads all headers and packet headers.
#include <benchmark/benchmark.h>

#include "wbx.h"

#include "bench_input.h"

namespace wbx::bench {
namespace {

WBX_Handle openInput() {
  const auto& file = inputFile();
  return WBX_OpenMemory(file.data(), static_cast<i32>(file.size()));
}

void openAlone(benchmark::State& state) {
  for (auto _ : state) {
    WBX_Handle handle = openInput();
    if (handle == nullptr) {
      state.SkipWithError(WBX_getLastErrorStr());
      return;
    }
    WBX_Close(handle);
  }
  state.SetBytesProcessed(state.iterations() * static_cast<i64>(inputFile().size()));
}

void picture(benchmark::State& state) {
  const std::string options = "res_level=" + std::to_string(state.range(0));
  i64 bytes = 0;
  for (auto _ : state) {
    WBX_Handle handle = openInput();
    void* pixels = nullptr;
    u32 size = 0;
    if (handle == nullptr ||
        WBX_Decode(handle, &pixels, &size, options.c_str(), nullptr) != WBX_OK) {
      state.SkipWithError(WBX_getLastErrorStr());
      return;
    }
    WBX_Close(handle);
    bytes += size;
  }
  state.SetBytesProcessed(bytes);
}

}  // namespace

void registerPictureBenchmarks() {
  benchmark::RegisterBenchmark("open", openAlone)->Unit(benchmark::kMillisecond);
  benchmark::RegisterBenchmark("picture/res_level", picture)
      ->DenseRange(0, 3)
      ->Unit(benchmark::kMillisecond);
}

}  // namespace wbx::bench
