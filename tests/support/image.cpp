#include "support/image.h"

#include <algorithm>
#include <cstring>
#include <fstream>
#include <iterator>

namespace wbx::test {

namespace {

int32_t seekSource(void* user, uint32_t offset) {
  auto* source = static_cast<ByteSource*>(user);
  if (source->seeking == ByteSource::Seeking::kRefused) return -1;
  source->position = offset;
  return 0;
}

int32_t readSource(void* buffer, uint32_t count, void* user) {
  auto* source = static_cast<ByteSource*>(user);
  ++source->reads;
  if (source->onRead) source->onRead();
  const size_t from = std::min(source->position, source->bytes.size());
  const size_t delivered = std::min<size_t>(count, source->bytes.size() - from);
  if (delivered > 0) std::memcpy(buffer, source->bytes.data() + from, delivered);
  source->position = from + delivered;
  return static_cast<int32_t>(delivered);
}

void closeSource(void* user) {
  ++static_cast<ByteSource*>(user)->closes;
}

ByteSource::Seeking seekingOf(Way way) {
  if (way == Way::kSeekableSource) return ByteSource::Seeking::kWorks;
  return way == Way::kStreamingSource ? ByteSource::Seeking::kAbsent
                                      : ByteSource::Seeking::kRefused;
}

}  // namespace

Bytes readFile(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

CustomCallbacks ByteSource::callbacks() const {
  return {seeking == Seeking::kAbsent ? nullptr : seekSource, readSource, closeSource};
}

const char* nameOf(Way way) {
  switch (way) {
    case Way::kFile:
      return "file";
    case Way::kMemory:
      return "memory";
    case Way::kSeekableSource:
      return "seekable source";
    case Way::kStreamingSource:
      return "source without seek";
    case Way::kRefusingSource:
      return "source that refuses to seek";
  }
  return "?";
}

Image::Image(WBX_Handle handle) : handle_(handle) {
  if (handle == nullptr) error_ = WBX_getLastError();
}

Image::Image(Image&& other) noexcept
    : handle_(other.handle_),
      error_(other.error_),
      memory_(std::move(other.memory_)),
      source_(std::move(other.source_)) {
  other.handle_ = nullptr;
}

Image::~Image() {
  if (handle_ != nullptr) WBX_Close(handle_);
}

Image Image::openFile(const std::string& path) {
  return Image(WBX_OpenFile(path.c_str()));
}

Image Image::openMemory(Bytes bytes) {
  Image image(WBX_OpenMemory(bytes.data(), static_cast<int32_t>(bytes.size())));
  image.memory_ = std::move(bytes);  // moving a vector keeps its storage where it is
  return image;
}

Image Image::openSource(ByteSource& source) {
  const CustomCallbacks callbacks = source.callbacks();
  return Image(WBX_OpenCustom(&source, &callbacks));
}

Image Image::open(const std::string& path, Way way) {
  if (way == Way::kFile) return openFile(path);
  if (way == Way::kMemory) return openMemory(readFile(path));
  auto source = std::make_unique<ByteSource>(readFile(path), seekingOf(way));
  Image image = openSource(*source);
  image.source_ = std::move(source);
  return image;
}

uint32_t Image::neededSize(const std::string& options, uint32_t pitch) const {
  uint8_t dummy[64] = {};
  void* buffer = dummy;
  uint32_t size = 1;
  const int32_t code = WBX_Decode(handle_, &buffer, &size, options.c_str(), &pitch);
  return code == WBX_OK || code == WBX_ERROR_BUFFER_SIZE ? size : 0;
}

Picture Image::decode(const std::string& options, uint32_t pitch) const {
  Picture picture;
  const uint32_t needed = neededSize(options, pitch);
  GuardedBuffer buffer(needed);
  void* data = buffer.data();
  picture.size = needed;
  picture.pitch = pitch;
  picture.code = WBX_Decode(handle_, &data, &picture.size, options.c_str(), &picture.pitch);
  picture.guardsIntact = buffer.guardsIntact() && data == buffer.data();
  picture.bytes.assign(buffer.bytes().begin(), buffer.bytes().end());
  return picture;
}

Picture Image::decodeInternal(const std::string& options) const {
  Picture picture;
  void* data = nullptr;
  picture.code = WBX_Decode(handle_, &data, &picture.size, options.c_str(), &picture.pitch);
  if (picture.code != WBX_OK || data == nullptr) return picture;
  const auto* bytes = static_cast<const uint8_t*>(data);
  picture.bytes.assign(bytes, bytes + picture.size);
  return picture;
}

}  // namespace wbx::test
