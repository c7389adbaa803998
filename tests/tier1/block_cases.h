// Random code blocks, and batches of them as packets leave them.
#pragma once

#include <algorithm>
#include <cstring>
#include <memory>
#include <ostream>
#include <random>
#include <vector>

#include "image/coding_style.h"
#include "support/reference_block_decoder.h"
#include "tier1/block_task.h"

namespace wbx::test {

struct BlockCase {
  ReferenceBlock block;
  u8 style = 0;

  [[nodiscard]] BlockBand band() const {
    BlockBand band;
    band.orientation = static_cast<u8>(block.orientation);
    band.style = style;
    band.magnitudeBits = block.magnitudeBits;
    band.roiShift = block.roiShift;
    return band;
  }
};

inline std::ostream& operator<<(std::ostream& out, const BlockCase& c) {
  out << c.block.width << "x" << c.block.height << " orientation " << c.block.orientation
      << " style " << static_cast<int>(c.style) << " Mb " << c.block.magnitudeBits << " roi "
      << c.block.roiShift << " missing " << c.block.zeroPlanes << ", chunks";
  for (const ReferenceChunk& chunk : c.block.chunks) {
    out << " [" << chunk.passes << (chunk.endsSegment ? "!" : "") << ":" << std::hex;
    for (const u8 byte : chunk.bytes) out << " " << static_cast<int>(byte);
    out << std::dec << "]";
  }
  return out;
}

// Where the bytes of the chunks lie: in the chunks, in the memory that is the source, or behind
// callbacks.
enum class Home { kInline, kMemory, kCallbacks };

// Cases as packets leave them, in one source.
class PacketedBlocks {
 public:
  PacketedBlocks(const std::vector<BlockCase>& cases, Home home) : home_(home) {
    for (const BlockCase& c : cases) {
      blocks_.push_back(std::make_unique<CodeBlock>());
      CodeBlock& block = *blocks_.back();
      for (const ReferenceChunk& chunk : c.block.chunks) append(block, chunk);
      block.zeroPlanes = static_cast<i8>(c.block.zeroPlanes);
      block.firstPass = static_cast<i8>(3 * c.block.zeroPlanes);
    }
    memory_.open(source_.data(), static_cast<u32>(source_.size()));
    CustomCallbacks callbacks = {};
    callbacks.read = [](void* buffer, u32 count, void* user) WBX_CALL {
      auto& self = *static_cast<PacketedBlocks*>(user);
      const auto there = std::min<size_t>(count, self.source_.size() - self.position_);
      std::memcpy(buffer, self.source_.data() + self.position_, there);
      self.position_ += there;
      return static_cast<i32>(there);
    };
    callbacks.seek = [](void* user, u32 offset) WBX_CALL {
      auto& self = *static_cast<PacketedBlocks*>(user);
      self.position_ = std::min<size_t>(offset, self.source_.size());
      return 0;
    };
    custom_.open(this, callbacks);
  }

  [[nodiscard]] const CodeBlock& operator[](size_t i) const { return *blocks_[i]; }
  [[nodiscard]] Stream& stream() {
    if (home_ == Home::kCallbacks) return custom_;
    return memory_;
  }

 private:
  void append(CodeBlock& block, const ReferenceChunk& chunk) {
    using Storage = DataChunk::Storage;
    const Storage storage = home_ == Home::kInline ? Storage::kInline : Storage::kReference;
    const auto length = static_cast<u32>(chunk.bytes.size()) + chunk.missing;
    const auto size = static_cast<size_t>(DataChunk::recordSize(length, storage));
    records_.push_back(std::make_unique<u64[]>((size + 7) / 8));
    auto* record = reinterpret_cast<DataChunk*>(records_.back().get());
    record->initialise(length, storage,
                       static_cast<u8>(chunk.passes | (chunk.endsSegment ? 0x80 : 0)));
    record->setNext(nullptr);
    if (home_ == Home::kInline) {
      std::copy(chunk.bytes.begin(), chunk.bytes.end(), record->data());
    } else {
      record->setPosition(static_cast<u32>(source_.size()));
      source_.insert(source_.end(), chunk.bytes.begin(), chunk.bytes.end());
    }
    block.lastChunk ? block.lastChunk->setNext(record) : void(block.chunks = record);
    block.lastChunk = record;
  }

