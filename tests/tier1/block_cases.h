// Random code blocks, as packets leave them.
#pragma once

#include <algorithm>
#include <memory>
#include <ostream>
#include <random>
#include <vector>

#include "support/reference_block_decoder.h"
#include "tier1/block_decoder.h"

namespace wbx::test {

struct BlockCase {
  ReferenceBlock block;
  u8 style = 0;
  bool byReference = false;
};

inline std::ostream& operator<<(std::ostream& out, const BlockCase& c) {
  out << c.block.width << "x" << c.block.height << " orientation " << c.block.orientation
      << " style " << static_cast<int>(c.style) << " Mb " << c.block.magnitudeBits << " roi "
      << c.block.roiShift << " missing " << c.block.zeroPlanes
      << (c.byReference ? " by reference" : " inline") << ", chunks";
  for (const ReferenceChunk& chunk : c.block.chunks) {
    out << " [" << chunk.passes << (chunk.endsSegment ? "!" : "") << ":" << std::hex;
    for (const u8 byte : chunk.bytes) out << " " << static_cast<int>(byte);
    out << std::dec << "]";
  }
  return out;
}

// A code block as the packets leave it: chunk records, and a source for those by reference.
class PacketedBlock {
 public:
  explicit PacketedBlock(const BlockCase& c) {
    for (const ReferenceChunk& chunk : c.block.chunks)
      source_.insert(source_.end(), chunk.bytes.begin(), chunk.bytes.end());
    stream_.open(source_.data(), static_cast<u32>(source_.size()));
    u32 position = 1;
    for (const ReferenceChunk& chunk : c.block.chunks) {
      append(chunk, c.byReference, position);
      position += static_cast<u32>(chunk.bytes.size());
    }
    block_.zeroPlanes = static_cast<i8>(c.block.zeroPlanes);
    block_.firstPass = static_cast<i8>(3 * c.block.zeroPlanes);
  }

  [[nodiscard]] const CodeBlock& block() const { return block_; }
  [[nodiscard]] Stream& stream() { return stream_; }
  [[nodiscard]] DataChunk& lastChunk() { return *last_; }

 private:
  void append(const ReferenceChunk& chunk, bool byReference, u32 position) {
    using Storage = DataChunk::Storage;
    const Storage storage = byReference ? Storage::kReference : Storage::kInline;
    const auto length = static_cast<u32>(chunk.bytes.size());
    const auto size = static_cast<size_t>(DataChunk::recordSize(length, storage));
    records_.push_back(std::make_unique<u64[]>((size + 7) / 8));
    auto* record = reinterpret_cast<DataChunk*>(records_.back().get());
    record->initialise(length, storage,
                       static_cast<u8>(chunk.passes | (chunk.endsSegment ? 0x80 : 0)));
    record->setNext(nullptr);
    if (byReference) {
      record->setPosition(position);
    } else {
      std::copy(chunk.bytes.begin(), chunk.bytes.end(), record->data());
    }
    last_ ? last_->setNext(record) : void(block_.chunks = record);
    last_ = record;
  }

  std::vector<u8> source_{0};  // one byte that no chunk owns, so that it is never empty
  MemoryStream stream_;
  std::vector<std::unique_ptr<u64[]>> records_;
  CodeBlock block_;
  DataChunk* last_ = nullptr;
};

// Random blocks. Random bytes alone would make every sample significant at once, so there is also
// data that decodes to long runs of the more probable symbol.
class CaseMaker {
 public:
  explicit CaseMaker(u32 seed) : random_(seed) {}

  BlockCase make(i32 width, i32 height) {
    BlockCase c;
    c.block.width = width;
    c.block.height = height;
    c.block.orientation = below(4);
    c.block.magnitudeBits = 1 + below(31);
    c.block.roiShift = below(4) == 0 ? below(32 - c.block.magnitudeBits) : 0;
    c.block.zeroPlanes = below(3) == 0 ? below(c.block.magnitudeBits + 2) : 0;
    for (const u8 flag : {kStyleReset, kStyleTermall, kStylePterm, kStyleSegsym})
      c.style = static_cast<u8>(c.style | (below(3) == 0 ? flag : 0));
    c.block.resetsContexts = (c.style & kStyleReset) != 0;
    c.block.segmentationSymbols = (c.style & kStyleSegsym) != 0;
    c.byReference = below(2) == 0;
    addChunks(c, 2 * width * height / 3 + 8);
    return c;
  }

  // Of the default style, without a region of interest, and with the bytes in the chunks.
  BlockCase make(i32 width, i32 height, i32 magnitudeBits) {
    BlockCase c;
    c.block.width = width;
    c.block.height = height;
    c.block.magnitudeBits = magnitudeBits;
    c.block.zeroPlanes = below(3) == 0 ? below(magnitudeBits) : 0;
    addChunks(c, 2 * width * height / 3 + 8);
    return c;
  }

  i32 below(i32 n) { return static_cast<i32>(random_() % static_cast<u32>(n)); }

 private:
  void addChunks(BlockCase& c, i32 bytes) {
    const i32 planes = c.block.magnitudeBits + c.block.roiShift - c.block.zeroPlanes;
    i32 passes = 1 + below(3 * std::max(planes, 1) + 3);
    if (below(2) == 0) passes = std::min(passes, 10);
    profile_ = below(5);
    if ((c.style & kStyleTermall) != 0) {
      for (; passes > 0; --passes) c.block.chunks.push_back({data(below(bytes) / 2), 1, true});
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
      case 3:  // 0xFF 0x7F and so on keep the code register near 0
        return below(12) == 0 ? below(256) : (even_ = !even_) ? 0xFF : 0x7F;
      default:
        return below(40) == 0 ? below(256) : (even_ = !even_) ? 0xFF : 0x7F;
    }
  }

  std::mt19937 random_;
  i32 profile_ = 0;
  bool even_ = false;
};

}  // namespace wbx::test
