// An image in memory: open, queries, metadata, selection, decodes.
#include "codestream_mutator.h"
#include "session.h"

extern "C" int LLVMFuzzerTestOneInput(const wbx::u8* data, size_t size) {
  const wbx::fuzz::FileInput input(data, size);
  if (input.size == 0) return -1;
  static_cast<void>(wbx::fuzz::visitMemory(input.file, input.size, input.tail));
  return 0;
}
