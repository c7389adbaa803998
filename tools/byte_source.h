#ifndef WBX_TOOLS_BYTE_SOURCE_H
#define WBX_TOOLS_BYTE_SOURCE_H

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <string>
#include <vector>

#include "outcome.h"

namespace wbx::tool {

// The bytes of an input, read at any place: a regular file where it lies, or what came from the
// standard input, a pipe or a device, in memory.
class ByteSource {
 public:
  ByteSource() = default;
  explicit ByteSource(std::vector<uint8_t> bytes);
  ~ByteSource();
  ByteSource(const ByteSource&) = delete;
  ByteSource& operator=(const ByteSource&) = delete;

  // "-" is the standard input. The failure says why a file cannot be opened.
  Outcome open(const std::string& path);

  bool isInMemory() const { return file_ == nullptr; }
  const std::vector<uint8_t>& memory() const { return memory_; }
  uint64_t size() const { return size_; }

  // Up to `count` bytes from `offset` on; fewer where the source ends.
  std::vector<uint8_t> read(uint64_t offset, size_t count);

 private:
  Outcome readWhole(std::FILE* stream, const std::string& name);
  bool fillWindow(uint64_t offset);

  std::FILE* file_ = nullptr;
  uint64_t size_ = 0;
  std::vector<uint8_t> memory_;  // all of it, or of a file the last piece that was read
  uint64_t windowOffset_ = 0;
};

}  // namespace wbx::tool

#endif
