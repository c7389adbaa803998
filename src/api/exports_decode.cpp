// Decode.
#include "wbx.h"

#include "api/call_frame.h"
#include "api/options.h"

using namespace wbx;

namespace {

void logDecodeCall(void* const* buffer, const char* options) {
  if (!logger.active()) return;
  bool internal = false;
  if (buffer != nullptr) {
    (void)FaultGuard::probe([&] { internal = *buffer == nullptr; });
  }
  logger.writeStamped("API call: WBX_Decode(\"%s\"), using %s buffer", CallerText(options).get(),
                      internal ? "internal" : "external");
}

// Everything of WBX_EasyDecode behind the open. Returns 0 or the code of what failed.
i32 decodeWhole(WBX_Handle handle, void** buffer, u32* width, u32* height, u32* components,
                const char* options) {
  i32 code = WBX_GetInfo(handle, width, height, components);
  if (code != WBX_OK) return code;
  code = WBX_GetResolutionDimensionsByStr(handle, options, width, height);
  // A level beyond the last is no failure: the decode goes to the same level, whose size we have.
  if (code != WBX_OK && code != WBX_ERROR_RESOLUTION) return code;
  u32 size = 0;
  return WBX_Decode(handle, buffer, &size, options, nullptr);
}

}  // namespace

int32_t WBX_Decode(WBX_Handle handle, void** buffer, uint32_t* size, const char* options,
                   uint32_t* pitch) {
  logDecodeCall(buffer, options);
  if (handle == nullptr || buffer == nullptr || size == nullptr) return report(WBX_ERROR_ARGUMENT);
  const Hold hold(handle);
  if (hold.code() != WBX_OK) return report(hold.code());

  const i32 code = FaultGuard::work([&] {
    Decoder& decoder = decoderOf(handle);
    i32 result = parseOptions(decoder.options, options, false, false);
    if (result == WBX_OK) result = decoder.planOutput(buffer, size, pitch);
    if (result == WBX_OK) result = decoder.decodeTiles();
    return result;
  });
  if (code != WBX_OK) return report(code);
  logger.writeStamped("^ OK ^");
  return WBX_OK;
}

WBX_Handle WBX_EasyDecode(const char* path, void** buffer, uint32_t* width, uint32_t* height,
                          uint32_t* components, const char* options) {
  if (path == nullptr || buffer == nullptr || width == nullptr || height == nullptr ||
      components == nullptr) {
    report(WBX_ERROR_ARGUMENT);
    return nullptr;
  }
  const i32 code = FaultGuard::probe([&] {
    if (*path == '\0') return WBX_ERROR_ARGUMENT;
    *buffer = nullptr;
    return WBX_OK;
  });
  if (code != WBX_OK) {
    report(code);
    return nullptr;
  }

  WBX_Handle handle = WBX_OpenFile(path);
  if (handle == nullptr) return nullptr;
  if (decodeWhole(handle, buffer, width, height, components, options) != WBX_OK) {
    WBX_Close(handle);
    (void)FaultGuard::probe([&] { *buffer = nullptr; });  // what it led to is gone
    return nullptr;
  }
  return handle;
}
