// A code block decoder as T.800 C and D tell it, sample by sample and bit by bit: to compare with.
#pragma once

#include <array>
#include <cstdlib>
#include <vector>

#include "base/types.h"

namespace wbx::test {

struct ReferenceChunk {
  std::vector<u8> bytes;
  i32 passes = 0;
  bool endsSegment = false;
  u32 missing = 0;  // bytes that its header counts and the source lacks
};

struct ReferenceBlock {
  i32 width = 0, height = 0;
  i32 orientation = 0;
  i32 magnitudeBits = 0;
  i32 roiShift = 0;
  i32 zeroPlanes = 0;
  bool resetsContexts = false;
  bool segmentationSymbols = false;
  std::vector<ReferenceChunk> chunks;
};

// The software conventions decoder of T.800 J.1 on complemented bytes, one byte at a time.
class ReferenceMq {
 public:
  explicit ReferenceMq(const std::vector<ReferenceChunk>& chunks) : chunks_(chunks) {
    resetContexts();
  }

  void resetContexts() {
    contexts_.fill({0, 0});
    contexts_[17].state = 3;
    contexts_[0].state = 4;
    contexts_[18].state = 46;
  }

  void start() {
    previous_ = fetch();
    c_ = previous_ << 16;
    byteIn();
    c_ <<= 7;
    ct_ -= 7;
    a_ = 0x8000;
  }

  // `label` numbers the contexts as T.800 does.
  u32 decode(size_t label) {
    Context& context = contexts_[label];
    const State& state = kStates[context.state];
    a_ -= state.qe;
    u32 bit = context.mps;
    if ((c_ >> 16) < a_) {
      if (a_ & 0x8000) return bit;
      if (a_ < state.qe) {
        bit = takeLps(context);
      } else {
        context.state = state.nmps;
      }
    } else {
      c_ -= a_ << 16;
      if (a_ < state.qe) {
        context.state = state.nmps;
      } else {
        bit = takeLps(context);
      }
      a_ = state.qe;
    }
    do {
      if (ct_ == 0) byteIn();
      a_ <<= 1;
      c_ <<= 1;
      --ct_;
    } while ((a_ & 0x8000) == 0);
    return bit;
  }

  // A segment is given up only when a pass ends with its bytes used up.
  [[nodiscard]] bool segmentUsedUp() const {
    return chunk_ < chunks_.size() && cursor_ == chunks_[chunk_].bytes.size() &&
           chunks_[chunk_].endsSegment;
  }
  void nextChunk() {
    ++chunk_;
    cursor_ = 0;
  }

 private:
  struct State {
    u32 qe, nmps, nlps;
    bool switches;
  };
  struct Context {
    u32 state, mps;
  };

  // T.800 table C.2
  static constexpr std::array<State, 47> kStates = {{
      {0x5601, 1, 1, true},    {0x3401, 2, 6, false},   {0x1801, 3, 9, false},
      {0x0AC1, 4, 12, false},  {0x0521, 5, 29, false},  {0x0221, 38, 33, false},
      {0x5601, 7, 6, true},    {0x5401, 8, 14, false},  {0x4801, 9, 14, false},
      {0x3801, 10, 14, false}, {0x3001, 11, 17, false}, {0x2401, 12, 18, false},
      {0x1C01, 13, 20, false}, {0x1601, 29, 21, false}, {0x5601, 15, 14, true},
      {0x5401, 16, 14, false}, {0x5101, 17, 15, false}, {0x4801, 18, 16, false},
      {0x3801, 19, 17, false}, {0x3401, 20, 18, false}, {0x3001, 21, 19, false},
      {0x2801, 22, 19, false}, {0x2401, 23, 20, false}, {0x2201, 24, 21, false},
      {0x1C01, 25, 22, false}, {0x1801, 26, 23, false}, {0x1601, 27, 24, false},
      {0x1401, 28, 25, false}, {0x1201, 29, 26, false}, {0x1101, 30, 27, false},
      {0x0AC1, 31, 28, false}, {0x09C1, 32, 29, false}, {0x08A1, 33, 30, false},
      {0x0521, 34, 31, false}, {0x0441, 35, 32, false}, {0x02A1, 36, 33, false},
      {0x0221, 37, 34, false}, {0x0141, 38, 35, false}, {0x0111, 39, 36, false},
      {0x0085, 40, 37, false}, {0x0049, 41, 38, false}, {0x0025, 42, 39, false},
      {0x0015, 43, 40, false}, {0x0009, 44, 41, false}, {0x0005, 45, 42, false},
      {0x0001, 45, 43, false}, {0x5601, 46, 46, false},
  }};

