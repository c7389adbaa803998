// The codestream that the benchmarks take their work from.
#pragma once

#include <string>
#include <vector>

#include "base/types.h"

namespace wbx::bench {

// A whole file, read once; its name comes from the command line.
const std::vector<u8>& inputFile();
void setInputFile(const std::string& path);

// Each folder of stages registers its own.
void registerBlockBenchmarks();
void registerKernelBenchmarks();
void registerPictureBenchmarks();

}  // namespace wbx::bench
