// Information, metadata, resolutions and tile selection.
#include "wbx.h"

#include "api/call_frame.h"
#include "api/options.h"

using namespace wbx;

namespace {

void fillInfo(const Decoder& decoder, WBX_ImageInfoEx& info) {
  const bool inBoxes = decoder.index.metadata.isJP2 || decoder.index.metadata.isJPX;
  const bool reversible = decoder.index.mainCoding.kernel == kKernel53;
  info.version = WBX_VERSION;
  info.width = decoder.index.image.image.width();
  info.height = decoder.index.image.image.height();
  info.components = decoder.index.image.components;
  info.flags = (inBoxes ? u32{WBX_INFO_JP2} : 0) | (reversible ? u32{WBX_INFO_REVERSIBLE} : 0);
  info.tilesAcross = static_cast<u32>(decoder.index.tileTable.across());
  info.tilesDown = static_cast<u32>(decoder.index.tileTable.down());
  info.precision = static_cast<u32>(decoder.index.image.maxPrecision);
}

// Returns 10 for a level beyond the last, with the size of the last stored.
i32 storeDimensions(const Decoder& decoder, i32 level, u32* width, u32* height) {
  const i32 count = decoder.resolutionCount();
  const i32 used = level >= count ? count - 1 : level;
  const Rect picture = reduceRect(decoder.decodeRegion, used);
  *width = picture.width();
  *height = picture.height();
  return used == level ? WBX_OK : WBX_ERROR_RESOLUTION;
}

}  // namespace

int32_t WBX_GetInfo(WBX_Handle handle, uint32_t* width, uint32_t* height, uint32_t* components) {
  logger.writeStamped("API call: WBX_GetInfo()");
  if (handle == nullptr) return report(WBX_ERROR_ARGUMENT);
  const Hold hold(handle);
  if (hold.code() != WBX_OK) return report(hold.code());
  return finish(FaultGuard::probe([&] {
    const ImageHeader& image = decoderOf(handle).index.image;
    if (width != nullptr) *width = image.image.width();
    if (height != nullptr) *height = image.image.height();
    if (components != nullptr) *components = image.components;
  }));
}

int32_t WBX_GetInfoEx(WBX_Handle handle, WBX_ImageInfoEx* info) {
  logger.writeStamped("API call: WBX_GetInfoEx()");
  if (handle == nullptr || info == nullptr) return report(WBX_ERROR_ARGUMENT);
  const Hold hold(handle);
  if (hold.code() != WBX_OK) return report(hold.code());
  return finish(FaultGuard::probe([&] { fillInfo(decoderOf(handle), *info); }));
}

int32_t WBX_GetMetaData(WBX_Handle handle, int32_t* index, uint32_t* kind, const void** data,
                        uint32_t* length) {
  logger.writeStamped("API call: WBX_GetMetaData()");
  if (handle == nullptr || index == nullptr || kind == nullptr || data == nullptr ||
      length == nullptr) {
    return report(WBX_ERROR_ARGUMENT);
  }
  const Hold hold(handle);
  if (hold.code() != WBX_OK) return report(hold.code());
  return finish(FaultGuard::work([&] {
    const i32 wanted = *index;
    *data = nullptr;
    const MetadataEntry* entry = decoderOf(handle).index.metadata.entry(wanted);
    if (entry != nullptr) {
      *kind = static_cast<u32>(entry->kind);
      *data = entry->data;
      *length = static_cast<u32>(entry->length);
    }
    *index = static_cast<i32>(static_cast<u32>(wanted) + 1);
  }));
}

int32_t WBX_GetResolutions(WBX_Handle handle, int32_t* count) {
  logger.writeStamped("API call: WBX_GetResolutions()");
  if (handle == nullptr || count == nullptr) return report(WBX_ERROR_ARGUMENT);
  const Hold hold(handle);
  if (hold.code() != WBX_OK) return report(hold.code());
  i32 found = 0;
  const i32 code = FaultGuard::work([&] { found = decoderOf(handle).resolutionCount(); });
  if (code != WBX_OK) return report(code);
  return finish(FaultGuard::probe([&] { *count = found; }));
}

int32_t WBX_GetResolutionDimensions(WBX_Handle handle, int32_t level, uint32_t* width,
                                    uint32_t* height) {
  logger.writeStamped("API call: WBX_GetResolutionDimensions()");
  if (handle == nullptr || width == nullptr || height == nullptr) return report(WBX_ERROR_ARGUMENT);
  const Hold hold(handle);
  if (hold.code() != WBX_OK) return report(hold.code());
  return finish(
      FaultGuard::work([&] { return storeDimensions(decoderOf(handle), level, width, height); }));
}

int32_t WBX_GetResolutionDimensionsByStr(WBX_Handle handle, const char* options, uint32_t* width,
                                         uint32_t* height) {
  DecodeOptions parsed;
  const i32 code = FaultGuard::probe([&] {
    // Only the level counts, and what is unknown here the decode itself will report.
    (void)parseOptions(parsed, options, true, true);
  });
  if (code != WBX_OK) return report(code);
  return WBX_GetResolutionDimensions(handle, parsed.res_level, width, height);
}

int32_t WBX_SelectTiles(WBX_Handle handle, int32_t first, int32_t last, int32_t state) {
  logger.writeStamped("API call: WBX_SelectTiles(%d,%d,%d)", first, last, state);
  if (handle == nullptr) return report(WBX_ERROR_ARGUMENT);
  const Hold hold(handle);
  if (hold.code() != WBX_OK) return report(hold.code());
  return finish(
      FaultGuard::work([&] { return decoderOf(handle).selectTiles(first, last, state != 0); }));
}
