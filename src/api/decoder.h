// Decoder: one open image, the object behind WBX_Handle.
#pragma once

#include <atomic>

#include "api/arena.h"
#include "api/options.h"
#include "api/types.h"
#include "engine/tile_engine.h"
#include "parse/coding_style.h"
#include "parse/image_header.h"
#include "parse/marker.h"
#include "parse/metadata.h"
#include "stream/stream.h"
#include "tier1/block_decoder.h"
#include "tier2/packet_bit_reader.h"
#include "tier2/tile_table.h"

namespace wbx {

inline constexpr u32 kDecoderMagic = 1365;

// What the last planning found. Never owns the memory.
struct OutputPlan {
  i32 bytesPerPixel = 0;
  u32 size = 0;  // bytes of the picture
  u32 pitch = 0;
  u8* buffer = nullptr;
  u32 width = 0, height = 0;
};

enum class Source { kFile, kMemory, kCustom };

// Holds by value everything that does not grow with the image; the rest is its Arena's. For one
// thread at a time, except for `cancelled`.
struct Decoder {
  // Null when memory runs out.
  [[nodiscard]] static Decoder* create(Source source);
  // Closes the source, frees everything, internal output buffers included, and the object itself.
  static void destroy(Decoder* decoder);

  Decoder(const Decoder&) = delete;
  Decoder& operator=(const Decoder&) = delete;

  std::atomic<bool> cancelled{false};  // read and stored relaxed
  Arena arena{46000};
  ImageHeader image;
  MetadataStore metadata{arena};
  CodingStyle mainCoding;
  Rect decodeRegion;  // bounding rectangle of the selected tiles at full resolution
  TileTable tileTable;
  i32 currentTile = 0;  // index of the tile that the last SOT named
  DecodeOptions options;
  bool chromaSubsampled = false;
  PacketBitReader packetBits;
  BlockDecoder blockDecoder{arena};
  GroupDecoder groupDecoder{arena};
  TileEngine8 engine8;
  TileEngine16 engine16;
  OutputPlan outputPlan;
  u32 magic = kDecoderMagic;
  Stream* stream;  // one of the three below
  FileStream fileStream;
  MemoryStream memoryStream;
  CustomStream customStream;
  MarkerState marker;

  // src/parse: the one pass of an open. Each returns 0 or an error code.
  [[nodiscard]] i32 parseHeaders();
  [[nodiscard]] i32 handleMarker(CodingStyle& style);
  [[nodiscard]] i32 parseCodingMarker(CodingStyle& style);
  [[nodiscard]] i32 parseSIZ();
  [[nodiscard]] i32 checkCompliance(const CodingStyle& codingStyle);
  [[nodiscard]] i32 parseSOT(i32 length);
  [[nodiscard]] i32 parseSOD();

  // Decode driver. planOutput returns 0, 2, 11 or 12; decodeTiles 0, 6 or an engine's code.
  [[nodiscard]] i32 planOutput(void** buffer, u32* size, u32* pitch);
  [[nodiscard]] i32 decodeTiles();

  // Queries. The number of resolutions that every selected tile can deliver.
  [[nodiscard]] i32 resolutionCount() const;
  [[nodiscard]] i32 selectTiles(i32 first, i32 last, bool state);

 private:
  explicit Decoder(Source source);
  ~Decoder();

  // More tiles than 2^24 do not open.
  [[nodiscard]] i32 tileCount() const { return static_cast<i32>(tileTable.total()); }
  // The rectangle of the picture at a level: that of the selected tiles, reduced.
  [[nodiscard]] Rect pictureAt(i32 level) const;
  [[nodiscard]] i32 nextTile(i32 from) const;
  [[nodiscard]] bool isDecodable(i32 tile) const;
  void settleOptions();
  [[nodiscard]] i32 decodeTile(i32 index, const Rect& picture);
  template <class Engine>
  [[nodiscard]] i32 runEngine(Engine& engine, const Tile& tile, i32 x, i32 y);
};

}  // namespace wbx
