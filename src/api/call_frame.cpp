#include "api/call_frame.h"

#include "base/platform.h"

namespace wbx {

namespace {

// Where no Decoder can lie, a load or store is a fault even if the processor would allow it.
bool isMisplaced(WBX_Handle handle) {
  return reinterpret_cast<std::uintptr_t>(handle) % alignof(Decoder) != 0;
}

}  // namespace

i32 report(i32 code) {
  setLastErrorWord(static_cast<u32>(code) | kLibraryErrorFlag);
  return code;
}

i32 finish(i32 code) {
  if (code != WBX_OK) return report(code);
  logger.writeMore(" - OK");
  return WBX_OK;
}

i32 readMagic(WBX_Handle handle) {
  if (isMisplaced(handle)) return WBX_ERROR_ARGUMENT;
  const volatile u32& magic = decoderOf(handle).magic;
  return magic == kDecoderMagic ? WBX_OK : WBX_ERROR_ARGUMENT;
}

i32 testHandle(WBX_Handle handle) {
  return FaultGuard::probe([&] { return readMagic(handle); });
}

i32 setCancelled(WBX_Handle handle) {
  if (isMisplaced(handle)) return WBX_ERROR_ARGUMENT;
  return FaultGuard::probe(
      [&] { decoderOf(handle).cancelled.store(true, std::memory_order_relaxed); });
}

CallerText::CallerText(const char* text) {
  copy_[0] = '\0';
  if (text == nullptr) return;
  const i32 code = FaultGuard::probe([&] {
    size_t length = 0;
    while (length + 1 < sizeof copy_ && text[length] != '\0') {
      copy_[length] = text[length];
      ++length;
    }
    copy_[length] = '\0';
  });
  if (code != WBX_OK) copy_[0] = '\0';
}

}  // namespace wbx
