#ifndef WBX_TOOLS_PROGRESS_H
#define WBX_TOOLS_PROGRESS_H

#include <cstdint>
#include <string>

namespace wbx::tool {

// One line on standard error that is written over and over, and wiped at the end.
class Progress {
 public:
  Progress(const std::string& name, uint64_t total);
  ~Progress();
  Progress(const Progress&) = delete;
  Progress& operator=(const Progress&) = delete;

  void show(uint64_t done) const;

 private:
  std::string name_;
  uint64_t total_;
};

}  // namespace wbx::tool

#endif
