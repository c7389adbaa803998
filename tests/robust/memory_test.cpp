// Every allocation of an open, a decode and a metadata walk fails once.
#include <gtest/gtest.h>

#include "robust/support.h"

namespace wbx::test {
namespace {

// One refusal at request number n of an open; returns false when the open needs fewer.
bool failOpen(const NamedFile& file, Way way, bool lasting, int64_t n) {
  SCOPED_TRACE(file.name + " request " + std::to_string(n));
  CountedMemory memory(n, lasting);
  Source source(file.bytes, way);
  if (source.open() != nullptr) {
    EXPECT_EQ(memory.refused(), 0);
    source.close();
  } else {
    EXPECT_EQ(WBX_getLastError(), WBX_ERROR_MEMORY);
    EXPECT_EQ(source.closes, way == Way::kMemory ? 0 : 1);
  }
  EXPECT_EQ(memory.alive(), 0);
  return memory.refused() != 0;
}

TEST(ExhaustedMemory, EveryAllocationOfAnOpen) {
  for (const NamedFile& file : smallFiles()) {
    for (const Way way : kWays) {
      for (const bool lasting : {false, true}) {
        int64_t n = 0;
        while (failOpen(file, way, lasting, n)) ++n;
        EXPECT_GT(n, 1);
      }
    }
  }
}

bool failDecode(const NamedFile& file, Way way, int64_t n, bool internal, const Picture& whole) {
  SCOPED_TRACE(file.name + " request " + std::to_string(n));
  const auto run = [internal](WBX_Handle h) { return internal ? decodeInternal(h) : decode(h); };
  // What the library keeps beyond the life of an image: the nodes of its list of buffers.
  WBX_CloseLibrary();
  WBX_InitLibrary();
  CountedMemory ofOpen;
  Source source(file.bytes, way);
  source.open();
  const int64_t alive = ofOpen.alive();
  CountedMemory memory(n);
  const Picture picture = run(source.handle);
  const bool refused = memory.refused() != 0;
  EXPECT_EQ(picture.code, refused ? WBX_ERROR_MEMORY : WBX_OK);
  EXPECT_EQ(walkMetadata(source.handle), WBX_OK);
  memory.relent();
  EXPECT_EQ(run(source.handle), whole);
  EXPECT_EQ(source.close(), WBX_OK);
  WBX_CloseLibrary();
  WBX_InitLibrary();
  EXPECT_EQ(memory.alive() + alive, 0);
  return refused;
}

TEST(ExhaustedMemory, EveryAllocationOfADecode) {
  for (const NamedFile& file : smallFiles()) {
    Source sound(file.bytes, Way::kMemory);
    ASSERT_NE(sound.open(), nullptr) << file.name;
    const Picture packed = decode(sound.handle), wide = decodeInternal(sound.handle);
    ASSERT_EQ(packed.code | wide.code, WBX_OK) << file.name;
    sound.close();
    for (const Way way : kWays) {
      for (const bool internal : {false, true}) {
        int64_t n = 0;
        while (failDecode(file, way, n, internal, internal ? wide : packed)) ++n;
        EXPECT_GT(n, 0);
      }
    }
  }
}

}  // namespace
}  // namespace wbx::test
