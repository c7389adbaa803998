// Decoder: one open image, the object behind WBX_Handle.
#pragma once

#include <atomic>

#include "base/arena.h"
#include "base/types.h"
#include "engine/decode_options.h"
#include "engine/tile_engine.h"
#include "parse/image_index.h"
#include "stream/stream.h"
#include "tier1/block_decoder.h"
#include "tier1/group_decoder.h"

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
// thread at a time, except for the two flags.
struct Decoder {
  // Null when memory runs out.
  [[nodiscard]] static Decoder* create(Source source);
  // Closes the source, frees everything, internal output buffers included, and the object itself.
  static void destroy(Decoder* decoder);

  Decoder(const Decoder&) = delete;
  Decoder& operator=(const Decoder&) = delete;

  std::atomic<bool> cancelled{false};  // read and stored relaxed
  // A call has hold of the object. A word, since an exchange of bytes needs libatomic on riscv64.
  std::atomic<u32> busy{0};
  Arena arena{46000};
  ImageIndex index{arena};
  Rect decodeRegion;  // bounding rectangle of the selected tiles at full resolution
  DecodeOptions options;
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

  // The one pass of an open. Returns 0 or an error code.
  [[nodiscard]] i32 readIndex();

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
  [[nodiscard]] i32 tileCount() const { return static_cast<i32>(index.tileTable.total()); }
  // The rectangle of the picture at a level: that of the selected tiles, reduced.
  [[nodiscard]] Rect pictureAt(i32 level) const;
  [[nodiscard]] i32 nextTile(i32 from) const;
  [[nodiscard]] bool isDecodable(i32 number) const;
  void settleOptions();
  [[nodiscard]] i32 decodeTile(i32 number, const Rect& picture);
  [[nodiscard]] i32 rowOf(const Rect& tile, const Rect& picture) const;
  [[nodiscard]] bool mayLackComponents() const;
  void clearAbsent(i32 number, const Rect& picture);
  // Tells the engine where a tile goes.
  template <class Engine>
  [[nodiscard]] Engine& aim(Engine& engine, const Tile& tile, i32 x, i32 y);
};

}  // namespace wbx
