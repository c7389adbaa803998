// ImageIndex: what an open makes of a source.
#pragma once

#include <atomic>

#include "base/arena.h"
#include "base/types.h"
#include "image/coding_style.h"
#include "image/image_header.h"
#include "image/metadata.h"
#include "parse/marker.h"
#include "stream/stream.h"
#include "tier2/packet_bit_reader.h"
#include "tier2/tile_table.h"

namespace wbx {

// The headers, the metadata, and for each tile where the bytes of its code blocks lie: all that a
// decode needs to know. What grows with the image is in the Arena.
struct ImageIndex {
  explicit ImageIndex(Arena& pool) : arena(pool) {}

  Arena& arena;
  ImageHeader image;
  MetadataStore metadata{arena};
  CodingStyle mainCoding;
  TileTable tileTable;
  bool chromaSubsampled = false;

  // Walks the whole source once, marker by marker. Returns 0 or an error code, 6 when `cancel` was
  // set on the way; after an error the index is only good to be thrown away.
  [[nodiscard]] i32 parseHeaders(Stream& source, const std::atomic<bool>& cancel);

 private:
  [[nodiscard]] bool inTilePartHeader() const { return marker.state == kPhaseTilePartHeader; }
  [[nodiscard]] CodingStyle& codingStyleInForce();
  [[nodiscard]] i32 handleMarker(CodingStyle& style);
  [[nodiscard]] i32 parseCodingMarker(CodingStyle& style);
  [[nodiscard]] i32 parseSIZ();
  [[nodiscard]] i32 checkCompliance(const CodingStyle& style);
  void overrideTransform();
  [[nodiscard]] i32 parseSOT(i32 length);
  [[nodiscard]] i32 parseSOD();
  [[nodiscard]] bool isCancelled() const { return cancelled->load(std::memory_order_relaxed); }

  Stream* stream = nullptr;
  const std::atomic<bool>* cancelled = nullptr;
  MarkerState marker;
  PacketBitReader packetBits;
  Tile* currentTile = nullptr;  // the one that the last SOT named
};

}  // namespace wbx
