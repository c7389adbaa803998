#include "progress.h"

#include <cstdio>
#include <utility>

namespace wbx::tool {

Progress::Progress(std::string name, uint32_t total) : name_(std::move(name)), total_(total) {
  show(0);
}

Progress::~Progress() {
  std::fprintf(stderr, "\r\033[K");
  std::fflush(stderr);
}

void Progress::show(uint32_t done) const {
  const unsigned percent = static_cast<unsigned>(uint64_t{done} * 100 / total_);
  std::fprintf(stderr, "\r\033[K%s: tile %u of %u (%u %%)", name_.c_str(), done, total_, percent);
  std::fflush(stderr);
}

}  // namespace wbx::tool
