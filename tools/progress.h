#ifndef WBX_TOOLS_PROGRESS_H
#define WBX_TOOLS_PROGRESS_H

#include <cstdint>
#include <string>

namespace wbx::tool {

// One line on standard error that is written over and over, and wiped at the end.
class Progress {
 public:
  Progress(std::string name, uint32_t total);
  ~Progress();
  Progress(const Progress&) = delete;
  Progress& operator=(const Progress&) = delete;

  void show(uint32_t done) const;

 private:
  std::string name_;
  uint32_t total_;
};

}  // namespace wbx::tool

#endif
