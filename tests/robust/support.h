// What the tests of hostile surroundings share: files, memory that ends, sources that fail.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "wbx.h"

namespace wbx::test {

using Bytes = std::vector<uint8_t>;

// A sanitizer multiplies times.
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
inline constexpr bool kSlow = true;
#else
inline constexpr bool kSlow = false;
#endif

// Files of tests/data: both depths, both filters, tiles, orders, modes, and each kind of metadata
// in front of a codestream and behind it.
struct NamedFile {
  std::string name;
  Bytes bytes;
};
[[nodiscard]] std::string dataPath(const std::string& name);
[[nodiscard]] Bytes dataFile(const std::string& name);
[[nodiscard]] const std::vector<NamedFile>& smallFiles();

// Codestreams and boxes put together byte by byte.
[[nodiscard]] Bytes operator+(Bytes left, const Bytes& right);
[[nodiscard]] Bytes be(uint32_t value, int bytes);
[[nodiscard]] Bytes segment(uint8_t marker, const Bytes& payload);
[[nodiscard]] Bytes box(std::string_view type, const Bytes& payload, uint32_t length = 0);
struct Grid {
  uint32_t x1 = 8, y1 = 8, x0 = 0, y0 = 0, tile = 8, components = 1;
  uint8_t step = 1;
};
[[nodiscard]] Bytes siz(const Grid& grid);  // with SOC in front
[[nodiscard]] Bytes sot(uint32_t tile, uint32_t length, uint8_t part = 0);
[[nodiscard]] Bytes simpleStream(const Grid& grid, const Bytes& more = {});
inline const Bytes kSod = {0xFF, 0x93}, kEoc = {0xFF, 0xD9};

// Counts the library's blocks while it lives, and refuses the one of number `failing`, counted
// from 0, or all from there on. Every record of an Arena is a block.
class CountedMemory {
 public:
  static constexpr int64_t kNever = int64_t{1} << 62;

  explicit CountedMemory(int64_t failing = kNever, bool lasting = false, bool singleRecords = true);
  ~CountedMemory();
  CountedMemory(const CountedMemory&) = delete;
  CountedMemory& operator=(const CountedMemory&) = delete;
  void relent();  // allocates as usual from now on, counting on

  [[nodiscard]] int64_t refused() const;
  [[nodiscard]] int64_t alive() const;        // blocks
  [[nodiscard]] int64_t bytes() const;        // but for those that come as zero pages
  [[nodiscard]] int64_t zeroedBytes() const;  // of these
};

struct Picture {
  int32_t code = WBX_OK;
  Bytes bytes;
  bool operator==(const Picture&) const = default;
};
// Into a buffer of just the right size, filled before; into one of the library.
[[nodiscard]] Picture decode(WBX_Handle handle, const char* options = nullptr, uint8_t fill = 0);
[[nodiscard]] Picture decodeInternal(WBX_Handle handle, const char* options = nullptr);

// Reads every byte of every entry. Returns the first code that is not 0.
[[nodiscard]] int32_t walkMetadata(WBX_Handle handle);

// An image from memory or from callbacks, with a mishap at call number `at` of these.
enum class Way { kMemory, kSeekable, kPipe };
inline constexpr Way kWays[] = {Way::kMemory, Way::kSeekable, Way::kPipe};

enum class Mishap { kNone, kError, kShort, kEnd, kCancel };

struct Source {
  Source(const Bytes& content, Way kind) : bytes(content), way(kind) {}
  ~Source();
  Source(const Source&) = delete;
  Source& operator=(const Source&) = delete;

  WBX_Handle open();
  int32_t close();

  const Bytes& bytes;
  Way way;
  Mishap mishap = Mishap::kNone;
  int64_t at = 0;
  bool lasting = false;    // the mishap stays for all later calls
  bool scribbles = false;  // it writes over the whole buffer, whatever it delivers
  uint8_t scribble = 0;
  WBX_Handle handle = nullptr;
  int64_t calls = 0;
  int closes = 0, afterClose = 0;

 private:
  [[nodiscard]] bool strikes();
  [[nodiscard]] int32_t read(uint8_t* buffer, uint32_t count);

  size_t position_ = 0;
};

// What a log holds that was stopped, which is then gone.
[[nodiscard]] std::string takeLog();

// Where no process has memory, without undefined behaviour that a compiler sees. Each thread has a
// place of its own, or they would race for it.
[[nodiscard]] std::uintptr_t wildAddress();
template <class T>
[[nodiscard]] T wild() {
  return reinterpret_cast<T>(wildAddress());
}
void strike();  // stores there

// A call that a fault or a jump ended leaves memory behind, which a leak checker need not be told.
struct AcceptLeaks {
  AcceptLeaks();
  ~AcceptLeaks();
  AcceptLeaks(const AcceptLeaks&) = delete;
  AcceptLeaks& operator=(const AcceptLeaks&) = delete;
};

// The code of an open whose first read does this.
int32_t codeOfOpenThat(void (*action)());
// Each of the ways in which a call meets memory that is not there.
void strikeOften(const Bytes& file, int times);

// A code that blames the image: 2, 3, 4, 13 to 26.
[[nodiscard]] bool blamesTheImage(int32_t code);

}  // namespace wbx::test
