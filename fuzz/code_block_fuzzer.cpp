// Code blocks straight into the block decoder, compared with one that goes sample by sample.
#include <algorithm>
#include <memory>
#include <vector>

#include "wbx.h"

#include "engine/kernels.h"
#include "image/coding_style.h"
#include "support.h"
#include "support/reference_block_decoder.h"
#include "tier1/block_decoder.h"
#include "tier1/group_decoder.h"

namespace wbx::fuzz {

namespace {

using Storage = DataChunk::Storage;

// Where the bytes of the chunks lie.
enum class Home { kInline, kDetached, kMemory, kCallbacks, kCount };

struct Case {
  test::ReferenceBlock block;
  u8 style = 0;
  Home home = Home::kInline;
  u32 missing = 0;  // bytes that the source lacks at its end
};

Case readCase(Decisions& in) {
  Case c;
  test::ReferenceBlock& block = c.block;
  const u8 size = in.byte();
  block.width = (size & 1) != 0 ? in.between(1, 128) : in.between(1, 20);
  block.height = (size & 2) != 0 ? in.between(1, 64) : in.between(1, 12);
  block.orientation = (size >> 2) & 3;
  // As the engines hand them on: the sum of both stays below 32.
  block.magnitudeBits = (size & 16) != 0 ? in.between(-1, 37) : in.between(1, 12);
  block.roiShift = std::min((size & 32) != 0 ? i32{in.byte()} : 0, 31 - block.magnitudeBits);
  block.zeroPlanes = (size & 64) != 0 ? static_cast<i8>(in.byte()) : in.below(3);
  c.style = in.byte() & (kStyleReset | kStyleTermall | kStylePterm | kStyleSegsym);
  block.resetsContexts = (c.style & kStyleReset) != 0;
  block.segmentationSymbols = (c.style & kStyleSegsym) != 0;
  const u8 home = in.byte();
  c.home = static_cast<Home>(home % static_cast<int>(Home::kCount));
  c.missing = (home & 128) != 0 ? in.byte() : 0;
  for (i32 chunks = in.below(64); chunks > 0; --chunks) {
    test::ReferenceChunk chunk;
    const u8 passes = in.byte();
    // With TERMALL, and only with it, each chunk is a segment of one pass.
    chunk.endsSegment = (c.style & kStyleTermall) != 0;
    chunk.passes = chunk.endsSegment ? 1 : passes < 192 ? passes % 8 : passes % 128;
    const u8 length = in.byte();
    chunk.bytes = in.take(length < 128 ? length / 2 : static_cast<size_t>(length - 64) * 4);
    block.chunks.push_back(chunk);
  }
  return c;
}

// A case as the packets leave it. A source that lacks bytes shortens the reference's chunks too.
class PacketedBlock {
 public:
  explicit PacketedBlock(Case& c) : home_(c.home) {
    for (const test::ReferenceChunk& chunk : c.block.chunks)
      source_.insert(source_.end(), chunk.bytes.begin(), chunk.bytes.end());
    u32 position = 1;
    for (const test::ReferenceChunk& chunk : c.block.chunks) {
      append(chunk, position);
      position += static_cast<u32>(chunk.bytes.size());
    }
    if (home_ == Home::kMemory || home_ == Home::kCallbacks) loseEnd(c);
    openStreams();
    block_.zeroPlanes = static_cast<i8>(c.block.zeroPlanes);
    block_.firstPass = static_cast<i8>(3 * block_.zeroPlanes);
  }

  [[nodiscard]] const CodeBlock& block() const { return block_; }
  [[nodiscard]] Stream& stream() {
    if (home_ == Home::kCallbacks) return custom_;
    return memory_;
  }

 private:
  void append(const test::ReferenceChunk& chunk, u32 position) {
    const Storage storage = home_ == Home::kInline     ? Storage::kInline
                            : home_ == Home::kDetached ? Storage::kDetached
                                                       : Storage::kReference;
    const auto length = static_cast<u32>(chunk.bytes.size());
    const auto size = static_cast<size_t>(DataChunk::recordSize(length, storage));
    records_.push_back(std::make_unique<u64[]>((size + 7) / 8));
    auto* record = reinterpret_cast<DataChunk*>(records_.back().get());
    record->initialise(length, storage,
                       static_cast<u8>(chunk.passes | (chunk.endsSegment ? 0x80 : 0)));
    if (storage == Storage::kReference) {
      record->setPosition(position);
    } else {
      if (storage == Storage::kDetached) {
        detached_.push_back(std::make_unique<u8[]>(length));
        record->setData(detached_.back().get());
      }
      std::copy(chunk.bytes.begin(), chunk.bytes.end(), record->data());
    }
    if (last_ != nullptr) {
      last_->setNext(record);
    } else {
      block_.chunks = record;
    }
    last_ = record;
  }

  void loseEnd(Case& c) {
    size_t missing = std::min<size_t>(c.missing, source_.size() - 1);
    source_.resize(source_.size() - missing);
    for (auto chunk = c.block.chunks.rbegin(); chunk != c.block.chunks.rend(); ++chunk) {
      const size_t here = std::min(missing, chunk->bytes.size());
      chunk->bytes.resize(chunk->bytes.size() - here);
      missing -= here;
    }
  }

