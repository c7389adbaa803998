// Sources that fail, end, deliver less or cancel at every single call.
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>

#include "engine/kernels.h"
#include "robust/support.h"

namespace wbx::test {
namespace {

constexpr Mishap kFailures[] = {Mishap::kError, Mishap::kShort, Mishap::kEnd};

void arm(Source& source, Mishap mishap, int64_t at, bool lasting, bool scribbles,
         uint8_t scribble) {
  source.calls = 0;
  source.mishap = mishap;
  source.at = at;
  source.lasting = lasting;
  source.scribbles = scribbles;
  source.scribble = scribble;
}

int64_t callsOfAnOpen(const NamedFile& file, Way way) {
  Source source(file.bytes, way);
  EXPECT_NE(source.open(), nullptr) << file.name;
  return source.calls;
}

// A code and no picture, or a picture; the same both times, whatever the callback left behind.
void failOpen(const NamedFile& file, Way way, Mishap mishap, int64_t at, bool lasting) {
  for (const bool scribbles : {false, true}) {
    int32_t codes[2];
    Picture pictures[2];
    for (const int i : {0, 1}) {
      Source source(file.bytes, way);
      arm(source, mishap, at, lasting, scribbles, i == 0 ? 0x3C : 0xC3);
      codes[i] = source.open() == nullptr ? WBX_getLastError() : WBX_OK;
      EXPECT_TRUE(codes[i] == WBX_OK ? !lasting : blamesTheImage(codes[i])) << codes[i];
      if (codes[i] == WBX_OK) {
        pictures[i] = decode(source.handle);
        EXPECT_EQ(walkMetadata(source.handle), WBX_OK);
        EXPECT_EQ(source.closes, 0);
        EXPECT_EQ(source.close(), WBX_OK);
      }
      EXPECT_EQ(pictures[i].code, WBX_OK);
      EXPECT_EQ(source.closes, 1);
      EXPECT_EQ(source.afterClose, 0);
    }
    // Which code a refusal gets may depend on the field that a scribbling callback forged.
    if (!scribbles) {
      EXPECT_EQ(codes[0], codes[1]);
      EXPECT_EQ(pictures[0], pictures[1]);
    }
  }
}

TEST(BrokenSources, AtEveryCallOfAnOpen) {
  for (const NamedFile& file : smallFiles()) {
    for (const Way way : {Way::kSeekable, Way::kPipe}) {
      const int64_t calls = callsOfAnOpen(file, way);
      for (int64_t at = 0; at < calls; at += kSlow ? 5 : 1) {
        SCOPED_TRACE(file.name + " call " + std::to_string(at));
        for (const Mishap mishap : kFailures) {
          failOpen(file, way, mishap, at, false);
          // Behind the codestream a source may end.
          if (file.name != "all_boxes.jp2") failOpen(file, way, mishap, at, true);
        }
      }
    }
  }
}

// Files with segments that are long enough to stay in the source.
const char* const kLongSegments[] = {"grey_noise.j2k",  "irr_420.j2k",         "bits_12_422.j2k",
                                     "irr_bits_16.j2k", "mode_all_layers.j2k", "irr_tiles.j2k"};

struct Outcome {
  Picture broken, after;
  int64_t calls = 0;
};

// Opens a sound source that fails at call number `at` of a decode. With `used` a decode ran before,
// so that the library has the right bytes still in its buffers.
Outcome breakDecode(const Bytes& bytes, Mishap mishap, int64_t at, bool lasting, uint8_t scribble,
                    bool used) {
  Source source(bytes, Way::kSeekable);
  EXPECT_NE(source.open(), nullptr);
  if (used) {
    EXPECT_EQ(decode(source.handle).code, WBX_OK);
  }
  arm(source, mishap, at, lasting, true, scribble);
  Outcome outcome;
  outcome.broken = decode(source.handle, nullptr, scribble);
  outcome.calls = source.calls;
  source.mishap = Mishap::kNone;
  outcome.after = decode(source.handle);
  return outcome;
}

TEST(BrokenSources, AtEveryCallOfADecodeShowNothingThatNeverCame) {
  for (const char* name : kLongSegments) {
    const Bytes bytes = dataFile(name);
    const Outcome sound = breakDecode(bytes, Mishap::kNone, 0, false, 0, true);
    for (int64_t at = 0; at < sound.calls; ++at) {
      SCOPED_TRACE(name + std::to_string(at));
      for (const Mishap mishap : kFailures) {
        for (const bool lasting : {false, true}) {
          const Outcome first = breakDecode(bytes, mishap, at, lasting, 0x3C, false);
          EXPECT_EQ(first.broken.code, WBX_OK);
          EXPECT_EQ(first.broken, breakDecode(bytes, mishap, at, lasting, 0xC3, true).broken);
          EXPECT_EQ(first.after, sound.after);
          // Blocks that are decoded in groups are read in the same order.
          forceKernels(availableKernels()[0]);
          EXPECT_EQ(first.broken, breakDecode(bytes, mishap, at, lasting, 0x3C, false).broken);
          forceKernels(nullptr);
        }
      }
      const Outcome cancelled = breakDecode(bytes, Mishap::kCancel, at, false, 0, false);
      EXPECT_EQ(cancelled.broken.code, WBX_ERROR_CANCELLED);
      EXPECT_LE(cancelled.calls, sound.calls);
      EXPECT_EQ(cancelled.after, sound.after);
    }
  }
}

// A read that promises more than it was asked for must not be believed.
TEST(BrokenSources, ThatBoastAreNotBelieved) {
  Bytes rest = dataFile("irr_tiles.j2k");
  CustomCallbacks callbacks = {};
  callbacks.read = [](void* buffer, uint32_t count, void* user) WBX_CALL -> int32_t {
    Bytes& left = *static_cast<Bytes*>(user);
    const size_t part = std::min<size_t>(count, left.size());
    std::copy_n(left.begin(), part, static_cast<uint8_t*>(buffer));
    left.erase(left.begin(), left.begin() + static_cast<std::ptrdiff_t>(part));
    return 0x7FFFFFFF;
  };
  const WBX_Handle handle = WBX_OpenCustom(&rest, &callbacks);
  if (handle == nullptr) return;
  EXPECT_EQ(decode(handle).code, WBX_OK);
  WBX_Close(handle);
}

TEST(BrokenSources, AFileThatShrinksAndAFolder) {
  const std::filesystem::path path = "shrinking.j2k";
  const Bytes bytes = dataFile("irr_tiles.j2k");
  for (size_t left = 0; left < bytes.size(); left += 97) {
    std::ofstream(path, std::ios::binary)
        .write(reinterpret_cast<const char*>(bytes.data()), static_cast<long>(bytes.size()));
    const WBX_Handle handle = WBX_OpenFile(path.string().c_str());
    ASSERT_NE(handle, nullptr);
    std::filesystem::resize_file(path, left);
    EXPECT_EQ(decode(handle, nullptr, 0xC3).code, WBX_OK);
    WBX_Close(handle);
  }
  std::filesystem::remove(path);
  EXPECT_EQ(WBX_OpenFile("."), nullptr);
  EXPECT_TRUE(WBX_getLastError() == WBX_ERROR_READ || WBX_getLastError() == WBX_ERROR_OPEN);
}

}  // namespace
}  // namespace wbx::test
