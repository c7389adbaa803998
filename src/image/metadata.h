// MetadataStore: what the boxes of a JP2 file and the comments of the codestream hold (T.800 I).
#pragma once

#include "base/arena.h"
#include "base/types.h"

namespace wbx {

enum MetadataKind : i32 {
  kMetaText = 0,
  kMetaBinary = 1,
  kMetaGeoTiff = 2,
  kMetaXml = 3,
  kMetaUrl = 4,
  kMetaPalette = 5,
  kMetaIcc = 6,
  kMetaUuid = 7,
};

enum ColourSpace : u32 {
  kColourYcc = 22,
  kColourRestrictedIcc = 0x4000,
  kColourIcc = 0x8000,
  kColourNone = 0x8001,
};

struct MetadataEntry {
  i32 length = 0;
  i32 kind = 0;
  const u8* data = nullptr;  // in the Arena; a zero byte follows for all kinds but kMetaUuid
  MetadataEntry* next = nullptr;
};

struct ChannelDefinition {
  u16 type = 0;
  u16 association = 0;
};

class MetadataStore {
 public:
  explicit MetadataStore(Arena& arena) : arena_(arena) {}

  bool isJP2 = false;
  bool isJPX = false;
  u32 colourSpace = kColourNone;
  u16 channelCount = 0;
  ChannelDefinition channelDefinition[4];

  static constexpr i64 kMaxData = Arena::kMaxSize;

  // Room for the contents of an entry, which reads as zeros: what a source does not deliver never
  // hands anything of the heap to a caller. Null when memory runs out.
  [[nodiscard]] u8* allocateData(i64 size) { return static_cast<u8*>(arena_.allocateZeroed(size)); }
  // Behind all others; false when memory runs out.
  [[nodiscard]] bool append(MetadataKind kind, const u8* data, i32 length);

  // Entry number `index` of the list; null behind the last one. A walk from entry to entry takes
  // one step each.
  [[nodiscard]] const MetadataEntry* entry(i32 index);

 private:
  Arena& arena_;
  MetadataEntry* head_ = nullptr;
  MetadataEntry* tail_ = nullptr;
  const MetadataEntry* lastAsked_ = nullptr;
  i32 lastAskedIndex_ = 0;
};

}  // namespace wbx