  static u32 takeLps(Context& context) {
    const State& state = kStates[context.state];
    const u32 bit = 1 - context.mps;
    if (state.switches) context.mps = bit;
    context.state = state.nlps;
    return bit;
  }

  void byteIn() {
    const u32 b = fetch();
    if (previous_ != 0) {
      c_ |= b << 8;
      ct_ = 8;
    } else if (const u32 real = 0xFF - b; real > 0x8F) {
      ct_ = 8;
    } else {
      c_ += 0xFE00 - (real << 9);
      ct_ = 7;
    }
    previous_ = b;
  }

  // The next byte complemented; past the end of the segment the complement of 0xFF.
  u32 fetch() {
    while (chunk_ < chunks_.size() && cursor_ == chunks_[chunk_].bytes.size() &&
           !chunks_[chunk_].endsSegment)
      nextChunk();
    if (chunk_ == chunks_.size() || cursor_ == chunks_[chunk_].bytes.size()) return 0;
    return 0xFFu - chunks_[chunk_].bytes[cursor_++];
  }

  const std::vector<ReferenceChunk>& chunks_;
  size_t chunk_ = 0, cursor_ = 0;
  std::array<Context, 19> contexts_ = {};
  u32 a_ = 0, c_ = 0;
  i32 ct_ = 0;
  u32 previous_ = 0;
};

class ReferenceBlockDecoder {
 public:
  explicit ReferenceBlockDecoder(const ReferenceBlock& block)
      : block_(block),
        mq_(block.chunks),
        samples_(static_cast<size_t>(block.width) * static_cast<size_t>(block.height)) {}

  void decode() {
    i32 total = 0;
    for (const ReferenceChunk& chunk : block_.chunks) total += chunk.passes;
    if (block_.zeroPlanes < 0) return;
    bool newSegment = true;
    for (i32 k = 0; k < total; ++k) {
      plane_ = block_.magnitudeBits + block_.roiShift - 1 - block_.zeroPlanes - (k + 2) / 3;
      lastPlane = plane_ < 0 ? 0 : plane_;
      if (plane_ < 0) return;
      if (newSegment) mq_.start();
      runPass(k % 3);
      newSegment = mq_.segmentUsedUp();
      if (newSegment) mq_.nextChunk();
      if (block_.resetsContexts) mq_.resetContexts();
    }
  }

  // What belongs to a region of interest is brought down to the rest (T.800 H.1).
  [[nodiscard]] u32 coefficient(i32 x, i32 y) const {
    const Sample& s = at(x, y);
    const i32 shift = block_.roiShift >= 1 && block_.roiShift <= 30 ? block_.roiShift : 0;
    const bool ofRegion = (s.magnitude >> shift) != 0;
    return (ofRegion ? s.magnitude >> shift : s.magnitude) | (s.negative ? 0x80000000 : 0);
  }

  i32 lastPlane = 0;
  std::vector<u32> badSymbols;

 private:
  struct Sample {
    u32 magnitude = 0;
    bool significant = false, negative = false, visited = false, refined = false;
  };
  struct Neighbours {
    i32 h = 0, v = 0, d = 0;
    [[nodiscard]] i32 count() const { return h + v + d; }
  };

  [[nodiscard]] const Sample& at(i32 x, i32 y) const {
    static const Sample outside;
    if (x < 0 || y < 0 || x >= block_.width || y >= block_.height) return outside;
    return samples_[static_cast<size_t>(y * block_.width + x)];
  }

  [[nodiscard]] Neighbours neighbours(i32 x, i32 y) const {
    Neighbours n;
    for (i32 dy = -1; dy <= 1; ++dy) {
      for (i32 dx = -1; dx <= 1; ++dx) {
        if ((dx == 0 && dy == 0) || !at(x + dx, y + dy).significant) continue;
        ++(dy == 0 ? n.h : dx == 0 ? n.v : n.d);
      }
    }
    return n;
  }

