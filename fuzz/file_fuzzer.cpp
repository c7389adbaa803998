// An image in a file: with the log on, without memory from some allocation on, and in one call.
#include <cstdio>

#include "base/memory.h"
#include "codestream_mutator.h"
#include "session.h"

namespace wbx::fuzz {

namespace {

constexpr char kPath[] = "fuzzed-file";

void writeFile(const FileInput& input) {
  std::FILE* file = std::fopen(kPath, "wb");
  require(file != nullptr, "no file to write to");
  require(std::fwrite(input.file, 1, input.size, file) == input.size, "the file is not written");
  std::fclose(file);
}

// One allocation is refused, or it and all that follow.
class Shortage {
 public:
  Shortage(i32 at, bool lasting) {
    left = at;
    once = !lasting;
    watchMemory(&kWatch);
  }
  ~Shortage() { watchMemory(nullptr); }
  Shortage(const Shortage&) = delete;
  Shortage& operator=(const Shortage&) = delete;

 private:
  static bool mayAllocate(size_t, bool) {
    --left;
    return left > 0 || (once && left < 0);
  }
  static constexpr MemoryWatch kWatch = {&mayAllocate, [] {}, true};
  static inline i32 left = 0;
  static inline bool once = false;
};

void openAndVisit(Decisions tail, bool reliable) {
  const WBX_Handle image = WBX_OpenFile(kPath);
  if (image == nullptr) {
    static_cast<void>(codeOfFailedOpen());
    return;
  }
  static_cast<void>(visit(image, tail, reliable));
  require(WBX_Close(image) == WBX_OK, "Close failed");
}

// The size is asked for first: a picture may be larger than is worth the time.
void decodeInOneCall(const char* options) {
  u32 width = 0, height = 0, components = 0;
  const WBX_Handle image = WBX_OpenFile(kPath);
  if (image == nullptr) return;
  require(WBX_GetInfo(image, &width, &height, &components) == WBX_OK, "GetInfo failed");
  require(WBX_Close(image) == WBX_OK, "Close failed");
  if (u64{width} * height > 1u << 18) return;
  void* pixels = &width;
  const WBX_Handle decoded = WBX_EasyDecode(kPath, &pixels, &width, &height, &components, options);
  require((decoded == nullptr) == (pixels == nullptr), "a handle without a picture or vice versa");
  if (decoded != nullptr) require(WBX_Close(decoded) == WBX_OK, "Close failed");
}

void run(const FileInput& input) {
  Decisions tail = input.tail;
  const u8 shape = tail.byte();
  writeFile(input);
  if ((shape & 1) != 0) require(WBX_StartLogging(0, 0) == WBX_OK, "no log");
  if ((shape & 2) != 0) {
    const Shortage shortage(1 + tail.below(512), (shape & 4) != 0);
    openAndVisit(tail, false);
  } else {
    openAndVisit(tail, true);
  }
  if ((shape & 8) != 0) decodeInOneCall((shape & 16) != 0 ? "rl=1,bitmap" : nullptr);
  WBX_StopLogging();
}

}  // namespace

}  // namespace wbx::fuzz

extern "C" int LLVMFuzzerTestOneInput(const wbx::u8* data, size_t size) {
  const wbx::fuzz::FileInput input(data, size);
  if (input.size == 0) return -1;
  wbx::fuzz::run(input);
  return 0;
}
