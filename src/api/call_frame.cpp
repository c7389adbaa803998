#include "api/call_frame.h"

#include <cstring>

#include "base/platform.h"

namespace wbx {

namespace {

// Where no Decoder can lie, a load or store is a fault even if the processor would allow it.
bool isMisplaced(WBX_Handle handle) {
  const auto address = reinterpret_cast<std::uintptr_t>(handle);
  return address % alignof(Decoder) != 0 || address > ~std::uintptr_t{0} - sizeof(Decoder);
}

bool isOpenImage(WBX_Handle handle) {
  if (isMisplaced(handle)) return false;
  const volatile u32& magic = decoderOf(handle).magic;
  return magic == kDecoderMagic;
}

// False if another call was faster.
bool takeHold(WBX_Handle handle) {
  return decoderOf(handle).busy.exchange(1, std::memory_order_acquire) == 0;
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

i32 setCancelled(WBX_Handle handle) {
  if (isMisplaced(handle)) return WBX_ERROR_ARGUMENT;
  return FaultGuard::probe(
      [&] { decoderOf(handle).cancelled.store(true, std::memory_order_relaxed); });
}

Hold::Hold(WBX_Handle handle)
    : handle_(handle), code_(FaultGuard::probe([&] {
        return isOpenImage(handle) && takeHold(handle) ? WBX_OK : WBX_ERROR_ARGUMENT;
      })) {}

Hold::~Hold() {
  if (code_ == WBX_OK) decoderOf(handle_).busy.store(0, std::memory_order_release);
}

i32 seize(WBX_Handle handle) {
  const i32 code = setCancelled(handle);
  if (code != WBX_OK) return code;
  return FaultGuard::probe([&] { return takeHold(handle) ? WBX_OK : WBX_ERROR_ARGUMENT; });
}

CallerText::CallerText(const char* text) {
  copy_[0] = '\0';
  if (text == nullptr) return;
  const i32 code = FaultGuard::probe([&] {
    size_t length = 0;
    while (length < kLength && text[length] != '\0') {
      copy_[length] = text[length];
      ++length;
    }
    std::strcpy(copy_ + length, length < kLength ? "" : "...");
  });
  if (code != WBX_OK) copy_[0] = '\0';
}

}  // namespace wbx
