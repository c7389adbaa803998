#include "tier2/packet.h"

#include <algorithm>
#include <bit>
#include <new>

#include "wbx.h"

#include "base/logger.h"

namespace wbx {

namespace {

// A comma code longer than this, its 0 included, is no code.
constexpr i32 kCommaLimit = 55554;

// The number of 1 bits, or -1.
i32 readCommaCode(PacketBitReader& reader) {
  for (i32 ones = 0; ones < kCommaLimit; ++ones) {
    const i32 bit = reader.readBit();
    if (bit < 0 || reader.atEnd()) return -1;
    if (bit == 0) return ones;
  }
  return -1;
}

i32 readLength(PacketBitReader& reader, i32 bits, u32& length) {
  if (!reader.readBits(bits, length) || length >= DataChunk::kLengthLimit) return WBX_ERROR_CORRUPT;
  return 0;
}

// With TERMALL each pass ends a codeword segment and has a length of its own.
i32 readSegments(CodeBlock& block, i32 passes, Arena& arena, PacketBitReader& reader, u8 style) {
  const bool termall = (style & kStyleTermall) != 0;
  if (!termall && passes > DataChunk::kMaxPasses) return WBX_ERROR_READ;
  const u32 perChunk = termall ? 1 : static_cast<u32>(passes);
  const i32 lengthBits = block.lblock + static_cast<i32>(std::bit_width(perChunk)) - 1;
  const u8 passesByte = static_cast<u8>(perChunk | (termall ? DataChunk::kEndsSegment : 0));
  for (i32 chunks = termall ? passes : 1; chunks > 0; --chunks) {
    u32 length;
    if (const i32 code = readLength(reader, lengthBits, length)) return code;
    if (!block.addChunk(arena, reader.stream(), length, passesByte)) return WBX_ERROR_MEMORY;
  }
  return 0;
}

// What the header says of a block that takes part in the packet, behind its inclusion.
i32 readContribution(CodeBlock& block, Arena& arena, PacketBitReader& reader, u8 style) {
  const i32 passes = reader.readPassCount();
  if (passes < 0) return WBX_ERROR_READ;
  const i32 growth = readCommaCode(reader);
  if (growth < 0) return WBX_ERROR_READ;
  block.lblock = wrapTo<i8>(block.lblock + growth);
  if (const i32 code = readSegments(block, passes, arena, reader, style)) return code;
  block.passCount = wrapTo<i8>(block.passCount + passes);
  return 0;
}

// The block of a leaf that is included for the first time, with its zero bit planes.
i32 includeBlock(TagNode& leaf, InclusionWalk& walk, const BlockGrid& grid, Arena& arena) {
  if (leaf.block() == nullptr) {
    CodeBlock* block = arena.allocateArray<CodeBlock>(1);
    if (block == nullptr) return WBX_ERROR_MEMORY;
    leaf.setBlock(new (block) CodeBlock());
    block->rect = grid.blockRect(walk.column(), walk.row());
  }
  const i32 zeroPlanes = walk.decodeZeroPlanes();
  if (zeroPlanes < 0) return WBX_ERROR_READ;
  leaf.block()->zeroPlanes = wrapTo<i8>(zeroPlanes);
  leaf.block()->firstPass = wrapTo<i8>(3 * zeroPlanes);
  return 0;
}

bool isIncluded(const TagNode& leaf) {
  return leaf.block() != nullptr && leaf.block()->passCount != 0;
}

i32 readHeader(Resolution& resolution, Arena& arena, PacketBitReader& reader,
               const PacketContext& packet, PendingBlocks& pending) {
  for (i32 b = 0; b < resolution.subbandCount; ++b) {
    Subband& band = resolution.subbands[b];
    if (!Resolution::hasPrecincts(band)) continue;
    const BlockGrid grid = band.precinctGrid(packet.precinct);
    if (grid.wide == 0 || grid.high == 0) continue;
    Precinct* precinct = band.precincts.obtain(packet.precinct, arena);
    if (precinct == nullptr) return WBX_ERROR_MEMORY;
    const i32 code = readPrecinctHeader(*precinct, grid, arena, reader, packet, pending);
    if (code != 0) return code;
  }
  return 0;
}

// Leaves a chunk's bytes in the source. A place beyond 32 bits is behind the end of any source.
void passOver(DataChunk& chunk, Stream& stream) {
  const u32 position = stream.tell();
  chunk.setPosition(position);
  const u64 end = u64{position} + chunk.length();
  if (chunk.length() != 0) stream.seek(static_cast<u32>(std::min<u64>(end, 0xFFFFFFFF)));
}

// Bytes that do not come are no part of the chunk. A failed source is not asked for a long one, so
// that no memory is taken for it.
i32 copyBytes(DataChunk& chunk, Stream& stream, Arena& arena) {
  if (chunk.storage() == DataChunk::Storage::kDetached) {
    if (!stream.isGood()) {
      stream.passOver(chunk.length());
      chunk.cutTo(0);
      return 0;
    }
    chunk.setData(arena.allocateArray<u8>(chunk.length()));
    if (chunk.data() == nullptr) return WBX_ERROR_MEMORY;
  }
  const i32 delivered = stream.readBytes(chunk.data(), chunk.length());
  chunk.cutTo(static_cast<u32>(std::max(delivered, 0)));
  return 0;
}

i32 readChunks(const PendingBlocks& pending, Stream& stream, Arena& arena) {
  for (CodeBlock* block = pending.first(); block != nullptr; block = block->nextPending) {
    for (; block->pendingChunks != nullptr; block->pendingChunks = block->pendingChunks->next()) {
      DataChunk& chunk = *block->pendingChunks;
      if (chunk.isReference()) {
        passOver(chunk, stream);
      } else if (const i32 code = copyBytes(chunk, stream, arena)) {
        return code;
      }
    }
  }
  return 0;
}

// The many short hops over bodies cost a file one real seek.
i32 readBody(const PendingBlocks& pending, Stream& stream, Arena& arena) {
  if (stream.type() != Stream::kFile) return readChunks(pending, stream, arena);
  FileStream& file = static_cast<FileStream&>(stream);
  file.beginDeferred();
  const i32 code = readChunks(pending, stream, arena);
  file.endDeferred();
  return code;
}

// SOP and EPH are passed over unseen where COD announces them.
void passOverSop(Stream& stream) {
  u8 marker[6];
  stream.readBytes(marker, sizeof marker);
}

void passOverEph(Stream& stream) {
  u16 marker = 0;
  stream.readU16(&marker);
}

}  // namespace

void PendingBlocks::append(CodeBlock& block) {
  block.nextPending = nullptr;
  (last_ == nullptr ? first_ : last_->nextPending) = &block;
  last_ = &block;
}

i32 readPrecinctHeader(Precinct& precinct, const BlockGrid& grid, Arena& arena,
                       PacketBitReader& reader, const PacketContext& packet,
                       PendingBlocks& pending) {
  InclusionWalk walk(precinct.tree, grid.wide, grid.high, packet.layer, reader, arena);
  while (TagNode* leaf = walk.next()) {
    if (isIncluded(*leaf)) {
      const i32 bit = reader.readBit();
      if (bit < 0) return WBX_ERROR_READ;
      if (bit == 0) continue;
    } else if (const i32 code = includeBlock(*leaf, walk, grid, arena)) {
      return code;
    }
    const i32 code = readContribution(*leaf->block(), arena, reader, packet.style);
    if (code != 0) return code;
    pending.append(*leaf->block());
  }
  return walk.outOfMemory() ? WBX_ERROR_MEMORY : 0;
}

i32 readPacket(Resolution& resolution, Arena& arena, PacketBitReader& reader,
               const PacketContext& packet) {
  Stream& stream = reader.stream();
  if ((packet.scod & kScodSop) != 0) passOverSop(stream);
  reader.beginHeader();
  const bool hasContent = reader.readBit() != 0;
  if (!reader.good()) return WBX_ERROR_READ;
  PendingBlocks pending;
  if (hasContent) {
    if (const i32 code = readHeader(resolution, arena, reader, packet, pending)) return code;
    reader.align(0, 0);
  } else if (!reader.align(0x7F, 0)) {
    logger.writeStamped("Alignment failed!");
    return WBX_ERROR_READ;
  }
  if ((packet.scod & kScodEph) != 0) passOverEph(stream);
  return pending.first() == nullptr ? 0 : readBody(pending, stream, arena);
}

}  // namespace wbx
