#include "image.h"

#include <cstdio>
#include <limits>

namespace wbx::tool {

namespace {

constexpr size_t kMostBytes = std::numeric_limits<int32_t>::max();

Outcome readStandardInput(std::vector<unsigned char>& bytes) {
  constexpr size_t kStep = size_t{1} << 16;
  size_t size = 0;
  for (;;) {
    if (bytes.size() - size < kStep) bytes.resize(bytes.size() * 2 + kStep);
    const size_t count = std::fread(bytes.data() + size, 1, kStep, stdin);
    size += count;
    if (size > kMostBytes) return Outcome::image("standard input: more than 2147483647 bytes");
    if (count < kStep) break;
  }
  bytes.resize(size);
  if (std::ferror(stdin) != 0) return Outcome::image("standard input: cannot be read");
  return size > 0 ? Outcome{} : Outcome::image("standard input: empty");
}

}  // namespace

Image::~Image() {
  if (handle_ != nullptr) WBX_Close(handle_);
}

Outcome Image::openStandardInput() {
  if (Outcome outcome = readStandardInput(bytes_); outcome.failed()) return outcome;
  handle_ = WBX_OpenMemory(bytes_.data(), static_cast<int32_t>(bytes_.size()));
  return {};
}

Outcome Image::open(const Arguments& arguments) {
  name_ = arguments.inputName();
  if (arguments.input == "-") {
    if (Outcome outcome = openStandardInput(); outcome.failed()) return outcome;
  } else {
    handle_ = WBX_OpenFile(arguments.input.c_str());
  }
  if (handle_ == nullptr) return Outcome::library(name_, WBX_getLastError());
  const int32_t code = WBX_GetInfoEx(handle_, &info_);
  return code == WBX_OK ? Outcome{} : Outcome::library(name_, code);
}

Outcome Image::select(const std::optional<TileRange>& range) {
  if (!range) {
    const int32_t code = WBX_SelectTiles(handle_, -1, -1, 1);
    return code == WBX_OK ? Outcome{} : Outcome::library(name_, code);
  }
  int32_t code = WBX_SelectTiles(handle_, -1, -1, 0);
  if (code == WBX_OK) code = WBX_SelectTiles(handle_, range->first, range->last, 1);
  if (code == WBX_ERROR_TILE) {
    return Outcome::usage(name_ + ": " + WBX_getErrorStr(code) + "; its tiles are 0 to " +
                          std::to_string(tiles() - 1));
  }
  return code == WBX_OK ? Outcome{} : Outcome::library(name_, code);
}

}  // namespace wbx::tool