  void openStreams() {
    exact_ = std::make_unique<u8[]>(source_.size());
    std::copy(source_.begin(), source_.end(), exact_.get());
    memory_.open(exact_.get(), static_cast<u32>(source_.size()));
    CustomCallbacks callbacks = {};
    callbacks.read = [](void* buffer, u32 count, void* user) WBX_CALL {
      auto* self = static_cast<PacketedBlock*>(user);
      const size_t there = std::min<size_t>(count, self->source_.size() - self->position_);
      std::copy_n(self->exact_.get() + self->position_, there, static_cast<u8*>(buffer));
      self->position_ += there;
      return static_cast<i32>(there);
    };
    callbacks.seek = [](void* user, u32 offset) WBX_CALL {
      auto* self = static_cast<PacketedBlock*>(user);
      self->position_ = std::min<size_t>(offset, self->source_.size());
      return 0;
    };
    custom_.open(this, callbacks);
  }

  Home home_;
  Bytes source_{0};
  std::unique_ptr<u8[]> exact_;
  size_t position_ = 0;
  MemoryStream memory_;
  CustomStream custom_;
  std::vector<std::unique_ptr<u64[]>> records_;
  std::vector<std::unique_ptr<u8[]>> detached_;
  CodeBlock block_;
  DataChunk* last_ = nullptr;
};

BlockBand bandOf(const Case& c) {
  BlockBand band;
  band.orientation = static_cast<u8>(c.block.orientation);
  band.magnitudeBits = c.block.magnitudeBits;
  band.roiShift = c.block.roiShift;
  band.style = c.style;
  return band;
}

// The block at a place that tells which one it is.
Rect rectOf(const Case& c, size_t i) {
  Rect rect;
  rect.x0 = static_cast<u16>(1000 * i);
  rect.x1 = static_cast<u16>(rect.x0 + c.block.width);
  rect.y1 = static_cast<u16>(c.block.height);
  return rect;
}

void requireSame(const Case& c, const DecodedBlock& decoded) {
  test::ReferenceBlockDecoder reference(c.block);
  reference.decode();
  require(decoded.lastPlane == reference.lastPlane, "last plane");
  for (i32 y = 0; y < c.block.height; ++y) {
    for (i32 x = 0; x < c.block.width; ++x)
      require(decoded.coefficient(x, y) == reference.coefficient(x, y), "coefficient");
  }
}

void compare(BlockDecoder& decoder, Case c) {
  PacketedBlock packeted(c);
  const BlockBand band = bandOf(c);
  const i32 code = decoder.decode({&packeted.block(), &band, rectOf(c, 0)}, packeted.stream());
  require(code == WBX_OK, "code of a block");
  requireSame(c, decoder.result());
}

// All blocks of an input together, as blocks of one resolution.
void compareGroup(BlockDecoder& decoder, GroupDecoder& group, std::vector<Case> cases) {
  if (kernels().groupPasses == nullptr) return;
  group.setPasses(kernels().groupPasses);
  std::vector<std::unique_ptr<PacketedBlock>> blocks;
  std::vector<bool> taken;
  std::vector<BlockBand> bands(cases.size());
  MemoryStream nothing;
  for (size_t i = 0; i < cases.size(); ++i) {
    Case& c = cases[i];
    const size_t place = i % 3;
    c.block.orientation = cases[place].block.orientation;
    c.block.magnitudeBits = cases[place].block.magnitudeBits;
    c.block.roiShift = 0;
    c.home = c.home == Home::kDetached ? Home::kDetached : Home::kInline;  // no stream for each
    bands[i] = bandOf(c);
    blocks.push_back(std::make_unique<PacketedBlock>(c));
    const BlockTask task = {&blocks[i]->block(), &bands[i], rectOf(c, i)};
    taken.push_back(group.take(task, nothing) == GroupDecoder::Taken::kYes);
  }
  const i32 code = group.decodeAll(
      decoder, nothing, [] { return false; },
      [&](const BlockBand&, const DecodedBlock& decoded) {
        const size_t i = decoded.rect.x0 / 1000;
        require(taken[i], "a block that was taken");
        taken[i] = false;
        requireSame(cases[i], decoded);
      });
  require(code == WBX_OK, "code of a group");
  require(std::find(taken.begin(), taken.end(), true) == taken.end(), "all blocks");
}

}  // namespace

}  // namespace wbx::fuzz

extern "C" int LLVMFuzzerTestOneInput(const wbx::u8* data, size_t size) {
  using namespace wbx;
  // One decoder for all blocks of an input, as in an image: nothing of a block may survive it.
  Arena arena(46000);
  const auto decoder = std::make_unique<BlockDecoder>(arena);
  const auto group = std::make_unique<GroupDecoder>(arena);
  fuzz::Decisions in(data, size);
  std::vector<fuzz::Case> cases(static_cast<size_t>(1 + in.below(20)));
  for (fuzz::Case& c : cases) {
    c = fuzz::readCase(in);
    fuzz::compare(*decoder, c);
  }
  fuzz::compareGroup(*decoder, *group, std::move(cases));
  return 0;
}
