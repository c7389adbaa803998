// What the tests of hostile surroundings share: small files, memory that ends, sources that fail.
#pragma once

#include <cstddef>
#include <filesystem>
#include <gtest/gtest.h>
#include <string>
#include <unistd.h>
#include <vector>

#include "wbx.h"

#include "base/types.h"

namespace wbx::test::robust {

using Bytes = std::vector<u8>;

// A file of tests/data.
[[nodiscard]] Bytes dataFile(const std::string& name);

// A JP2 file with each kind of metadata in front of the codestream and behind it. `behind` tells
// where the codestream ends.
[[nodiscard]] Bytes fileOfAllBoxes(size_t* behind = nullptr);

// The small files that most tests go through: both depths, both filters, tiles, orders, modes.
[[nodiscard]] const std::vector<std::string>& smallFiles();

// Every small file by name, and behind them "all_boxes.jp2" of fileOfAllBoxes.
struct NamedFile {
  std::string name;
  Bytes bytes;
};
[[nodiscard]] std::vector<NamedFile> allSmallFiles();

// A sanitizer multiplies times.
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
inline constexpr bool kSlow = true;
#elif defined(__has_feature)
#if __has_feature(address_sanitizer) || __has_feature(thread_sanitizer)
inline constexpr bool kSlow = true;
#else
inline constexpr bool kSlow = false;
#endif
#else
inline constexpr bool kSlow = false;
#endif

// Tries everything instead of a sample; set by the environment.
[[nodiscard]] bool fullRun();

// Counts the library's blocks while it lives, and refuses the one of number `failing`, counted
// from 0, or all from there on. With single records every record of an Arena is a block.
class CountedMemory {
 public:
  enum class Refuse { kNothing, kOne, kAllFrom };

  explicit CountedMemory(Refuse refuse = Refuse::kNothing, i64 failing = 0,
                         bool singleRecords = false);
  ~CountedMemory();
  CountedMemory(const CountedMemory&) = delete;
  CountedMemory& operator=(const CountedMemory&) = delete;

  // Allocates as usual from now on, counting on.
  void relent();

  [[nodiscard]] i64 requests() const;
  [[nodiscard]] i64 refused() const;
  [[nodiscard]] i64 alive() const;        // blocks
  [[nodiscard]] i64 bytes() const;        // of all blocks, freed ones too
  [[nodiscard]] i64 zeroedBytes() const;  // of those that the system gives as zero pages
};

struct Picture {
  i32 code = WBX_OK;
  Bytes bytes;
  bool operator==(const Picture&) const = default;
};

// Into a buffer of just the right size, filled with `fill` before.
[[nodiscard]] Picture decodeExternal(WBX_Handle handle, const char* options = nullptr, u8 fill = 0);
// Into a buffer of the library.
[[nodiscard]] Picture decodeInternal(WBX_Handle handle, const char* options = nullptr);

// Reads every byte of every entry. Returns the first code that is not 0.
[[nodiscard]] i32 walkMetadata(WBX_Handle handle);

[[nodiscard]] WBX_Handle openBytes(const Bytes& file);

// A custom source over bytes, with a mishap at call number `at` of its callbacks, counted from 0.
struct Source {
  enum class Mishap {
    kNone,
    kError,  // -1
    kShort,  // half of the bytes
    kEnd,    // 0
    kCancel  // the bytes, and WBX_Cancel on the way
  };

  Source(const Bytes& content, bool canSeek) : bytes(content), seekable(canSeek) {}
  Source(const Source&) = delete;
  Source& operator=(const Source&) = delete;

  [[nodiscard]] WBX_Handle open();

  const Bytes& bytes;
  bool seekable;
  Mishap mishap = Mishap::kNone;
  i64 at = 0;
  bool lasting = false;    // the mishap stays for all later calls
  bool scribbles = false;  // it writes over the whole buffer, whatever it delivers
  u8 scribble = 0;
  WBX_Handle handle = nullptr;  // of WBX_Cancel
  i64 calls = 0;
  i64 afterClose = 0;
  int closes = 0;
  size_t position = 0;

 private:
  [[nodiscard]] bool strikes();
  [[nodiscard]] i32 read(u8* buffer, u32 count);
  [[nodiscard]] i32 seek(u32 offset);
};

// For tests of the log, which is written to the current directory.
class InAFolderOfItsOwn : public testing::Test {
 protected:
  void SetUp() override {
    before_ = std::filesystem::current_path();
    folder_ = std::filesystem::temp_directory_path() / ("wbx-robust-" + std::to_string(getpid()));
    std::filesystem::create_directory(folder_);
    std::filesystem::current_path(folder_);
  }
  void TearDown() override {
    WBX_StopLogging();
    std::filesystem::current_path(before_);
    std::filesystem::remove_all(folder_);
  }

 private:
  std::filesystem::path before_, folder_;
};

}  // namespace wbx::test::robust
