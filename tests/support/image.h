#ifndef WBX_TESTS_SUPPORT_IMAGE_H
#define WBX_TESTS_SUPPORT_IMAGE_H

#include <cstdint>
#include <functional>
#include <memory>
#include <span>
#include <string>
#include <vector>

#include "wbx.h"

#include "support/guarded_buffer.h"

namespace wbx::test {

using Bytes = std::vector<uint8_t>;

Bytes readFile(const std::string& path);

// A custom source over bytes in memory, with what an application's own source may or may not do.
struct ByteSource {
  enum class Seeking { kWorks, kAbsent, kRefused };

  ByteSource(Bytes content, Seeking kind) : bytes(std::move(content)), seeking(kind) {}
  ByteSource(const ByteSource&) = delete;
  ByteSource& operator=(const ByteSource&) = delete;
  CustomCallbacks callbacks() const;

  Bytes bytes;
  Seeking seeking;
  size_t position = 0;
  int reads = 0;
  int closes = 0;
  std::function<void()> onRead;
};

// The ways to the same bytes.
enum class Way { kFile, kMemory, kSeekableSource, kStreamingSource, kRefusingSource };
inline constexpr Way kAllWays[] = {Way::kFile, Way::kMemory, Way::kSeekableSource,
                                   Way::kStreamingSource, Way::kRefusingSource};
const char* nameOf(Way way);

struct Picture {
  int32_t code = WBX_OK;
  uint32_t size = 0;
  uint32_t pitch = 0;
  Bytes bytes;
  bool guardsIntact = true;
};

// An open image; closes itself.
class Image {
 public:
  static Image openFile(const std::string& path);
  static Image openMemory(Bytes bytes);
  static Image openSource(ByteSource& source);
  static Image open(const std::string& path, Way way);

  Image(Image&& other) noexcept;
  Image& operator=(Image&&) = delete;
  ~Image();

  explicit operator bool() const { return handle_ != nullptr; }
  WBX_Handle handle() const { return handle_; }
  // Of the open that failed.
  int32_t error() const { return error_; }

  // Into a guarded buffer of just the size that the library asks for.
  Picture decode(const std::string& options = {}, uint32_t pitch = 0) const;
  Picture decodeInternal(const std::string& options = {}) const;
  // What a decode would need; nothing is decoded.
  uint32_t neededSize(const std::string& options, uint32_t pitch) const;

 private:
  explicit Image(WBX_Handle handle);

  WBX_Handle handle_;
  int32_t error_ = WBX_OK;
  Bytes memory_;
  std::unique_ptr<ByteSource> source_;
};

}  // namespace wbx::test

#endif
