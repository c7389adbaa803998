#include "byte_source.h"

#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <limits>
#include <system_error>
#include <utility>

#include "platform.h"

namespace wbx::tool {

namespace fs = std::filesystem;

namespace {

constexpr size_t kMostBytes = std::numeric_limits<int32_t>::max();
constexpr size_t kWindow = size_t{1} << 14;

Outcome cannotOpen(const std::string& path, int error) {
  return Outcome::cannotOpen(path, std::generic_category().message(error));
}

}  // namespace

ByteSource::ByteSource(std::vector<uint8_t> bytes)
    : size_(bytes.size()), memory_(std::move(bytes)) {}

ByteSource::~ByteSource() {
  if (file_ != nullptr) std::fclose(file_);
}

Outcome ByteSource::open(const std::string& path) {
  if (path == "-") return readWhole(stdin, "standard input");
  std::error_code error;
  const fs::file_status status = fs::status(path, error);
  if (fs::is_directory(status)) return cannotOpen(path, EISDIR);
  std::FILE* const file = std::fopen(path.c_str(), "rb");
  if (file == nullptr) return cannotOpen(path, errno);
  if (!fs::is_regular_file(status)) {
    Outcome outcome = readWhole(file, path);
    std::fclose(file);
    return outcome;
  }
  file_ = file;
  size_ = fs::file_size(path, error);
  return error ? cannotOpen(path, error.value()) : Outcome{};
}

Outcome ByteSource::readWhole(std::FILE* stream, const std::string& name) {
  constexpr size_t kStep = size_t{1} << 16;
  size_t size = 0;
  for (;;) {
    if (memory_.size() - size < kStep) memory_.resize(memory_.size() * 2 + kStep);
    const size_t count = std::fread(memory_.data() + size, 1, kStep, stream);
    size += count;
    if (size > kMostBytes) return Outcome::image(name + ": more than 2147483647 bytes");
    if (count < kStep) break;
  }
  memory_.resize(size);
  size_ = size;
  if (std::ferror(stream) != 0) return Outcome::image(name + ": cannot be read");
  return size > 0 ? Outcome{} : Outcome::image(name + ": empty");
}

bool ByteSource::fillWindow(uint64_t offset) {
  memory_.resize(kWindow);
  const size_t count = platform::seekTo(file_, offset)
                           ? std::fread(memory_.data(), 1, memory_.size(), file_)
                           : size_t{0};
  memory_.resize(count);
  windowOffset_ = offset;
  return count > 0;
}

std::vector<uint8_t> ByteSource::read(uint64_t offset, size_t count) {
  std::vector<uint8_t> bytes;
  while (bytes.size() < count && offset < size_) {
    const bool inWindow = offset >= windowOffset_ && offset - windowOffset_ < memory_.size();
    if (!inWindow && (isInMemory() || !fillWindow(offset))) break;
    const auto from = memory_.begin() + static_cast<std::ptrdiff_t>(offset - windowOffset_);
    const auto left = static_cast<size_t>(memory_.end() - from);
    const size_t piece = std::min(left, count - bytes.size());
    bytes.insert(bytes.end(), from, from + static_cast<std::ptrdiff_t>(piece));
    offset += piece;
  }
  return bytes;
}

}  // namespace wbx::tool
