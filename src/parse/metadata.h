// MetadataStore: what the boxes of a JP2 file and the comments of the codestream hold (T.800 I).
#pragma once

#include "api/arena.h"
#include "api/types.h"
#include "stream/stream.h"

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
  u8* data = nullptr;  // in the Arena; a zero byte follows for all kinds but kMetaUuid
  MetadataEntry* next = nullptr;
};

struct ChannelDefinition {
  u16 type = 0;
  u16 association = 0;
};

class MetadataStore {
 public:
  explicit MetadataStore(Arena& arena) : arena_(arena) {}

  // Each returns 0 or an error code. parseJP2 starts 2 bytes into the file and leaves the stream
  // at the codestream; parseTrailingBoxes walks what stands behind EOC.
  [[nodiscard]] i32 parseJP2(Stream& stream);
  [[nodiscard]] i32 parseTrailingBoxes(Stream& stream);
  [[nodiscard]] i32 parseCOM(Stream& stream, i32 payloadLength);

  [[nodiscard]] bool isJP2() const { return isJP2_; }
  [[nodiscard]] bool isJPX() const { return isJPX_; }
  [[nodiscard]] u32 colourSpace() const { return colourSpace_; }
  [[nodiscard]] u16 channelCount() const { return channelCount_; }
  [[nodiscard]] const ChannelDefinition& channelDefinition(i32 channel) const {
    return channelDefinition_[channel];
  }
  [[nodiscard]] const MetadataEntry* head() const { return head_; }
  // Entry number `index` of the list; null behind the last one. A walk from entry to entry takes
  // one step each.
  [[nodiscard]] const MetadataEntry* entry(i32 index);

 private:
  // How the walk goes on behind a box.
  struct WalkStep {
    i32 code;
    bool ended;
  };

  [[nodiscard]] u32 boxType() const { return static_cast<u32>(current_.kind); }
  void beginEntry();
  [[nodiscard]] i32 parseFileType(Stream& stream);
  [[nodiscard]] i32 walkToCodestream(Stream& stream);
  [[nodiscard]] i32 readBoxHeader(Stream& stream);
  [[nodiscard]] WalkStep parseBox(Stream& stream);
  [[nodiscard]] WalkStep stepOver(Stream& stream) const;
  [[nodiscard]] i32 parseColourSpec(Stream& stream);
  void readEnumeratedSpace(Stream& stream);
  [[nodiscard]] i32 parseChannelDefinition(Stream& stream);
  [[nodiscard]] i32 parseURL(Stream& stream);
  [[nodiscard]] i32 parseUUID(Stream& stream);
  [[nodiscard]] i32 storeUnknownUUID(Stream& stream, const u8* uuid);
  // The two that store an entry, one after the other, and 0 or 2.
  [[nodiscard]] i32 store(Stream& stream, MetadataKind kind, i64 length);
  [[nodiscard]] bool readEntryData(Stream& stream, MetadataKind kind, i64 length);
  [[nodiscard]] bool appendEntry();

  Arena& arena_;
  MetadataEntry current_;  // under construction; during a walk its box's payload length and type
  MetadataEntry* head_ = nullptr;
  MetadataEntry* tail_ = nullptr;
  const MetadataEntry* lastAsked_ = nullptr;
  i32 lastAskedIndex_ = 0;
  bool isJP2_ = false;
  bool isJPX_ = false;
  u32 colourSpace_ = kColourNone;
  ChannelDefinition channelDefinition_[4];
  u16 channelCount_ = 0;
};

}  // namespace wbx
