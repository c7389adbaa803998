#include "robust/support.h"

#include <algorithm>
#include <atomic>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <gtest/gtest.h>
#include <iterator>
#include <string_view>

#include "base/memory.h"

namespace wbx::test::robust {
namespace {

std::atomic<i64> requestCount, refusedCount, aliveCount, byteCount, zeroedCount;
std::atomic<i64> firstRefused, endRefused;

bool mayAllocate(size_t size, bool zeroed) {
  const i64 number = requestCount++;
  if (number >= firstRefused && number < endRefused) {
    ++refusedCount;
    return false;
  }
  ++aliveCount;
  (zeroed ? zeroedCount : byteCount) += static_cast<i64>(size);
  return true;
}

void freed() {
  --aliveCount;
}

constexpr MemoryWatch kWatches[] = {{&mayAllocate, &freed, false}, {&mayAllocate, &freed, true}};
constexpr i64 kNever = i64{1} << 62;

void put32(Bytes& to, size_t value) {
  for (int shift = 24; shift >= 0; shift -= 8) to.push_back(static_cast<u8>(value >> shift));
}

void putText(Bytes& to, std::string_view text) {
  to.insert(to.end(), text.begin(), text.end());
}

void putBox(Bytes& to, std::string_view type, std::string_view payload) {
  put32(to, payload.size() + 8);
  putText(to, type);
  putText(to, payload);
}

void putMetadata(Bytes& to) {
  using namespace std::literals;
  putBox(to, "xml ", "<a>some text of more than a few letters, to be read as a whole</a>"sv);
  putBox(to, "url ", "\0\0\0\0http://localhost/\0"sv);
  putBox(to, "uuid", "0123456789abcdef and what belongs to it"sv);
  putBox(to, "uuid", "\xB1\x4B\xF8\xBD\x08\x3D\x4B\x43\xA5\xAE\x8C\xD7\xD5\xA6\xCE\x03 places"sv);
  putBox(to, "pclr", "\0\2\3\7\7\7\0\0\0\xFF\xFF\xFF"sv);
  putBox(to, "free", "passed over"sv);
  putBox(to, "cdef", "\0\1\0\0\0\0\0\1"sv);
}

}  // namespace

Bytes dataFile(const std::string& name) {
  std::ifstream in(std::string(WBX_ROBUST_DATA) + "/" + name, std::ios::binary);
  EXPECT_TRUE(in.good()) << name;
  return {std::istreambuf_iterator<char>(in), {}};
}

Bytes fileOfAllBoxes(size_t* behind) {
  using namespace std::literals;
  Bytes file;
  putBox(file, "jP  ", "\x0D\x0A\x87\x0A"sv);
  putBox(file, "ftyp", "jp2 \0\0\0\0jp2 "sv);
  put32(file, 8 + 22 + 35);
  putText(file, "jp2h");
  putBox(file, "ihdr", "\0\0\0\x15\0\0\0\x21\0\1\7\7\0\0"sv);
  putBox(file, "colr", "\2\0\0an ICC profile, as it were"sv.substr(0, 27));
  putMetadata(file);
  const Bytes stream = dataFile("comments.j2k");
  put32(file, stream.size() + 8);
  putText(file, "jp2c");
  file.insert(file.end(), stream.begin(), stream.end());
  if (behind != nullptr) *behind = file.size();
  putMetadata(file);
  return file;
}

const std::vector<std::string>& smallFiles() {
  static const std::vector<std::string> kNames = {
      "grey_2x3.j2k",        "grey_noise.j2k",    "irr_420.j2k",         "tiles_1x1.j2k",
      "bits_12_422.j2k",     "irr_bits_16.j2k",   "mode_all_layers.j2k", "order_pcrl_420.j2k",
      "precincts_small.j2k", "parts_plt_tlm.j2k", "roi_grey.j2k",        "irr_tiles.j2k",
      "rgba_plain.j2k",      "block_4x4.j2k"};
  return kNames;
}

std::vector<NamedFile> allSmallFiles() {
  std::vector<NamedFile> files;
  for (const std::string& name : smallFiles()) files.push_back({name, dataFile(name)});
  files.push_back({"all_boxes.jp2", fileOfAllBoxes()});
  return files;
}

bool fullRun() {
  const char* value = std::getenv("WBX_FULL_ROBUST");
  return value != nullptr && *value == '1';
}

CountedMemory::CountedMemory(Refuse refuse, i64 failing, bool singleRecords) {
  requestCount = refusedCount = aliveCount = byteCount = zeroedCount = 0;
  firstRefused = refuse == Refuse::kNothing ? kNever : failing;
  endRefused = refuse == Refuse::kOne ? failing + 1 : kNever;
  watchMemory(&kWatches[singleRecords ? 1 : 0]);
}

CountedMemory::~CountedMemory() {
  watchMemory(nullptr);
}

void CountedMemory::relent() {
  firstRefused = endRefused = kNever;
}

i64 CountedMemory::requests() const {
  return requestCount;
}
i64 CountedMemory::refused() const {
  return refusedCount;
}
i64 CountedMemory::alive() const {
  return aliveCount;
}
i64 CountedMemory::bytes() const {
  return byteCount + zeroedCount;
}
i64 CountedMemory::zeroedBytes() const {
  return zeroedCount;
}

Picture decodeExternal(WBX_Handle handle, const char* options, u8 fill) {
  // A buffer of one byte is too small, and the call tells the right size.
  u8 probe = 0;
  void* buffer = &probe;
  u32 size = 1, pitch = 0;
  Picture picture;
  picture.code = WBX_Decode(handle, &buffer, &size, options, &pitch);
  if (picture.code != WBX_ERROR_BUFFER_SIZE && picture.code != WBX_OK) return picture;
  picture.bytes.assign(size, fill);
  buffer = picture.bytes.data();
  picture.code = WBX_Decode(handle, &buffer, &size, options, nullptr);
  return picture;
}

Picture decodeInternal(WBX_Handle handle, const char* options) {
  void* buffer = nullptr;
  u32 size = 0;
  Picture picture;
  picture.code = WBX_Decode(handle, &buffer, &size, options, nullptr);
  if (picture.code != WBX_OK) return picture;
  const u8* bytes = static_cast<const u8*>(buffer);
  picture.bytes.assign(bytes, bytes + size);
  return picture;
}

i32 walkMetadata(WBX_Handle handle) {
  for (i32 index = 0;;) {
    u32 kind = 0, length = 0;
    const void* data = nullptr;
    const i32 code = WBX_GetMetaData(handle, &index, &kind, &data, &length);
    if (code != WBX_OK) return code;
    if (data == nullptr) return WBX_OK;
    const u8* bytes = static_cast<const u8*>(data);
    const Bytes copy(bytes, bytes + length);
  }
}

WBX_Handle openBytes(const Bytes& file) {
  return WBX_OpenMemory(file.data(), static_cast<i32>(file.size()));
}

WBX_Handle Source::open() {
  CustomCallbacks callbacks = {};
  callbacks.read = [](void* buffer, u32 count, void* user) {
    return static_cast<Source*>(user)->read(static_cast<u8*>(buffer), count);
  };
  callbacks.close = [](void* user) { ++static_cast<Source*>(user)->closes; };
  if (seekable) {
    callbacks.seek = [](void* user, u32 offset) {
      return static_cast<Source*>(user)->seek(offset);
    };
  }
  handle = WBX_OpenCustom(this, &callbacks);
  return handle;
}

bool Source::strikes() {
  afterClose += closes;
  const i64 number = calls++;
  if (mishap == Mishap::kNone || number < at || (number > at && !lasting)) return false;
  if (mishap != Mishap::kCancel) return true;
  WBX_Cancel(handle);
  return false;
}

i32 Source::read(u8* buffer, u32 count) {
  const bool struck = strikes();
  u32 delivered = static_cast<u32>(std::min<size_t>(count, bytes.size() - position));
  if (struck) {
    if (scribbles) std::memset(buffer, scribble, count);
    if (mishap == Mishap::kEnd) return 0;
    if (mishap != Mishap::kShort) return -1;
    delivered = std::min(delivered, count / 2);
  }
  std::copy_n(bytes.begin() + static_cast<std::ptrdiff_t>(position), delivered, buffer);
  position += delivered;
  return static_cast<i32>(delivered);
}

i32 Source::seek(u32 offset) {
  if (strikes()) return -1;
  position = std::min<size_t>(offset, bytes.size());
  return 0;
}

}  // namespace wbx::test::robust
