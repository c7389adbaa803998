#include "robust/support.h"

#include <algorithm>
#include <atomic>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <iterator>
#include <random>

#include "base/memory.h"

namespace wbx::test {
namespace {

std::atomic<int64_t> requestCount, refusedCount, aliveCount, byteCount, zeroedCount;
std::atomic<int64_t> firstRefused, endRefused;

bool mayAllocate(size_t size, bool zeroed) {
  const int64_t number = requestCount++;
  if (number >= firstRefused && number < endRefused) {
    ++refusedCount;
    return false;
  }
  ++aliveCount;
  (zeroed ? zeroedCount : byteCount) += static_cast<int64_t>(size);
  return true;
}

void freed() {
  --aliveCount;
}

// A folder of its own for each process: the log goes to the current directory.
class FolderOfItsOwn : public testing::Environment {
 public:
  void SetUp() override {
    folder_ = std::filesystem::temp_directory_path() /
              ("wbx-tests-" + std::to_string(std::random_device()()));
    std::filesystem::create_directory(folder_);
    before_ = std::filesystem::current_path();
    std::filesystem::current_path(folder_);
  }
  void TearDown() override {
    std::filesystem::current_path(before_);
    std::filesystem::remove_all(folder_);
  }

 private:
  std::filesystem::path folder_, before_;
};
[[maybe_unused]] testing::Environment* const environment =
    testing::AddGlobalTestEnvironment(new FolderOfItsOwn);

constexpr MemoryWatch kWatches[] = {{&mayAllocate, &freed, false}, {&mayAllocate, &freed, true}};

}  // namespace

std::string dataPath(const std::string& name) {
  return std::string(WBX_TEST_DATA) + "/" + name;
}

Bytes dataFile(const std::string& name) {
  std::ifstream in(dataPath(name), std::ios::binary);
  EXPECT_TRUE(in.good()) << name;
  return {std::istreambuf_iterator<char>(in), {}};
}

const std::vector<NamedFile>& smallFiles() {
  static const std::vector<NamedFile> files = [] {
    std::vector<NamedFile> all;
    for (const char* name :
         {"grey_2x3.j2k", "grey_noise.j2k", "irr_420.j2k", "tiles_1x1.j2k", "bits_12_422.j2k",
          "irr_bits_16.j2k", "mode_all_layers.j2k", "order_pcrl_420.j2k", "precincts_small.j2k",
          "parts_plt_tlm.j2k", "roi_grey.j2k", "irr_tiles.j2k", "rgba_plain.j2k", "block_4x4.j2k",
          "all_boxes.jp2"})
      all.push_back({name, dataFile(name)});
    return all;
  }();
  return files;
}

Bytes operator+(Bytes left, const Bytes& right) {
  left.insert(left.end(), right.begin(), right.end());
  return left;
}

Bytes be(uint32_t value, int bytes) {
  Bytes result;
  for (int shift = 8 * bytes - 8; shift >= 0; shift -= 8)
    result.push_back(static_cast<uint8_t>(value >> shift));
  return result;
}

Bytes segment(uint8_t marker, const Bytes& payload) {
  return Bytes{0xFF, marker} + be(static_cast<uint32_t>(payload.size()) + 2, 2) + payload;
}

Bytes box(std::string_view type, const Bytes& payload, uint32_t length) {
  if (length == 0) length = static_cast<uint32_t>(payload.size()) + 8;
  return be(length, 4) + Bytes(type.begin(), type.end()) + payload;
}

Bytes siz(const Grid& g) {
  Bytes payload = be(0, 2);
  for (const uint32_t v : {g.x1, g.y1, g.x0, g.y0, g.tile, g.tile, 0u, 0u})
    payload = payload + be(v, 4);
  payload = payload + be(g.components, 2);
  for (uint32_t c = 0; c < g.components; ++c) payload = payload + Bytes{7, g.step, g.step};
  return Bytes{0xFF, 0x4F} + segment(0x51, payload);
}

Bytes sot(uint32_t tile, uint32_t length, uint8_t part) {
  return segment(0x90, be(tile, 2) + be(length, 4) + Bytes{part, 0});
}

// One tile, one resolution, one empty packet.
Bytes simpleStream(const Grid& grid, const Bytes& more) {
  return siz(grid) + segment(0x52, {0, 0, 0, 1, 0, 0, 4, 4, 0, 1}) + segment(0x5C, {0x40, 0x40}) +
         more + sot(0, 0) + kSod + Bytes{0} + kEoc;
}

CountedMemory::CountedMemory(int64_t failing, bool lasting, bool singleRecords) {
  requestCount = refusedCount = aliveCount = byteCount = zeroedCount = 0;
  firstRefused = failing;
  endRefused = lasting ? kNever : failing + 1;
  watchMemory(&kWatches[singleRecords ? 1 : 0]);
}
CountedMemory::~CountedMemory() {
  watchMemory(nullptr);
}
void CountedMemory::relent() {
  firstRefused = endRefused = kNever;
}
int64_t CountedMemory::refused() const {
  return refusedCount;
}
int64_t CountedMemory::alive() const {
  return aliveCount;
}
int64_t CountedMemory::bytes() const {
  return byteCount;
}
int64_t CountedMemory::zeroedBytes() const {
  return zeroedCount;
}

Picture decode(WBX_Handle handle, const char* options, uint8_t fill) {
  uint8_t none[16];
  void* buffer = none;
  uint32_t size = 1;
  Picture picture;
  picture.code = WBX_Decode(handle, &buffer, &size, options, nullptr);
  if (picture.code != WBX_ERROR_BUFFER_SIZE) {
    if (picture.code == WBX_OK) picture.bytes.assign(none, none + size);
    return picture;
  }
  picture.bytes.assign(size, fill);
  buffer = picture.bytes.data();
  picture.code = WBX_Decode(handle, &buffer, &size, options, nullptr);
  return picture;
}

Picture decodeInternal(WBX_Handle handle, const char* options) {
  void* buffer = nullptr;
  uint32_t size = 0;
  Picture picture;
  picture.code = WBX_Decode(handle, &buffer, &size, options, nullptr);
  const auto* bytes = static_cast<const uint8_t*>(buffer);
  if (picture.code == WBX_OK) picture.bytes.assign(bytes, bytes + size);
  return picture;
}

int32_t walkMetadata(WBX_Handle handle) {
  for (int32_t index = 0;;) {
    uint32_t kind = 0, length = 0;
    const void* data = nullptr;
    const int32_t code = WBX_GetMetaData(handle, &index, &kind, &data, &length);
    if (code != WBX_OK || data == nullptr) return code;
    const auto* bytes = static_cast<const uint8_t*>(data);
    const Bytes copy(bytes, bytes + length);
  }
}

Source::~Source() {
  if (handle != nullptr) close();
}

WBX_Handle Source::open() {
  calls = closes = afterClose = 0;
  position_ = 0;
  if (way == Way::kMemory)
    return handle = WBX_OpenMemory(bytes.data(), static_cast<int32_t>(bytes.size()));
  CustomCallbacks callbacks = {};
  callbacks.read = [](void* buffer, uint32_t count, void* user) WBX_CALL {
    return static_cast<Source*>(user)->read(static_cast<uint8_t*>(buffer), count);
  };
  callbacks.close = [](void* user) WBX_CALL { ++static_cast<Source*>(user)->closes; };
  if (way == Way::kSeekable) {
    callbacks.seek = [](void* user, uint32_t offset) WBX_CALL {
      Source& source = *static_cast<Source*>(user);
      if (source.strikes()) return -1;
      source.position_ = std::min<size_t>(offset, source.bytes.size());
      return 0;
    };
  }
  return handle = WBX_OpenCustom(this, &callbacks);
}

int32_t Source::close() {
  const int32_t code = WBX_Close(handle);
  handle = nullptr;
  return code;
}

bool Source::strikes() {
  afterClose += closes;
  const int64_t number = calls++;
  if (mishap == Mishap::kNone || number < at || (number > at && !lasting)) return false;
  if (mishap == Mishap::kCancel) WBX_Cancel(handle);
  return mishap != Mishap::kCancel;
}

int32_t Source::read(uint8_t* buffer, uint32_t count) {
  const bool struck = strikes();
  uint32_t delivered = static_cast<uint32_t>(std::min<size_t>(count, bytes.size() - position_));
  if (struck) {
    if (scribbles) std::memset(buffer, scribble, count);
    if (mishap == Mishap::kEnd) return 0;
    if (mishap != Mishap::kShort) return -1;
    delivered = std::min(delivered, count / 2);
  }
  std::copy_n(bytes.begin() + static_cast<std::ptrdiff_t>(position_), delivered, buffer);
  position_ += delivered;
  return static_cast<int32_t>(delivered);
}

std::string takeLog() {
  std::ifstream file("wbx-codec.log");
  std::string text{std::istreambuf_iterator<char>(file), {}};
  file.close();
  std::filesystem::remove("wbx-codec.log");
  return text;
}

// No two threads that strike at a time have the same one, and none has a wild handle's: a race at
// such a place is none, but ThreadSanitizer could not know.
std::uintptr_t wildAddress() {
  static std::atomic<std::uintptr_t> threads;
  thread_local volatile std::uintptr_t address = 256 * (1 + threads++ % 15);
  return address;
}

__attribute__((no_sanitize("undefined", "address", "thread"))) void strike() {
  *wild<volatile int*>() = 1;
}

#if defined(__SANITIZE_ADDRESS__)
extern "C" void __lsan_disable();
extern "C" void __lsan_enable();
AcceptLeaks::AcceptLeaks() {
  __lsan_disable();
}
AcceptLeaks::~AcceptLeaks() {
  __lsan_enable();
}
#else
AcceptLeaks::AcceptLeaks() = default;
AcceptLeaks::~AcceptLeaks() = default;
#endif

int32_t codeOfOpenThat(void (*action)()) {
  CustomCallbacks callbacks = {};
  callbacks.read = [](void*, uint32_t, void* user) WBX_CALL -> int32_t {
    reinterpret_cast<void (*)()>(user)();
    return -1;
  };
  EXPECT_EQ(WBX_OpenCustom(reinterpret_cast<void*>(action), &callbacks), nullptr);
  return WBX_getLastError();
}

void strikeOften(const Bytes& file, int times) {
  const AcceptLeaks accept;
  for (int i = 0; i < times; ++i) {
    Source source(file, Way::kMemory);
    const WBX_Handle handle = source.open();
    ASSERT_NE(handle, nullptr);
    uint32_t u = 0;
    const void* data = nullptr;
    for (const std::uintptr_t place :
         {std::uintptr_t{4096}, std::uintptr_t{4099}, ~std::uintptr_t{7}}) {
      const auto none = reinterpret_cast<WBX_Handle>(place);
      EXPECT_EQ(WBX_GetInfo(none, nullptr, nullptr, nullptr), WBX_ERROR_ARGUMENT);
      EXPECT_EQ(WBX_SelectTiles(none, 0, 0, 1), WBX_ERROR_ARGUMENT);
      EXPECT_EQ(WBX_Close(none), WBX_ERROR_ARGUMENT);
      WBX_Cancel(none);
      EXPECT_EQ(WBX_getLastError(), WBX_ERROR_ARGUMENT);
    }
    EXPECT_EQ(WBX_GetInfo(handle, wild<uint32_t*>(), nullptr, nullptr), WBX_ERROR_ARGUMENT);
    EXPECT_EQ(WBX_GetInfoEx(handle, wild<WBX_ImageInfoEx*>()), WBX_ERROR_ARGUMENT);
    EXPECT_EQ(WBX_GetResolutions(handle, wild<int32_t*>()), WBX_ERROR_ARGUMENT);
    EXPECT_EQ(WBX_GetResolutionDimensionsByStr(handle, wild<char*>(), &u, &u), WBX_ERROR_ARGUMENT);
    EXPECT_EQ(WBX_GetMetaData(handle, wild<int32_t*>(), &u, &data, &u), WBX_ERROR_INTERNAL);
    EXPECT_EQ(WBX_GetResolutionDimensions(handle, 0, wild<uint32_t*>(), &u), WBX_ERROR_INTERNAL);
    EXPECT_EQ(WBX_OpenCustom(nullptr, wild<CustomCallbacks*>()), nullptr);
    EXPECT_EQ(WBX_getLastError(), WBX_ERROR_ARGUMENT);
    EXPECT_EQ(WBX_OpenMemory(wild<void*>(), 100), nullptr);
    EXPECT_EQ(WBX_getLastError(), WBX_ERROR_INTERNAL);
    void* buffer = wild<void*>();
    u = 0;
    EXPECT_EQ(WBX_Decode(handle, &buffer, &u, nullptr, nullptr), WBX_ERROR_INTERNAL);
    EXPECT_EQ(decodeInternal(handle).code, WBX_OK) << "the handle outlives a wild picture";
  }
}

bool blamesTheImage(int32_t code) {
  return (code >= WBX_ERROR_MEMORY && code <= WBX_ERROR_READ) ||
         (code >= WBX_ERROR_NOT_PART1 && code <= WBX_ERROR_BOX);
}

}  // namespace wbx::test
