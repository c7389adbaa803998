#include "tier1/group_decoder.h"

#include <algorithm>
#include <bit>
#include <cstring>

#include "wbx.h"

#include "base/logger.h"
#include "base/memory.h"

namespace wbx {
namespace {

constexpr u32 kMaxBytes = 1u << 16;  // of one block; a natural block of 4096 samples has a tenth
constexpr u32 kPadding = 16;         // zeros behind the bits, and the rest of a last byte

constexpr i32 kColumns = group_layout::kColumns;
constexpr i32 kRows = group_layout::kRows;

// The arrays of facts in front of `ones`.
enum FactArray { kReal, kSignificant, kNegative, kVisited, kRefined, kFactArrays };

u64 bigEndian(const u8* bytes) {
  u64 value;
  std::memcpy(&value, bytes, sizeof value);
  return std::endian::native == std::endian::little ? __builtin_bswap64(value) : value;
}

constexpr u32 kAllMembers = (1u << GroupDecoder::kMembers) - 1;

// Writes bits one after the other, highest first.
class BitSink {
 public:
  explicit BitSink(u8* to) : first_(to), to_(to) {}

  [[nodiscard]] u64 count() const { return static_cast<u64>(to_ - first_) * 8 + held_; }
  void put(u32 value, u32 bits) {
    hold_ = (hold_ << bits) | value;
    held_ += bits;
    if (held_ >= 8) {
      held_ -= 8;
      *to_++ = static_cast<u8>(hold_ >> held_);
    }
  }
  void putEightBytes(u64 bytes) {
    u64 out = bytes;
    if (held_ != 0) out = (hold_ << (64 - held_)) | (bytes >> held_);
    if constexpr (std::endian::native == std::endian::little) out = __builtin_bswap64(out);
    std::memcpy(to_, &out, sizeof out);
    to_ += sizeof out;
    hold_ = bytes;
  }
  // Ends the last byte with zeros; gives where it stands.
  u8* finish() {
    if (held_ != 0) *to_++ = static_cast<u8>(hold_ << (8 - held_));
    return to_;
  }

 private:
  u8* first_;
  u8* to_;
  u64 hold_ = 0;  // its low `held_` bits, at most 7, are not written yet
  u32 held_ = 0;
};

// Takes the stuffing out of a codeword segment (T.800 C.3.4).
class Unstuffer {
 public:
  Unstuffer(u8* bits, u64* borrows) : sink_(bits), borrows_(borrows) {}

  void feed(const u8* byte, const u8* end) {
    while (byte < end) {
      if (previous_ != 0xFF && end - byte >= 8) {
        const u64 flipped = ~bigEndian(byte);
        // A zero byte in the complement is a 0xFF.
        if (((flipped - 0x0101010101010101) & ~flipped & 0x8080808080808080) == 0) {
          sink_.putEightBytes(flipped);
          byte += 8;
          previous_ = 0;
          lastCount_ = 8;
          continue;
        }
      }
      feed(*byte++);
    }
  }
  // Where the bits of the last byte begin; 0 for no byte.
  [[nodiscard]] u64 lastByte() const { return sink_.count() - lastCount_; }
  u8* finish() { return sink_.finish(); }
  [[nodiscard]] u64* borrows() const { return borrows_; }

 private:
  void feed(u32 byte) {
    const FedBits fed = fedBits(previous_, byte);
    if (fed.borrows) *borrows_++ = sink_.count();
    sink_.put(fed.bits, fed.count);
    previous_ = byte;
    lastCount_ = fed.count;
  }

