// An image in a file: with the log on, without memory from some allocation on, in one call, and
// with a library that was shut down and started again.
#include <cstdio>

#include "codestream_mutator.h"
#include "session.h"
#include "shortage.h"

namespace wbx::fuzz {

namespace {

constexpr char kPath[] = "fuzzed-file";

void writeFile(const FileInput& input) {
  std::FILE* file = std::fopen(kPath, "wb");
  require(file != nullptr, "no file to write to");
  require(std::fwrite(input.file, 1, input.size, file) == input.size, "the file is not written");
  std::fclose(file);
}

void openAndVisit(Decisions tail, Source source) {
  const WBX_Handle image = WBX_OpenFile(kPath);
  if (image == nullptr) {
    static_cast<void>(codeOfFailedOpen(source));
    return;
  }
  static_cast<void>(visit(image, tail, source));
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

void refuseArguments() {
  void* pixels = nullptr;
  u32 number = 0;
  for (const char* path : {static_cast<const char*>(nullptr), ""}) {
    require(WBX_OpenFile(path) == nullptr, "a file without a name");
    require(WBX_EasyDecode(path, &pixels, &number, &number, &number, nullptr) == nullptr,
            "a picture without a name");
    require(WBX_getLastError() == WBX_ERROR_ARGUMENT, "code of a file without a name");
  }
  WBX_Cancel(nullptr);
}

void run(const FileInput& input) {
  Decisions tail = input.tail;
  const u8 shape = tail.byte();
  writeFile(input);
  if ((shape & 1) != 0) require(WBX_StartLogging(0, 0) == WBX_OK, "no log");
  if ((shape & 2) != 0) {
    const Shortage shortage(1 + tail.below(512), (shape & 4) != 0);
    openAndVisit(tail, Source::kFailing);
  } else {
    openAndVisit(tail, Source::kReliable);
  }
  constexpr const char* kOptions[] = {nullptr, "rl=1,bitmap", "bpp=1,video=1", "unknown"};
  if ((shape & 8) != 0) {
    decodeInOneCall(kOptions[shape >> 4 & 3]);
    refuseArguments();
  }
  if ((shape & 64) != 0) {
    WBX_CloseLibrary();
    WBX_InitLibrary();
  }
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
