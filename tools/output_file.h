#ifndef WBX_TOOLS_OUTPUT_FILE_H
#define WBX_TOOLS_OUTPUT_FILE_H

#include <cstddef>
#include <cstdio>
#include <filesystem>
#include <string>

#include "outcome.h"

namespace wbx::tool {

// A file that appears whole or not at all: it is written under another name beside the wanted one
// and renamed by commit(). A file that it replaces hands on its permissions; a symbolic link is
// followed and stays. The standard output ("-"), devices and pipes are written directly.
class OutputFile {
 public:
  OutputFile() = default;
  ~OutputFile();
  OutputFile(const OutputFile&) = delete;
  OutputFile& operator=(const OutputFile&) = delete;

  Outcome open(const std::string& path);

  // Once a write fails, the following ones do nothing, and commit() reports it.
  bool write(const void* data, size_t size);

  // Closes the file and gives it its name.
  Outcome commit();

  const std::string& name() const { return name_; }

 private:
  Outcome failure(int error) const;

  std::FILE* file_ = nullptr;
  std::string name_;                 // for messages
  std::filesystem::path target_;     // where the file goes
  std::filesystem::path temporary_;  // empty if it is written directly
  bool replaces_ = false;
  int error_ = 0;
};

}  // namespace wbx::tool

#endif
