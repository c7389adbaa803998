// Runs a fuzz target over the files of a folder, without a fuzzer and with any compiler.
#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <vector>

#include "base/types.h"

extern "C" int LLVMFuzzerTestOneInput(const wbx::u8* data, size_t size);

namespace {

void replay(const std::filesystem::path& path) {
  std::printf("%s\n", path.filename().string().c_str());
  std::fflush(stdout);
  std::ifstream file(path, std::ios::binary);
  const std::vector<char> bytes{std::istreambuf_iterator<char>(file), {}};
  LLVMFuzzerTestOneInput(reinterpret_cast<const wbx::u8*>(bytes.data()), bytes.size());
}

}  // namespace

int main(int count, char** arguments) {
  std::vector<std::filesystem::path> files;
  for (int i = 1; i < count; ++i) {
    for (const auto& entry : std::filesystem::directory_iterator(arguments[i]))
      files.push_back(entry.path());
  }
  if (files.empty()) {
    std::fprintf(stderr, "usage: replay FOLDER...\n");
    return 2;
  }
  std::sort(files.begin(), files.end());
  for (const auto& path : files) replay(path);
  return 0;
}
