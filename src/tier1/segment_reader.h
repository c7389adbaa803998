// SegmentReader: the bytes of a code block's codeword segments, chunk by chunk.
#pragma once

#include <span>

#include "base/arena.h"
#include "base/types.h"
#include "stream/stream.h"
#include "tier2/data_chunk.h"

namespace wbx {

// Chunks in a memory source are read where they lie; those of any other source are fetched into
// one buffer that grows and stays. A chunk never reaches past the end of its source: bytes that
// are not there are left to the decoder's fill.
class SegmentReader {
 public:
  explicit SegmentReader(Arena& arena) : arena_(&arena) {}

  // Points at a block's chunks and loads the first one.
  void attach(const DataChunk* first, Stream& stream);
  // Points at the bytes of a segment that were fetched before.
  void attach(std::span<const u8> bytes);

  // Makes sure that cursor() is below end(), moving on to later chunks of the same codeword
  // segment. False at the end of the segment.
  [[nodiscard]] bool hasByte();
  // Goes to the next codeword segment of the chunk, where it has several of no bytes, or to the
  // next chunk. False at the end of the list.
  bool next();

  [[nodiscard]] bool atChunkEnd() const { return cursor_ == end_; }
  // A chunk that ends its codeword segment is the one being read.
  [[nodiscard]] bool inTerminatedChunk() const { return chunk_ && chunk_->endsSegment(); }

  [[nodiscard]] const u8* cursor() const { return cursor_; }
  [[nodiscard]] i64 left() const { return end_ - cursor_; }
  void advance(i64 bytes) { cursor_ += bytes; }

  // The buffer for fetched bytes could not be had; the chunk reads as empty.
  [[nodiscard]] bool outOfMemory() const { return outOfMemory_; }

 private:
  void load();

  const u8* cursor_ = nullptr;
  const u8* end_ = nullptr;
  const DataChunk* chunk_ = nullptr;
  i32 segmentsLeft_ = 0;  // of the chunk, behind the one being read
  Stream* stream_ = nullptr;
  const MemoryStream* memory_ = nullptr;  // the same stream when it is one in memory
  Arena* arena_;
  u8* buffer_ = nullptr;
  u32 bufferSize_ = 0;
  bool outOfMemory_ = false;
};

}  // namespace wbx
