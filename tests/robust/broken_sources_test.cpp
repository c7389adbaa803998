// Sources that fail, end, deliver less or cancel at every single call.
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <unistd.h>

#include "engine/kernels.h"
#include "robust/support.h"

namespace wbx::test::robust {
namespace {

using Mishap = Source::Mishap;

constexpr Mishap kFailures[] = {Mishap::kError, Mishap::kShort, Mishap::kEnd};

std::string describe(const std::string& file, const Source& source) {
  return file + (source.seekable ? "" : ", not seekable") + ", mishap " +
         std::to_string(static_cast<int>(source.mishap)) + (source.scribbles ? "s" : "") +
         (source.lasting ? " from" : " at") + " call " + std::to_string(source.at);
}

// What a source that fails at one call leads to: a code and no handle, or a picture.
struct Outcome {
  i32 openCode = WBX_OK;
  Picture picture;
  bool operator==(const Outcome&) const = default;
};

bool blamesTheImage(i32 code) {
  return code == WBX_ERROR_CORRUPT || code == WBX_ERROR_READ ||
         (code >= WBX_ERROR_NOT_PART1 && code <= WBX_ERROR_BOX);
}

Outcome openAndDecode(Source& source, const std::string& trace) {
  Outcome outcome;
  const WBX_Handle handle = source.open();
  if (handle == nullptr) {
    outcome.openCode = WBX_getLastError();
    EXPECT_TRUE(blamesTheImage(outcome.openCode)) << trace << ": " << outcome.openCode;
  } else {
    EXPECT_EQ(source.closes, 0) << trace;
    outcome.picture = decodeExternal(handle);
    EXPECT_EQ(outcome.picture.code, WBX_OK) << trace;
    EXPECT_EQ(walkMetadata(handle), WBX_OK) << trace;
    EXPECT_EQ(WBX_Close(handle), WBX_OK) << trace;
  }
  EXPECT_EQ(source.closes, 1) << trace;
  EXPECT_EQ(source.afterClose, 0) << trace;
  return outcome;
}

i64 callsOfAnOpen(const Bytes& bytes, bool seekable) {
  Source source(bytes, seekable);
  const WBX_Handle handle = source.open();
  EXPECT_NE(handle, nullptr);
  const i64 calls = source.calls;
  WBX_Close(handle);
  return calls;
}

// Twice, and where the callback scribbles, with other bytes the second time.
Outcome failTwice(const NamedFile& file, bool seekable, const Source& kind) {
  Outcome outcomes[2];
  for (int i = 0; i < 2; ++i) {
    Source source(file.bytes, seekable);
    source.mishap = kind.mishap;
    source.at = kind.at;
    source.lasting = kind.lasting;
    source.scribbles = kind.scribbles;
    source.scribble = i == 0 ? 0x3C : 0xC3;
    outcomes[i] = openAndDecode(source, describe(file.name, source));
  }
  // Which code a refusal gets may depend on the field that a scribbling callback forged.
  if (!kind.scribbles) {
    EXPECT_TRUE(outcomes[0] == outcomes[1]) << describe(file.name, kind);
  }
  return outcomes[0];
}

template <class Check>
i64 failEveryCall(const NamedFile& file, bool lasting, Check check) {
  i64 tries = 0;
  for (const bool seekable : {true, false}) {
    const i64 calls = callsOfAnOpen(file.bytes, seekable);
    Source kind(file.bytes, seekable);
    kind.lasting = lasting;
    const i64 stride = kSlow && !fullRun() ? 3 : 1;
    for (kind.at = 0; kind.at < calls; kind.at += stride) {
      for (const Mishap mishap : kFailures) {
        for (const bool scribbles : {false, true}) {
          kind.mishap = mishap;
          kind.scribbles = scribbles;
          check(kind, failTwice(file, seekable, kind));
          ++tries;
        }
      }
    }
  }
  return tries;
}

TEST(BrokenSources, AtEveryCallOfAnOpen) {
  i64 tries = 0;
  for (const NamedFile& file : allSmallFiles()) {
    tries += failEveryCall(file, false, [](const Source&, const Outcome&) {});
  }
  RecordProperty("tries", std::to_string(tries));
}

TEST(BrokenSources, ThatStayBrokenNeverOpen) {
  i64 tries = 0;
  for (const std::string& name : smallFiles()) {
    const NamedFile file = {name, dataFile(name)};
    tries += failEveryCall(file, true, [&file](const Source& kind, const Outcome& outcome) {
      EXPECT_NE(outcome.openCode, WBX_OK) << describe(file.name, kind);
    });
  }
  RecordProperty("tries", std::to_string(tries));
}

struct Decoded {
  Picture whole, broken, after;
  i64 calls = 0;
};

// Opens a sound source and has it fail at call number `at` of the decode. With `used` a decode ran
// before, so that the library has the right bytes still in its buffers.
Decoded breakDecode(const Bytes& bytes, Mishap mishap, i64 at, bool lasting, u8 scribble,
                    bool used) {
  Source source(bytes, true);
  const WBX_Handle handle = source.open();
  EXPECT_NE(handle, nullptr);
  Decoded decoded;
  if (used) decoded.whole = decodeExternal(handle);
  source.calls = 0;
  source.mishap = mishap;
  source.at = at;
  source.lasting = lasting;
  source.scribbles = true;
  source.scribble = scribble;
  decoded.broken = decodeExternal(handle, nullptr, scribble);
  decoded.calls = source.calls;
  source.mishap = Mishap::kNone;
  decoded.after = decodeExternal(handle);
  EXPECT_EQ(WBX_Close(handle), WBX_OK);
  EXPECT_EQ(source.closes, 1);
  EXPECT_EQ(source.afterClose, 0);
  return decoded;
}

// Files with segments that are long enough to stay in the source.
const char* const kLongSegments[] = {
    "grey_noise.j2k",  "rgba_plain.j2k",      "irr_420.j2k",   "bits_12_422.j2k",
    "irr_bits_16.j2k", "mode_all_layers.j2k", "irr_tiles.j2k", "irr_bits_12_tiles.j2k"};

TEST(BrokenSources, AtEveryCallOfADecodeShowNothingThatNeverCame) {
  i64 tries = 0;
  for (const char* name : kLongSegments) {
    const Bytes bytes = dataFile(name);
    const Decoded sound = breakDecode(bytes, Mishap::kNone, 0, false, 0, true);
    ASSERT_EQ(sound.whole.code, WBX_OK);
    for (i64 at = 0; at < sound.calls; ++at) {
      for (const Mishap mishap : kFailures) {
        for (const bool lasting : {false, true}) {
          const Decoded first = breakDecode(bytes, mishap, at, lasting, 0x3C, false);
          const Decoded second = breakDecode(bytes, mishap, at, lasting, 0xC3, true);
          EXPECT_EQ(first.broken.code, WBX_OK) << name << at;
          EXPECT_TRUE(first.broken == second.broken)
              << name << " mishap " << static_cast<int>(mishap) << " at " << at;
          EXPECT_TRUE(first.after == sound.whole) << name << at;
          // Blocks that are decoded in groups are read in the same order.
          forceKernels(availableKernels()[0]);
          const Decoded plain = breakDecode(bytes, mishap, at, lasting, 0x3C, false);
          forceKernels(nullptr);
          EXPECT_TRUE(first.broken == plain.broken) << name << at;
          ++tries;
        }
      }
    }
  }
  EXPECT_GT(tries, 100);
  RecordProperty("tries", std::to_string(tries));
}

TEST(BrokenSources, ThatCancelEndTheDecodeWithItsCode) {
  i64 tries = 0;
  for (const char* name : kLongSegments) {
    const Bytes bytes = dataFile(name);
    const Decoded sound = breakDecode(bytes, Mishap::kNone, 0, false, 0, true);
    for (i64 at = 0; at < sound.calls; ++at) {
      const Decoded cancelled = breakDecode(bytes, Mishap::kCancel, at, false, 0, false);
      EXPECT_EQ(cancelled.broken.code, WBX_ERROR_CANCELLED) << name << at;
      EXPECT_LE(cancelled.calls, sound.calls);
      EXPECT_TRUE(cancelled.after == sound.whole) << name << at;
      ++tries;
    }
  }
  RecordProperty("tries", std::to_string(tries));
}

// A read that promises more than it was asked for must not be believed.
TEST(BrokenSources, ThatBoastAreNotBelieved) {
  const Bytes bytes = dataFile("irr_tiles.j2k");
  struct Boaster {
    const Bytes& bytes;
    size_t position = 0;
  } boaster = {bytes};
  CustomCallbacks callbacks = {};
  callbacks.read = [](void* buffer, u32 count, void* user) -> i32 {
    Boaster& self = *static_cast<Boaster*>(user);
    for (u32 i = 0; i < count && self.position < self.bytes.size(); ++i)
      static_cast<u8*>(buffer)[i] = self.bytes[self.position++];
    return 0x7FFFFFFF;
  };
  const WBX_Handle handle = WBX_OpenCustom(&boaster, &callbacks);
  if (handle != nullptr) {
    EXPECT_EQ(decodeExternal(handle).code, WBX_OK);
    WBX_Close(handle);
  }
}

class ShrinkingFile : public testing::Test {
 protected:
  void SetUp() override {
    path_ = std::filesystem::temp_directory_path() /
            ("wbx-robust-" + std::to_string(getpid()) + ".j2k");
  }
  void TearDown() override { std::filesystem::remove(path_); }

