// wbx-bench: benchmarks per stage and of whole pictures: wbx-bench FILE [--benchmark_...].
#include <benchmark/benchmark.h>
#include <cstdio>
#include <fstream>
#include <iterator>

#include "bench_input.h"

namespace wbx::bench {
namespace {

std::vector<u8>& input() {
  static std::vector<u8> bytes;
  return bytes;
}

}  // namespace

const std::vector<u8>& inputFile() {
  return input();
}

void setInputFile(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  input().assign(std::istreambuf_iterator<char>(in), {});
}

}  // namespace wbx::bench

int main(int count, char** words) {
  benchmark::Initialize(&count, words);
  const char* path = count > 1 ? words[1] : WBX_BENCH_DEFAULT_FILE;
  wbx::bench::setInputFile(path);
  if (wbx::bench::inputFile().empty()) {
    std::fprintf(stderr, "usage: wbx-bench FILE [--benchmark_filter=...]\n%s cannot be read\n",
                 path);
    return 2;
  }
  wbx::bench::registerBlockBenchmarks();
  wbx::bench::registerKernelBenchmarks();
  wbx::bench::registerPictureBenchmarks();
  benchmark::RunSpecifiedBenchmarks();
  return 0;
}