  BitSink sink_;
  u64* borrows_;  // where the next one is noted
  u32 previous_ = 0;
  u32 lastCount_ = 0;  // bits of that byte
};

}  // namespace

GroupDecoder::~GroupDecoder() {
  freeMemory(allocation_);
  freeMemory(fetched_);
}

GroupDecoder::Taken GroupDecoder::take(const BlockTask& task, Stream& stream) {
  const CodeBlock& block = *task.block;
  const BlockBand& band = *task.band;
  if (passes_ == nullptr || isFull() || band.roiShift != 0) return Taken::kNo;
  // A log tells wrong symbols in the order of the blocks.
  if ((band.style & kStyleSegsym) != 0 && logger.active()) return Taken::kNo;
  i64 passes = 0, bytes = 0;
  bool inMemory = true, goesOn = false, ends = false;  // the segments behind the chunks
  for (const DataChunk* chunk = block.chunks; chunk; chunk = chunk->next()) {
    (chunk->endsSegment() ? ends : goesOn) = true;
    passes += chunk->passes();
    bytes += chunk->length();
    if (chunk->isReference() && stream.type() != Stream::kMemory) inMemory = false;
  }
  const i32 firstPlane = band.magnitudeBits - 1 - block.zeroPlanes;
  const bool regular = block.zeroPlanes >= 0 && block.firstPass == 3 * block.zeroPlanes;
  if (!regular || passes == 0 || bytes > kMaxBytes || firstPlane < 0 || firstPlane > 30) {
    return Taken::kNo;
  }
  if (ends && (goesOn || !inMemory)) return Taken::kNo;
  Block taken;
  taken.task = task;
  // Passes below plane 0 are dropped.
  taken.passes = static_cast<i32>(std::min(passes, i64{3} * firstPlane + 1));
  taken.firstPlane = firstPlane;
  taken.bytes = static_cast<u32>(bytes);
  taken.ownSegments = ends;
  if (!inMemory && !fetch(taken, stream)) return Taken::kOutOfMemory;
  blocks_[count_++] = taken;
  return Taken::kYes;
}

bool GroupDecoder::fetch(Block& block, Stream& stream) {
  // The last block may go beyond the limit.
  if (fetched_ == nullptr) {
    fetched_ = static_cast<u8*>(allocateMemory(kFetchLimit + kMaxBytes, false));
    if (fetched_ == nullptr) return false;
  }
  block.fetched = fetchedBytes_;
  segment_.attach(block.task.block->chunks, stream);
  while (segment_.hasByte()) {
    const i64 bytes = segment_.left();
    std::memcpy(fetched_ + fetchedBytes_, segment_.cursor(), static_cast<size_t>(bytes));
    fetchedBytes_ += bytes;
    segment_.advance(bytes);
  }
  block.bytes = static_cast<u32>(fetchedBytes_ - block.fetched);
  return !segment_.outOfMemory();
}

void GroupDecoder::sort() {
  std::sort(blocks_, blocks_ + count_, [](const Block& a, const Block& b) {
    return a.passes != b.passes ? a.passes > b.passes : a.bytes > b.bytes;
  });
}

bool GroupDecoder::paysTogether(const Block* blocks, i32 count) {
  i64 sum = 0, most = 0, samples = 0;
  for (i32 i = 0; i < count; ++i) {
    const Rect& rect = blocks[i].task.rect;
    sum += blocks[i].bytes;
    most = std::max(most, i64{blocks[i].bytes});
    samples = std::max(samples, i64{rect.width()} * rect.height());
  }
  // The first block has the most passes.
  return sum >= kLargestTimes * most + samples * blocks[0].passes / kSamplesForByte;
}

i32 GroupDecoder::decodeSingle(const Block& block, BlockDecoder& single, Stream& stream) const {
  return block.fetched >= 0 ? single.decode(block.task, fetchedBytes(block))
                            : single.decode(block.task, stream);
}

bool GroupDecoder::ensure(i64 bytes) {
  if (bytes <= size_) return true;
  freeMemory(allocation_);
  size_ = 0;
  constexpr size_t alignment = 64;
  allocation_ = allocateMemory(static_cast<size_t>(bytes) + alignment, false);
  if (allocation_ == nullptr) return false;
  const auto address = reinterpret_cast<uintptr_t>(allocation_);
  memory_ = reinterpret_cast<GroupWord*>((address + alignment - 1) & ~(alignment - 1));
  size_ = bytes;
  return true;
}

// Puts the arrays of a group into the memory, clear where the passes expect it.
bool GroupDecoder::layOut(const Block* blocks, i32 count) {
  i32 width = 0, height = 0, planes = 0;
  i64 bytes = 0, segments = 0;
  for (i32 i = 0; i < count; ++i) {
    width = std::max<i32>(width, blocks[i].task.rect.width());
    height = std::max<i32>(height, blocks[i].task.rect.height());
    planes = std::max(planes, (blocks[i].passes + 1) / 3 + 1);
    bytes += blocks[i].bytes;
    segments += blocks[i].mostSegments();
  }
  bytes = (bytes + (segments + 2) * kPadding + 63) & ~i64{63};
  state_.wordsAcross = (width + kColumns - 1) / kColumns;
  state_.wordPitch = state_.wordsAcross + 1;
  state_.stripes = (height + kRows - 1) / kRows;
  arrayWords_ = i64{state_.wordPitch} * (state_.stripes + 2) + 1;

  const i64 factBytes = arrayWords_ * (kFactArrays + planes) * i64{sizeof(GroupWord)};
  // At most every second byte borrows, and each list has an end.
  const i64 borrowBytes = (bytes / 2 + segments) * i64{sizeof(u64)};
  const i64 segmentBytes = segments * i64{sizeof(Segment)};
  const i64 quadBytes = i64{stripePitch()} * state_.stripes * i64{sizeof(u32)};
  if (!ensure(factBytes + quadBytes + borrowBytes + segmentBytes + bytes)) return false;

  state_.real = words(kReal);
  state_.significant = words(kSignificant);
  state_.negative = words(kNegative);
  state_.visited = words(kVisited);
  state_.refined = words(kRefined);
  ones_ = words(kFactArrays);
  quads_ = reinterpret_cast<u32*>(words(kFactArrays + planes));
  borrows_ = reinterpret_cast<u64*>(quads_ + i64{stripePitch()} * state_.stripes);
  segments_ = reinterpret_cast<Segment*>(borrows_ + borrowBytes / i64{sizeof(u64)});
  bits_ = reinterpret_cast<u8*>(segments_ + segments);
  // The facts, and the first plane of ones, which has no significance pass.
  std::fill_n(memory_, arrayWords_ * (kFactArrays + 1), GroupWord{});
  return true;
}

void GroupDecoder::markRealSamples(const Block* blocks, i32 count) {
  for (i32 member = 0; member < count; ++member) {
    const Rect& rect = blocks[member].task.rect;
    const i32 width = rect.width(), height = rect.height();
    for (i32 y = 0; y < height; y += kRows) {
      const i32 rows = std::min(height - y, kRows);
      const u64 columns = group_layout::inAllColumns(0xF & (0xF << (kRows - rows)));
      GroupWord* word = state_.real + (y / kRows + 1) * state_.wordPitch + 1;
      for (i32 x = 0; x < width; x += kColumns, ++word) {
        word->member[member] = columns & group_layout::firstColumns(std::min(width - x, kColumns));
      }
    }
  }
}

// For an idle member: zeros without end.
constexpr u8 kNoBits[kPadding] = {};
constexpr u64 kNoBorrow = ~u64{0};
const GroupDecoder::Segment GroupDecoder::kNoSegment = {kNoBits, &kNoBorrow, 0, Segment::kNoEnd};

// Turns the bytes of a block's segments into strings of complemented bits (see MqSource), and notes
// where one borrows.
void GroupDecoder::unstuff(const Block& block, i32 member, Stream& stream) {
  nextSegment_[member] = segments_;
  if (block.fetched >= 0) {
    segment_.attach(fetchedBytes(block));
  } else {
    segment_.attach(block.task.block->chunks, stream);
  }
  const Segment* const most = segments_ + block.mostSegments();
  bool ended;
  do {
    Unstuffer unstuffer(bits_, borrows_);
    for (; segment_.hasByte(); segment_.advance(segment_.left()))
      unstuffer.feed(segment_.cursor(), segment_.cursor() + segment_.left());
    ended = segment_.inTerminatedChunk();
    const u64 lastByte = ended ? unstuffer.lastByte() : Segment::kNoEnd;
    u8* const end = unstuffer.finish();
    *segments_++ = {bits_, borrows_, static_cast<u64>(end - bits_), lastByte};
    borrows_ = unstuffer.borrows();
    *borrows_++ = ~u64{0};
    std::memset(end, 0, kPadding);
    bits_ = end + kPadding;
    if (ended) segment_.next();
  } while (ended && segments_ != most);
}

void GroupDecoder::beginSegments(u32 members) {
  for (i32 member = 0; member < kMembers; ++member) {
    if ((members >> member & 1) == 0) continue;
    const Segment& segment = *nextSegment_[member]++;
    state_.bits.member[member] = reinterpret_cast<uintptr_t>(segment.bits);
    state_.length.member[member] = segment.length;
    state_.borrowList.member[member] = reinterpret_cast<uintptr_t>(segment.borrows);
    state_.borrowAt.member[member] = *segment.borrows;
    state_.fed.member[member] = 0;
  }
  passes_->beginSegments(state_, members);
}

// Of `members`, those that have used up a segment that ends.
u32 GroupDecoder::atSegmentEnd(u32 members) const {
  u32 ended = 0;
  for (i32 member = 0; member < kMembers; ++member) {
    if ((members >> member & 1) == 0) continue;
    const Segment* const current = nextSegment_[member] - 1;
    const u64 lastByte = current->lastByte;
    if (lastByte != Segment::kNoEnd && passes_->usedBits(state_, member) > lastByte)
      ended |= 1u << member;
  }
  return ended;
}

i32 GroupDecoder::decodeGroup(const Block* blocks, i32 count, Stream& stream) {
  if (!layOut(blocks, count)) return WBX_ERROR_MEMORY;
  markRealSamples(blocks, count);
  for (i32 member = 0; member < count; ++member) unstuff(blocks[member], member, stream);
  for (i32 member = count; member < kMembers; ++member) nextSegment_[member] = &kNoSegment;
  for (i32 member = 0; member < kMembers; ++member) {
    const BlockTask& task = blocks[std::min(member, count - 1)].task;
    state_.orientation[member] = task.band->orientation;
  }
  passes_->start(state_);
  beginSegments(kAllMembers);
  const auto membersWhere = [&](auto condition) {
    u32 members = 0;
    for (i32 member = 0; member < count; ++member)
      members |= (condition(blocks[member]) ? 1u : 0u) << member;
    return members;
  };
  const auto membersOfStyle = [&](u32 flag) {
    return membersWhere([flag](const Block& b) { return (b.task.band->style & flag) != 0; });
  };
  const u32 resetting = membersOfStyle(kStyleReset), marked = membersOfStyle(kStyleSegsym);
  const i32 passes = blocks[0].passes;  // the most: see sort()
  for (i32 pass = 0; pass < passes; ++pass) {
    const u32 members = membersWhere([pass](const Block& b) { return pass < b.passes; });
    if (pass != 0) {
      beginSegments(atSegmentEnd(members));
      passes_->resetContexts(state_, members & resetting);
    }
    runPass(pass, members);
    if (pass % 3 == 0) passes_->skipSymbol(state_, members & marked);
  }
  return WBX_OK;
}

void GroupDecoder::runPass(i32 pass, u32 members) {
  state_.ones = ones_ + (pass + 2) / 3 * arrayWords_;
  switch (pass % 3) {
    case 0:
      return passes_->cleanup(state_, members);
    case 1:
      return passes_->significance(state_, members);
    default:
      return passes_->refinement(state_, members);
  }
}

i32 GroupDecoder::stripePitch() const {
  return state_.wordsAcross * kColumns * kRows;
}

DecodedBlock GroupDecoder::result(const Block& block, i32 member) {
  const i32 planes = block.firstPlane - block.lastPlane() + 1;
  passes_->collect(state_, member, ones_, planes, block.firstPlane, quads_);
  return {block.task.rect, quads_, stripePitch(), block.lastPlane()};
}

}  // namespace wbx