  void write(const Bytes& bytes) const {
    std::ofstream out(path_, std::ios::binary);
    out.write(reinterpret_cast<const char*>(bytes.data()),
              static_cast<std::streamsize>(bytes.size()));
  }

  std::filesystem::path path_;
};

TEST_F(ShrinkingFile, LosesWhatItHadBetweenOpenAndDecode) {
  const Bytes bytes = dataFile("irr_tiles.j2k");
  for (size_t left = 0; left < bytes.size(); left += 97) {
    Picture pictures[2];
    for (int used = 0; used < 2; ++used) {
      write(bytes);
      const WBX_Handle handle = WBX_OpenFile(path_.c_str());
      ASSERT_NE(handle, nullptr);
      if (used != 0) {
        EXPECT_EQ(decodeExternal(handle).code, WBX_OK);
      }
      std::filesystem::resize_file(path_, left);
      pictures[used] = decodeExternal(handle, nullptr, used != 0 ? 0x3C : 0xC3);
      EXPECT_EQ(pictures[used].code, WBX_OK);
      WBX_Close(handle);
    }
    // The file's own buffer may still hold bytes that are gone by now; they were there once.
    EXPECT_EQ(pictures[0].bytes.size(), pictures[1].bytes.size());
  }
}

TEST(BrokenSources, ADirectoryIsNoFile) {
  EXPECT_EQ(WBX_OpenFile(std::filesystem::temp_directory_path().c_str()), nullptr);
  const i32 code = WBX_getLastError();
  EXPECT_TRUE(code == WBX_ERROR_READ || code == WBX_ERROR_OPEN) << code;
}

}  // namespace
}  // namespace wbx::test::robust
