// Open, close and cancel.
#include "wbx.h"

#include "api/call_frame.h"

using namespace wbx;

namespace {

// Builds a Decoder, has `setUp` point its stream at the source, and reads all headers. After a
// fault the half-built object is abandoned: nobody knows what of it can still be destroyed. But the
// source is told the end.
template <class SetUp>
WBX_Handle openImage(Decoder* decoder, SetUp setUp) {
  if (decoder == nullptr) {
    report(WBX_ERROR_MEMORY);
    return nullptr;
  }
  const i32 code = FaultGuard::work([&] {
    decoder->stream->close();
    i32 result = setUp(*decoder);
    if (result == WBX_OK) result = decoder->readIndex();
    if (result != WBX_OK) Decoder::destroy(decoder);
    return result;
  });
  if (code == WBX_ERROR_INTERNAL) {
    (void)FaultGuard::workSilently([&] { decoder->stream->close(); });
  }
  if (code != WBX_OK) {
    report(code);
    return nullptr;
  }
  logger.writeStamped("^ OK ^");
  return handleOf(decoder);
}

WBX_Handle refuseArgument() {
  report(WBX_ERROR_ARGUMENT);
  return nullptr;
}

}  // namespace

WBX_Handle WBX_OpenFile(const char* path) {
  if (path == nullptr) {
    logger.writeStamped("API call: WBX_OpenFile(null)");
    return refuseArgument();
  }
  if (logger.active()) {
    logger.writeStamped("API call: WBX_OpenFile(\"%s\")", CallerText(path).get());
  }
  return openImage(Decoder::create(Source::kFile), [&](Decoder& decoder) {
    return decoder.fileStream.open(path) ? WBX_OK : WBX_ERROR_OPEN;
  });
}

WBX_Handle WBX_OpenMemory(const void* data, int32_t size) {
  logger.writeStamped("API call: WBX_OpenMemory(%p,%d)", data, size);
  if (data == nullptr || size < 1) return refuseArgument();
  return openImage(Decoder::create(Source::kMemory), [&](Decoder& decoder) {
    decoder.memoryStream.open(data, static_cast<u32>(size));
    return WBX_OK;
  });
}

WBX_Handle WBX_OpenCustom(void* user, const CustomCallbacks* callbacks) {
  logger.writeStamped("API call: WBX_OpenCustom(%p)", static_cast<const void*>(callbacks));
  if (callbacks == nullptr) return refuseArgument();
  CustomCallbacks copy = {};
  const i32 code = FaultGuard::probe([&] { copy = *callbacks; });
  if (code != WBX_OK || copy.read == nullptr) return refuseArgument();
  Decoder* created = Decoder::create(Source::kCustom);
  if (created == nullptr && copy.close != nullptr) {
    (void)FaultGuard::workSilently([&] { copy.close(user); });
  }
  return openImage(created, [&](Decoder& decoder) {
    decoder.customStream.open(user, copy);
    return WBX_OK;
  });
}

int32_t WBX_Close(WBX_Handle handle) {
  logger.writeStamped("API call: WBX_Close(%p)", static_cast<void*>(handle));
  if (handle == nullptr) return report(WBX_ERROR_ARGUMENT);
  const i32 code = seize(handle);
  if (code != WBX_OK) return report(code);
  return finish(FaultGuard::work([&] { Decoder::destroy(&decoderOf(handle)); }));
}

void WBX_Cancel(WBX_Handle handle) {
  logger.writeStamped("API call: WBX_Cancel(%p)", static_cast<void*>(handle));
  if (handle == nullptr || setCancelled(handle) != WBX_OK) {
    logger.writeMore(" <= Invalid argument passed!");
    report(WBX_ERROR_ARGUMENT);
    return;
  }
  logger.writeMore(" - OK");
}
