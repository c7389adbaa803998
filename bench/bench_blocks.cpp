// Tier 1 on real code blocks.
#include <benchmark/benchmark.h>
#include <cstring>
#include <memory>

#include "wbx.h"

#include "api/decoder.h"
#include "bench_input.h"
#include "engine/kernels.h"
#include "tier1/block_decoder.h"
#include "tier1/group_decoder.h"

namespace wbx::bench {
namespace {

struct PlacedBlock {
  const CodeBlock* block;
  BlockBand band;
  Rect rect;

  [[nodiscard]] BlockTask task() const { return {block, &band, rect}; }
};

// Code blocks of the first tile of the input, evenly chosen, as its packets left them.
class RealBlocks {
 public:
  static constexpr size_t kMost = 200;

  RealBlocks() {
    const auto& file = inputFile();
    handle_ = WBX_OpenMemory(file.data(), static_cast<i32>(file.size()));
    if (handle_ == nullptr) return;
    tile_ = reinterpret_cast<Decoder*>(handle_)->index.tileTable.find(0);
    if (tile_ == nullptr) return;
    for (i32 c = 0; c < tile_->componentCount; ++c) collect(c);
    const size_t stride = (blocks.size() + kMost - 1) / kMost;
    for (size_t i = 0; stride > 1 && i * stride < blocks.size(); ++i)
      blocks[i] = blocks[i * stride];
    blocks.resize(std::min(blocks.size(), stride > 0 ? (blocks.size() + stride - 1) / stride : 0));
  }
  ~RealBlocks() {
    if (handle_ != nullptr) WBX_Close(handle_);
  }
  RealBlocks(const RealBlocks&) = delete;
  RealBlocks& operator=(const RealBlocks&) = delete;

  [[nodiscard]] Stream& stream() const { return *tile_->stream; }

  std::vector<PlacedBlock> blocks;

 private:
  void collect(i32 c) {
    const TileComponent& component = tile_->components[c];
    for (i32 r = 0; r < component.resolutionCount; ++r) {
      const Resolution& resolution = component.resolutions[r];
      for (i32 s = 0; s < resolution.subbandCount; ++s) collect(c, r, s);
    }
  }

  void collect(i32 c, i32 r, i32 s) {
    const Resolution& resolution = tile_->components[c].resolutions[r];
    const Subband& subband = resolution.subbands[s];
    if (!Resolution::hasPrecincts(subband)) return;
    const ComponentCoding& coding = tile_->style.component[c];
    const auto entry =
        coding.quantization.stepSize[static_cast<size_t>(r == 0 ? 0 : 3 * r - 2 + s)];
    BlockBand band;
    band.orientation = subband.orientation;
    band.magnitudeBits = coding.quantization.guardBits + (entry >> 11) - 1;
    band.style = coding.cblkStyle;
    for (u32 p = 0; p < resolution.precinctCount(); ++p) {
      const Precinct* precinct = subband.precincts.find(p);
      if (precinct == nullptr) continue;
      const BlockGrid grid = subband.precinctGrid(p);
      for (u32 j = 0; j < grid.high; ++j) {
        for (u32 i = 0; i < grid.wide; ++i) {
          const CodeBlock* block = precinct->block(i, j);
          const Rect rect = grid.blockRect(i, j);
          if (block == nullptr || block->chunks == nullptr || rect.empty()) continue;
          blocks.push_back({block, band, rect});
        }
      }
    }
  }

  WBX_Handle handle_ = nullptr;
  const Tile* tile_ = nullptr;
};

// A block whose chunk announces fewer passes than it has.
class ShortenedBlock {
 public:
  ShortenedBlock(const PlacedBlock& whole, i32 passes) : placed_(whole), block_(*whole.block) {
    const DataChunk& chunk = *whole.block->chunks;
    const auto storage = chunk.storage();
    const i64 size = DataChunk::recordSize(chunk.length(), storage);
    record_ = std::make_unique<u64[]>(static_cast<size_t>(size) / sizeof(u64) + 1);
    std::memcpy(record_.get(), &chunk, static_cast<size_t>(size));
    auto* copy = reinterpret_cast<DataChunk*>(record_.get());
    copy->initialise(chunk.length(), storage, static_cast<u8>(std::min(passes, chunk.passes())));
    if (chunk.isReference()) {
      copy->setPosition(chunk.position());
    } else {
      std::memcpy(copy->data(), chunk.data(), chunk.length());
    }
    block_.chunks = copy;
    placed_.block = &block_;
  }
  ShortenedBlock(const ShortenedBlock&) = delete;
  ShortenedBlock& operator=(const ShortenedBlock&) = delete;

  [[nodiscard]] const PlacedBlock& placed() const { return placed_; }