  // T.800 table D.1
  [[nodiscard]] size_t zeroCodingLabel(i32 x, i32 y) const {
    Neighbours n = neighbours(x, y);
    if (block_.orientation == 3) {
      const i32 hv = n.h + n.v;
      if (n.d >= 3) return 8;
      if (n.d == 2) return hv >= 1 ? 7 : 6;
      if (n.d == 1) return hv >= 2 ? 5 : hv == 1 ? 4 : 3;
      return hv >= 2 ? 2 : static_cast<size_t>(hv);
    }
    if (block_.orientation == 1) std::swap(n.h, n.v);
    if (n.h == 2) return 8;
    if (n.h == 1) return n.v >= 1 ? 7 : n.d >= 1 ? 6 : 5;
    if (n.v == 2) return 4;
    if (n.v == 1) return 3;
    return n.d >= 2 ? 2 : static_cast<size_t>(n.d);
  }

  // T.800 tables D.2 and D.3
  void decodeSign(i32 x, i32 y) {
    const auto one = [this](i32 i, i32 j) {
      const Sample& s = at(i, j);
      return !s.significant ? 0 : s.negative ? -1 : 1;
    };
    const auto both = [](i32 sum) { return sum > 0 ? 1 : sum < 0 ? -1 : 0; };
    const i32 h = both(one(x - 1, y) + one(x + 1, y));
    const i32 v = both(one(x, y - 1) + one(x, y + 1));
    struct Row {
      size_t label;
      u32 flip;
    };
    static constexpr Row kRows[3][3] = {
        {{13, 1}, {12, 1}, {11, 1}}, {{10, 1}, {9, 0}, {10, 0}}, {{11, 0}, {12, 0}, {13, 0}}};
    const Row& row = kRows[h + 1][v + 1];
    Sample& s = samples_[static_cast<size_t>(y * block_.width + x)];
    s.negative = (mq_.decode(row.label) ^ row.flip) != 0;
    s.significant = true;
    s.magnitude = u32{1} << plane_;
  }

  void runPass(i32 kind) {
    for (i32 y = 0; y < block_.height; y += 4) {
      for (i32 x = 0; x < block_.width; ++x) {
        const i32 end = std::min(y + 4, block_.height);
        if (kind == 0) {
          cleanUpColumn(x, y, end);
        } else {
          for (i32 row = y; row < end; ++row) kind == 1 ? propagate(x, row) : refine(x, row);
        }
      }
    }
    if (kind != 0) return;
    for (Sample& s : samples_) s.visited = false;
    if (block_.segmentationSymbols) readSymbol();
  }

  void propagate(i32 x, i32 y) {
    Sample& s = samples_[static_cast<size_t>(y * block_.width + x)];
    if (s.significant || neighbours(x, y).count() == 0) return;
    s.visited = true;
    if (mq_.decode(zeroCodingLabel(x, y))) decodeSign(x, y);
  }

  void refine(i32 x, i32 y) {
    Sample& s = samples_[static_cast<size_t>(y * block_.width + x)];
    if (!s.significant || s.visited) return;
    const size_t label = s.refined ? 16 : neighbours(x, y).count() != 0 ? 15 : 14;
    s.magnitude |= mq_.decode(label) << plane_;
    s.refined = true;
  }

  void cleanUpColumn(i32 x, i32 y, i32 end) {
    i32 row = y;
    bool run = end - y == 4;
    for (i32 i = y; i < end; ++i) {
      const Sample& s = at(x, i);
      run = run && !s.significant && !s.visited && neighbours(x, i).count() == 0;
    }
    if (run) {
      if (mq_.decode(17) == 0) return;
      row += static_cast<i32>(mq_.decode(18) << 1);
      row += static_cast<i32>(mq_.decode(18));
      decodeSign(x, row++);
    }
    for (; row < end; ++row) {
      const Sample& s = at(x, row);
      if (!s.significant && !s.visited && mq_.decode(zeroCodingLabel(x, row))) decodeSign(x, row);
    }
  }

  void readSymbol() {
    u32 symbol = 0;
    for (int i = 0; i < 4; ++i) symbol = (symbol << 1) | mq_.decode(18);
    if (symbol != 10) badSymbols.push_back(symbol);
  }

  const ReferenceBlock& block_;
  ReferenceMq mq_;
  std::vector<Sample> samples_;
  i32 plane_ = 0;
};

}  // namespace wbx::test
