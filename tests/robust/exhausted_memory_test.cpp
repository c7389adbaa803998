// Every allocation of an open, a decode and a metadata walk fails once.
#include <gtest/gtest.h>

#include "robust/support.h"

#if defined(__SANITIZE_ADDRESS__)
#include <sanitizer/lsan_interface.h>
#endif

namespace wbx::test::robust {
namespace {

bool leaks() {
#if defined(__SANITIZE_ADDRESS__)
  return __lsan_do_recoverable_leak_check() != 0;
#else
  return false;
#endif
}

// Frees what the library keeps beyond the life of an image: the nodes of its list of buffers.
void forgetEverything() {
  WBX_CloseLibrary();
  WBX_InitLibrary();
}

using Refuse = CountedMemory::Refuse;

struct Way {
  const char* name;
  bool custom, seekable;
};
constexpr Way kWays[] = {{"memory", false, true}, {"source", true, true}, {"pipe", true, false}};

class Session {
 public:
  Session(const Bytes& file, const Way& way)
      : file_(file), way_(way), source_(file, way.seekable) {}
  ~Session() { close(); }
  Session(const Session&) = delete;
  Session& operator=(const Session&) = delete;

  WBX_Handle open() { return handle_ = way_.custom ? source_.open() : openBytes(file_); }
  WBX_Handle handle() const { return handle_; }
  void close() {
    if (handle_ != nullptr) {
      EXPECT_EQ(WBX_Close(handle_), WBX_OK);
    }
    handle_ = nullptr;
  }
  bool closedOnce() const { return !way_.custom || source_.closes == 1; }

 private:
  const Bytes& file_;
  const Way& way_;
  Source source_;
  WBX_Handle handle_ = nullptr;
};

// One refusal at request number n of an open; returns false when the open needs fewer.
bool failOpen(const Bytes& file, const Way& way, Refuse refuse, i64 n) {
  CountedMemory memory(refuse, n, true);
  {
    Session session(file, way);
    if (session.open() != nullptr) {
      EXPECT_EQ(memory.refused(), 0);
    } else {
      EXPECT_EQ(WBX_getLastError(), WBX_ERROR_MEMORY) << n;
      // A Decoder that never came to be never knew of the callbacks.
      EXPECT_TRUE(session.closedOnce()) << n;
    }
  }
  EXPECT_EQ(memory.alive(), 0) << n;
  return memory.refused() != 0;
}

bool failDecode(const Bytes& file, const Way& way, Refuse refuse, i64 n, bool internal,
                const Picture& expected) {
  forgetEverything();
  CountedMemory count(Refuse::kNothing, 0, true);
  Session session(file, way);
  if (session.open() == nullptr) {
    ADD_FAILURE() << WBX_getLastError();
    return false;
  }
  const i64 alive = count.alive();
  bool refused;
  {
    CountedMemory memory(refuse, n, true);
    const Picture picture =
        internal ? decodeInternal(session.handle()) : decodeExternal(session.handle());
    refused = memory.refused() != 0;
    EXPECT_EQ(picture.code, refused ? WBX_ERROR_MEMORY : WBX_OK) << n;
    EXPECT_EQ(walkMetadata(session.handle()), WBX_OK);
    if (!refused) {
      EXPECT_EQ(picture.bytes, expected.bytes);
    }
    memory.relent();
    const Picture again =
        internal ? decodeInternal(session.handle()) : decodeExternal(session.handle());
    EXPECT_EQ(again.code, WBX_OK) << n;
    EXPECT_EQ(again.bytes, expected.bytes) << n;
    session.close();
    forgetEverything();
    EXPECT_EQ(memory.alive() + alive, 0) << n;
  }
  return refused;
}

TEST(ExhaustedMemory, EveryAllocationOfAnOpen) {
  i64 failures = 0;
  for (const NamedFile& file : allSmallFiles()) {
    for (const Way& way : kWays) {
      SCOPED_TRACE(file.name + " from " + way.name);
      for (const Refuse refuse : {Refuse::kOne, Refuse::kAllFrom}) {
        i64 n = 0;
        while (failOpen(file.bytes, way, refuse, n)) ++n;
        EXPECT_GT(n, 1);
        failures += n;
      }
    }
  }
  RecordProperty("failures", std::to_string(failures));
  EXPECT_FALSE(leaks());
}

TEST(ExhaustedMemory, EveryAllocationOfADecode) {
  i64 failures = 0;
  for (const NamedFile& file : allSmallFiles()) {
    WBX_Handle whole = openBytes(file.bytes);
    ASSERT_NE(whole, nullptr) << file.name;
    const Picture packed = decodeExternal(whole), wide = decodeInternal(whole);
    ASSERT_EQ(packed.code, WBX_OK) << file.name;
    ASSERT_EQ(wide.code, WBX_OK) << file.name;
    WBX_Close(whole);
    for (const Way& way : kWays) {
      for (const bool internal : {false, true}) {
        SCOPED_TRACE(file.name + " from " + way.name + (internal ? ", internal" : ""));
        i64 n = 0;
        while (failDecode(file.bytes, way, Refuse::kOne, n, internal, internal ? wide : packed))
          ++n;
        EXPECT_GT(n, 0);
        failures += n;
      }
    }
  }
  RecordProperty("failures", std::to_string(failures));
  EXPECT_FALSE(leaks());
}

}  // namespace
}  // namespace wbx::test::robust