 private:
  PlacedBlock placed_;
  CodeBlock block_;
  std::unique_ptr<u64[]> record_;
};

// A block decoder of its own, and the bytes and samples that went through it.
class Work {
 public:
  explicit Work(benchmark::State& state) : state_(state) {}
  ~Work() {
    state_.SetItemsProcessed(samples_);
    state_.SetBytesProcessed(bytes_);
  }
  Work(const Work&) = delete;
  Work& operator=(const Work&) = delete;

  void decode(const PlacedBlock& placed, Stream& stream) {
    benchmark::DoNotOptimize(decoder->decode(placed.task(), stream));
    samples_ += i64{placed.rect.width()} * placed.rect.height();
    for (const DataChunk* chunk = placed.block->chunks; chunk != nullptr; chunk = chunk->next())
      bytes_ += chunk->length();
  }

 private:
  benchmark::State& state_;
  Arena arena_{1 << 16};
  i64 samples_ = 0, bytes_ = 0;

 public:
  std::unique_ptr<BlockDecoder> decoder = std::make_unique<BlockDecoder>(arena_);
};

void decodeBlocks(benchmark::State& state) {
  const RealBlocks real;
  Work work(state);
  for (auto _ : state) {
    for (const PlacedBlock& each : real.blocks) work.decode(each, real.stream());
  }
}

// The same blocks by the group, where the processor can.
void decodeGroups(benchmark::State& state) {
  const RealBlocks real;
  if (kernels().groupPasses == nullptr) return state.SkipWithError("no passes for groups");
  Arena arena{1 << 16};
  const auto single = std::make_unique<BlockDecoder>(arena);
  const auto group = std::make_unique<GroupDecoder>(arena);
  group->setPasses(kernels().groupPasses);
  i64 samples = 0;
  const auto never = [] { return false; };
  const auto sink = [&samples](const BlockBand&, const DecodedBlock& block) {
    benchmark::DoNotOptimize(block.quads);
    samples += i64{block.rect.width()} * block.rect.height();
  };
  for (auto _ : state) {
    for (const PlacedBlock& each : real.blocks) {
      if (group->isFull())
        benchmark::DoNotOptimize(group->decodeAll(*single, real.stream(), never, sink));
      if (group->take(each.task(), real.stream()) != GroupDecoder::Taken::kYes)
        return state.SkipWithError("an unusual block");
    }
    benchmark::DoNotOptimize(group->decodeAll(*single, real.stream(), never, sink));
  }
  state.SetItemsProcessed(samples);
}

// What a step from one number of passes to the next adds is one pass of all blocks: the first is a
// cleanup pass, then come significance, refinement and cleanup in turn.
void firstPasses(benchmark::State& state) {
  const RealBlocks real;
  std::vector<std::unique_ptr<ShortenedBlock>> blocks;
  for (const PlacedBlock& each : real.blocks) {
    if (each.block->chunks->next() == nullptr && !each.block->chunks->endsSegment())
      blocks.push_back(std::make_unique<ShortenedBlock>(each, static_cast<i32>(state.range(0))));
  }
  Work work(state);
  for (auto _ : state) {
    for (const auto& each : blocks) work.decode(each->placed(), real.stream());
  }
}

// The chain from decision to decision by itself: one context, the bytes of one block.
void mqDecisions(benchmark::State& state) {
  const RealBlocks real;
  if (real.blocks.empty()) return;
  const PlacedBlock* longest = &real.blocks[0];
  for (const PlacedBlock& each : real.blocks) {
    if (each.block->chunks->length() > longest->block->chunks->length()) longest = &each;
  }
  Arena arena{1 << 16};
  MqSource source(arena);
  const auto decisions = static_cast<i64>(longest->block->chunks->length()) * 8;
  for (auto _ : state) {
    source.segment.attach(longest->block->chunks, real.stream());
    MqDecoder mq;
    mq.start(source);
    MqRow contexts[kContextCount];
    std::fill_n(contexts, kContextCount, kMqRows[0]);
    u32 history = 0;
    for (i64 i = 0; i < decisions; ++i) {
      const u32 context = history & 15;
      history = (history << 1) | mq.decode(contexts[context], source);
    }
    benchmark::DoNotOptimize(history);
  }
  state.SetItemsProcessed(state.iterations() * decisions);
}

}  // namespace

void registerBlockBenchmarks() {
  benchmark::RegisterBenchmark("mq/decisions", mqDecisions);
  benchmark::RegisterBenchmark("blocks/decode", decodeBlocks)->Unit(benchmark::kMillisecond);
  benchmark::RegisterBenchmark("blocks/decode_groups", decodeGroups)->Unit(benchmark::kMillisecond);
  benchmark::RegisterBenchmark("blocks/first_passes", firstPasses)
      ->DenseRange(1, 25)
      ->Unit(benchmark::kMillisecond);
}

}  // namespace wbx::bench