  Home home_;
  std::vector<u8> source_{0};  // one byte that no chunk owns, so that it is never empty
  size_t position_ = 0;
  MemoryStream memory_;
  CustomStream custom_;
  std::vector<std::unique_ptr<u64[]>> records_;
  std::vector<std::unique_ptr<CodeBlock>> blocks_;
};

// Random blocks. Random bytes alone would make every sample significant at once, so there is also
// data that decodes to long runs of the more probable symbol.
class CaseMaker {
 public:
  explicit CaseMaker(u32 seed) : random_(seed) {}

  i32 below(i32 n) { return static_cast<i32>(random_() % static_cast<u32>(n)); }

  // A `usual` one has the default style and no region of interest.
  BlockCase make(i32 width, i32 height, bool usual) {
    BlockCase c;
    c.block.width = width;
    c.block.height = height;
    c.block.orientation = below(4);
    c.block.magnitudeBits = 1 + below(31);
    c.block.zeroPlanes = below(3) == 0 ? below(c.block.magnitudeBits + (usual ? 0 : 2)) : 0;
    if (!usual) {
      c.block.roiShift = below(4) == 0 ? below(32 - c.block.magnitudeBits) : 0;
      for (const u8 flag : {kStyleReset, kStyleTermall, kStylePterm, kStyleSegsym})
        c.style = static_cast<u8>(c.style | (below(3) == 0 ? flag : 0));
    }
    c.block.resetsContexts = (c.style & kStyleReset) != 0;
    c.block.segmentationSymbols = (c.style & kStyleSegsym) != 0;
    addChunks(c, 2 * width * height / 3 + 8, !usual);
    return c;
  }

 private:
  // Segments end where their chunks say so, whatever the style.
  void addChunks(BlockCase& c, i32 bytes, bool terminates) {
    const i32 planes = c.block.magnitudeBits + c.block.roiShift - c.block.zeroPlanes;
    i32 passes = 1 + below(3 * std::max(planes, 1) + 3);
    if (below(2) == 0) passes = std::min(passes, 10);
    profile_ = below(5);
    if (terminates && below(3) == 0) {
      const bool regular = below(2) == 0;
      for (; passes > 0; --passes)
        c.block.chunks.push_back({data(below(bytes) / 2), 1, regular || below(5) != 0});
      return;
    }
    while (passes > 0) {
      const i32 n = below(3) == 0 ? passes : std::min(passes, 1 + below(8));
      const i32 length = below(4) == 0 ? below(3) : below(bytes);
      c.block.chunks.push_back({data(length), n, false});
      passes -= n;
    }
  }

  std::vector<u8> data(i32 length) {
    std::vector<u8> bytes(static_cast<size_t>(length));
    for (u8& byte : bytes) byte = static_cast<u8>(nextByte());
    return bytes;
  }

  i32 nextByte() {
    switch (profile_) {
      case 0:
        return below(256);
      case 1:
        return below(255);  // no stuffing at all
      case 2: {             // stuffing, borrows and markers everywhere
        const i32 kind = below(4);
        return kind == 0 ? 0xFF : kind == 1 ? 0x80 + below(32) : below(256);
      }
      default:  // 0xFF 0x7F and so on keep the code register near 0
        return below(profile_ == 3 ? 12 : 40) == 0 ? below(256) : (even_ = !even_) ? 0xFF : 0x7F;
    }
  }

  std::mt19937 random_;
  i32 profile_ = 0;
  bool even_ = false;
};

}  // namespace wbx::test
