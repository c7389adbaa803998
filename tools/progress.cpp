#include "progress.h"

#include <cstdio>

#include "text.h"

namespace wbx::tool {

Progress::Progress(const std::string& name, uint64_t total)
    : name_(printable(name)), total_(total) {
  show(0);
}

Progress::~Progress() {
  std::fprintf(stderr, "\r\033[K");
  std::fflush(stderr);
}

void Progress::show(uint64_t done) const {
  std::fprintf(stderr, "\r\033[K%s: tile %s of %s (%s %%)", name_.c_str(),
               std::to_string(done).c_str(), std::to_string(total_).c_str(),
               std::to_string(done * 100 / total_).c_str());
  std::fflush(stderr);
}

}  // namespace wbx::tool
