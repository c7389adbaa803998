// The passes for processors with AVX-512 VBMI: an MQ decision in each of eight blocks with one walk
// through the registers, and no branch on an outcome. A block by itself cannot do that: its next
// context waits for the last decision, and a guess at it is wrong too often. All tables are small
// enough to stay in registers.
#include <bit>
#include <immintrin.h>

#include "tier1/context_tables.h"
#include "tier1/group_passes.h"
#include "tier1/group_walk.h"
#include "tier1/mq_table.h"

namespace wbx::avx512 {
namespace {

using Vector = __m512i;
using Mask = __mmask8;

using namespace group_layout;

// The first half is taken from the significant samples, the second from the negative ones.
constexpr ContextTaps kSignTaps = {
    {{kW, 1}, {kE, 1}, {kN, 8}, {kS, 8}, {kW, 2}, {kE, 2}, {kN, 16}, {kS, 16}}};
// Of the bytes of each element, the last four and the first one.
constexpr __mmask64 kSecondHalves = 0xF0F0F0F0F0F0F0F0;
constexpr __mmask64 kFirstBytes = 0x0101010101010101;

constexpr u64 bitAt(int distance) {
  return std::rotl(u64{1}, (63 + distance) & 63);
}

struct alignas(64) Words {
  u16 entry[64] = {};
};
struct alignas(64) Bytes {
  u8 entry[64] = {};
};

// By state: Qe.
constexpr Words makeProbabilities() {
  Words table;
  for (size_t s = 0; s < 47; ++s) table.entry[s] = mq_detail::kStates[s].qe;
  return table;
}

// By state: what changes in a context's byte on an MPS renormalisation and, in the high byte, on an
// LPS, as an XOR.
constexpr Words makeChanges() {
  Words table;
  for (u32 s = 0; s < 47; ++s) {
    const mq_detail::State& state = mq_detail::kStates[s];
    const u32 onMps = state.nmps ^ s;
    const u32 onLps = (state.nlps ^ s) | (u32{state.switches} << 7);
    table.entry[s] = static_cast<u16>(onMps | (onLps << 8));
  }
  return table;
}

// By the sums of kSignTaps: the place of the sign context, and the XOR bit in bit 7.
constexpr Bytes makeSigns() {
  Bytes table;
  for (int h = 0; h <= 2; ++h) {
    for (int v = 0; v <= 2; ++v) {
      for (int hNegative = 0; hNegative <= h; ++hNegative) {
        for (int vNegative = 0; vNegative <= v; ++vNegative) {
          const u32 entry = kSignTable[signIndex(h - 2 * hNegative, v - 2 * vNegative)];
          table.entry[h + 2 * hNegative + 8 * v + 16 * vNegative] =
              static_cast<u8>(((entry & 0x7F) - kContextSign) | (entry & 0x80));
        }
      }
    }
  }
  return table;
}

// Operands that stand in memory, where an instruction reads and spreads them at no cost. The passes
// get them by a reference of whose contents the compiler knows nothing: otherwise it builds each of
// them anew in a general register.
struct Constants {
  Words probabilities = makeProbabilities();
  Words changes = makeChanges();
  Bytes signs = makeSigns();
  // Where the bytes of a member begin in a vector, and in a quarter of one.
  GroupWord memberBase = {{0, 8, 16, 24, 32, 40, 48, 56}};
  GroupWord pairBase = {{0, 8, 0, 8, 0, 8, 0, 8}};
  u64 signShifts = kSignTaps.shifts();
  u64 signWeights = kSignTaps.weights();
  u64 later = bitAt(kS) | bitAt(kN + kE) | bitAt(kE) | bitAt(kS + kE);
  u64 around = later | bitAt(kN) | bitAt(kN + kW) | bitAt(kW) | bitAt(kS + kW);
  u64 top = u64{1} << 63;
  u64 topColumn = u64{0xF} << 60;
  u64 samples = kSamples;
  u64 firstRow = kFirstRow;
  u64 rowAbove = kRowAbove;
  u64 rowBelow = kRowBelow;
  u64 columnBefore = kColumnBefore;
  u64 lowByte = 0xFF;
  u64 mps = 0x80;
  u64 place = 0x7F;
  u64 secondWord = 0x40;
  u64 runLength = kGroupRunLength;
  u64 uniform = u64{0x5601} << 48;  // Qe of the uniform context, which never changes
  u64 minusOne = ~u64{0};
  u64 one = 1, two = 2;
};

constinit const Constants kConstants;

const Constants& constants() {
  const Constants* address = &kConstants;
  asm("" : "+r"(address));
  return *address;
}

WBX_INLINE Vector all(u64 value) {
  return _mm512_set1_epi64(static_cast<long long>(value));
}

WBX_INLINE Vector load(const void* from) {
  return _mm512_loadu_si512(from);
}

WBX_INLINE void store(GroupWord* to, Vector value) {
  _mm512_storeu_si512(to, value);
}

WBX_INLINE Mask nonZero(Vector value) {
  return _mm512_test_epi64_mask(value, value);
}

// Three-operand logic by its truth table.
constexpr int kA = 0xF0, kB = 0xCC, kC = 0xAA;

template <int table>
WBX_INLINE Vector logic(Vector a, Vector b, Vector c) {
  return _mm512_ternarylogic_epi64(a, b, c, table & 0xFF);
}

// What GroupState::registers holds: the registers of MqDecoder; contexts, a byte each: bits 0 to 5
// the state of T.800 table C.2, bit 7 the MPS; and how the zero-coding contexts are formed. Zero
// coding has nine; the ninth shares a word with the run length.
enum Register {
  kInterval,
  kCode,
  kFedBelow,
  kZeroCoding,
  kRunLength,
  kSign,
  kRefinement,
  kZeroShifts,
  kZeroWeights,
  kZeroMinuends,
};

struct Registers {
  Vector c, ct;
};

// Feeds the decoders whose ct is negative, and fills up the others.
[[gnu::noinline]] Registers refill(GroupState& state, Vector c, Vector ct) {
  const Vector bits = load(&state.bits), length = load(&state.length);
  Vector fed = load(&state.fed), borrowAt = load(&state.borrowAt);
  const Vector bytesOfWord =
      _mm512_broadcast_i32x4(_mm_set_epi8(8, 9, 10, 11, 12, 13, 14, 15, 0, 1, 2, 3, 4, 5, 6, 7));
  do {
    const Mask due = _mm512_movepi64_mask(ct) & _mm512_cmpeq_epi64_mask(fed, borrowAt);
    if (due != 0) {
      const Vector borrow = _mm512_sllv_epi64(all(1), _mm512_sub_epi64(all(48), ct));
      c = _mm512_mask_sub_epi64(c, due, c, borrow);
      Vector list = load(&state.borrowList);
      list = _mm512_mask_add_epi64(list, due, list, all(sizeof(u64)));
      store(&state.borrowList, list);
      borrowAt = _mm512_mask_i64gather_epi64(borrowAt, due, list, nullptr, 1);
    }
    const Vector offset = _mm512_min_epu64(_mm512_srli_epi64(fed, 3), length);
    Vector next = _mm512_i64gather_epi64(_mm512_add_epi64(bits, offset), nullptr, 1);
    next = _mm512_shuffle_epi8(next, bytesOfWord);
    next = _mm512_sllv_epi64(next, _mm512_and_si512(fed, all(7)));
    // 57 of these bits are good, and 64 - 16 - ct fit.
    Vector take = _mm512_min_epi64(_mm512_sub_epi64(all(48), ct), all(56));
    take = _mm512_min_epu64(take, _mm512_sub_epi64(borrowAt, fed));
    next = _mm512_andnot_si512(_mm512_srlv_epi64(all(~u64{0}), take), next);
    c = _mm512_or_si512(c, _mm512_srlv_epi64(next, _mm512_add_epi64(ct, all(16))));
    fed = _mm512_add_epi64(fed, take);
    ct = _mm512_add_epi64(ct, take);
  } while (_mm512_movepi64_mask(ct) != 0);
  store(&state.fed, fed);
  store(&state.borrowAt, borrowAt);
  return {c, ct};
}

// The registers of the decoders for the length of a pass.
class Decoder {
 public:
  WBX_INLINE explicit Decoder(GroupState& state)
      : state_(state),
        a_(load(&state.registers[kInterval])),
        c_(load(&state.registers[kCode])),
        ct_(load(&state.registers[kFedBelow])),
        zeroCoding_(load(&state.registers[kZeroCoding])),
        runLength_(load(&state.registers[kRunLength])),
        sign_(load(&state.registers[kSign])),
        refinement_(load(&state.registers[kRefinement])),
        probabilities0_(load(k.probabilities.entry)),
        probabilities1_(load(k.probabilities.entry + 32)),
        changes0_(load(k.changes.entry)),
        changes1_(load(k.changes.entry + 32)),
        zeroTable0_(load(kGroupZeroCodingTable.entry)),
        zeroTable1_(load(kGroupZeroCodingTable.entry + 64)),
        zeroShifts_(load(&state.registers[kZeroShifts])),
        zeroWeights_(load(&state.registers[kZeroWeights])),
        zeroMinuends_(load(&state.registers[kZeroMinuends])),
        signTable_(load(k.signs.entry)),
        memberBase_(load(&k.memberBase)),
        pairBase_(load(&k.pairBase)) {}

  WBX_INLINE void finish() {
    store(&state_.registers[kInterval], a_);
    store(&state_.registers[kCode], c_);
    store(&state_.registers[kFedBelow], ct_);
    store(&state_.registers[kZeroCoding], zeroCoding_);
    store(&state_.registers[kRunLength], runLength_);
    store(&state_.registers[kSign], sign_);
    store(&state_.registers[kRefinement], refinement_);
  }

  // The context of a significance decision, from a word of significant samples that has the sample
  // at bit 63 (T.800 table D.1).
  WBX_INLINE Vector zeroCodingContext(Vector around) const {
    const Vector taps = _mm512_multishift_epi64_epi8(zeroShifts_, around);
    const Vector index = _mm512_sad_epu8(zeroMinuends_, _mm512_and_si512(taps, zeroWeights_));
    return _mm512_or_si512(_mm512_permutex2var_epi8(zeroTable0_, index, zeroTable1_), memberBase_);
  }
  WBX_INLINE Vector orRunLength(Vector context, Mask run) const {
    return _mm512_mask_or_epi64(context, run, memberBase_, all(k.runLength));
  }
  // T.800 table D.4.
  WBX_INLINE Vector refinementContext(Mask firstWithNeighbour, Mask refined) const {
    const Vector context =
        _mm512_mask_or_epi64(pairBase_, firstWithNeighbour, pairBase_, all(k.one));
    return _mm512_mask_or_epi64(context, refined, pairBase_, all(k.two));
  }

  // Each decides one bit in the members of `active`; the others stay as they are and give 0.
  WBX_INLINE Mask decideSignificance(Vector context, Mask active) {
    const Vector byte =
        _mm512_maskz_permutex2var_epi8(kFirstBytes, zeroCoding_, context, runLength_);
    Vector change;
    const Mask bit = decide(byte, active, &change);
    change = toPlace(change, context);
    const Mask second = _mm512_test_epi64_mask(context, all(k.secondWord));
    zeroCoding_ = _mm512_mask_xor_epi64(zeroCoding_, _knot_mask8(second), zeroCoding_, change);
    runLength_ = _mm512_mask_xor_epi64(runLength_, second, runLength_, change);
    return bit;
  }
  // T.800 D.3.2, from two words that have the sample at bit 63.
  WBX_INLINE Mask decideSign(Vector significantAround, Vector negativeAround, Mask active) {
    const Vector shifts = all(k.signShifts);
    Vector taps = _mm512_multishift_epi64_epi8(shifts, significantAround);
    taps = _mm512_mask_multishift_epi64_epi8(taps, kSecondHalves, shifts, negativeAround);
    const Vector sum =
        _mm512_sad_epu8(_mm512_and_si512(taps, all(k.signWeights)), _mm512_setzero_si512());
    const Vector entry = _mm512_permutexvar_epi8(sum, signTable_);
    const Mask flip = _mm512_mask_test_epi64_mask(active, entry, all(k.mps));
    const Vector context = logic<(kA & kB) | kC>(entry, all(k.place), pairBase_);
    const Vector byte = _mm512_maskz_shuffle_epi8(kFirstBytes, sign_, context);
    Vector change;
    const Mask bit = decide(byte, active, &change);
    sign_ = _mm512_xor_si512(sign_, toPlace(change, context));
    return _kxor_mask8(bit, flip);
  }
  WBX_INLINE Mask decideRefinement(Vector context, Mask active) {
    const Vector byte = _mm512_maskz_shuffle_epi8(kFirstBytes, refinement_, context);
    Vector change;
    const Mask bit = decide(byte, active, &change);
    refinement_ = _mm512_xor_si512(refinement_, toPlace(change, context));
    return bit;
  }
  WBX_INLINE Mask decideUniform(Mask active) {
    const Mask lps = split(_mm512_maskz_mov_epi64(active, all(k.uniform)), active).lps;
    feed();
    return lps;
  }

  const Constants& k = constants();

 private:
  struct Halves {
    Mask lps;
    Vector shift;  // of the renormalisation; never 0 on an LPS
  };

  // A byte to the place of its context.
  WBX_INLINE static Vector toPlace(Vector byte, Vector context) {
    return _mm512_rolv_epi64(byte, _mm512_slli_epi64(context, 3));
  }

  // The arithmetic of a decision: see MqDecoder. A member that is not active has a Qe of 0 and
  // stays as it is; the mask is for members where corrupt data has taken c past a.
  WBX_INLINE Halves split(Vector qe, Mask active) {
    const Vector lower = _mm512_sub_epi64(a_, qe);
    const Mask upper = _mm512_mask_cmpge_epu64_mask(active, c_, lower);
    const Mask exchange = _mm512_cmplt_epu64_mask(lower, qe);
    const Vector a = _mm512_mask_mov_epi64(lower, upper, qe);
    const Vector c = _mm512_mask_sub_epi64(c_, upper, c_, lower);
    const Vector shift = _mm512_lzcnt_epi64(a);
    a_ = _mm512_sllv_epi64(a, shift);
    c_ = _mm512_sllv_epi64(c, shift);
    ct_ = _mm512_sub_epi64(ct_, shift);
    return {_kxor_mask8(upper, exchange), shift};
  }

  WBX_INLINE void feed() {
    if (_mm512_movepi64_mask(ct_) != 0) [[unlikely]] {
      const Registers r = refill(state_, c_, ct_);
      c_ = r.c;
      ct_ = r.ct;
    }
  }

  // `byte` is the context's; `change` is what the decision makes of it.
  WBX_INLINE Mask decide(Vector byte, Mask active, Vector* change) {
    const Vector probability = _mm512_permutex2var_epi16(probabilities0_, byte, probabilities1_);
    const Vector changes = _mm512_permutex2var_epi16(changes0_, byte, changes1_);
    const Halves halves = split(_mm512_maskz_slli_epi64(active, probability, 48), active);
    const Mask mps = _mm512_mask_test_epi64_mask(active, byte, all(k.mps));
    const Mask changed = nonZero(halves.shift);
    const Vector selected = _mm512_mask_srli_epi64(changes, halves.lps, changes, 8);
    *change = _mm512_maskz_and_epi64(changed, selected, all(k.lowByte));
    feed();
    return _kxor_mask8(halves.lps, mps);
  }

  GroupState& state_;
  Vector a_, c_, ct_;
  Vector zeroCoding_, runLength_, sign_, refinement_;
  const Vector probabilities0_, probabilities1_, changes0_, changes1_;
  const Vector zeroTable0_, zeroTable1_, zeroShifts_, zeroWeights_, zeroMinuends_;
  const Vector signTable_, memberBase_, pairBase_;
};

// See group_walk.h.
struct Lanes {
  using Words = Vector;
  using Members = Mask;
  using Constants = avx512::Constants;

  WBX_INLINE static Vector load(const GroupWord* from) { return avx512::load(from); }
  WBX_INLINE static void store(GroupWord* to, Vector value) { avx512::store(to, value); }
  template <int count>
  WBX_INLINE static Vector left(Vector a) {
    return _mm512_slli_epi64(a, count);
  }
  template <int count>
  WBX_INLINE static Vector right(Vector a) {
    return _mm512_srli_epi64(a, count);
  }
  WBX_INLINE static Vector either(Vector a, Vector b) { return _mm512_or_si512(a, b); }
  WBX_INLINE static Vector either(Vector a, Vector b, Vector c) {
    return logic<kA | kB | kC>(a, b, c);
  }
  WBX_INLINE static Vector either(Vector a, Vector b, u64 constant) {
    return logic<kA | (kB & kC)>(a, b, all(constant));
  }
  WBX_INLINE static Vector both(Vector a, Vector b) { return _mm512_and_si512(a, b); }
  WBX_INLINE static Vector both(Vector a, u64 constant) { return both(a, all(constant)); }
  WBX_INLINE static Vector without(Vector a, Vector b) { return _mm512_andnot_si512(b, a); }
  WBX_INLINE static Mask members(u32 bits) { return static_cast<Mask>(bits); }
  WBX_INLINE static Vector of(Vector a, Mask members) { return _mm512_maskz_mov_epi64(members, a); }
  WBX_INLINE static bool isZero(Vector a) { return nonZero(a) == 0; }
};

using Word = GroupFinds<Lanes>;

// A sample for which `hit` has decided: its sign, and its place in the word. `around` is the word
// before it, turned by `turn` to have the sample at bit 63.
WBX_INLINE void makeSignificant(Decoder& mq, Word& word, Vector sample, Vector around, Vector turn,
                                Mask hit) {
  word.significant = _mm512_mask_or_epi64(word.significant, hit, word.significant, sample);
  const Mask minus = mq.decideSign(around, _mm512_rolv_epi64(word.negative, turn), hit);
  word.negative = _mm512_mask_or_epi64(word.negative, minus, word.negative, sample);
}

void resetContexts(GroupState& state, u32 members) {
  const auto set = [&](Register contexts, u64 value) {
    _mm512_mask_storeu_epi64(&state.registers[contexts], static_cast<Mask>(members), all(value));
  };
  set(kZeroCoding, 4);      // T.800 table D.7: state 4 for label 0,
  set(kRunLength, 3 << 8);  // 3 for the run length
  set(kSign, 0);
  set(kRefinement, 0);
}

void beginSegments(GroupState& state, u32 members) {
  if (members == 0) return;
  const Mask begin = static_cast<Mask>(members);
  const auto registerWith = [&](Register each, u64 value) {
    return _mm512_mask_mov_epi64(load(&state.registers[each]), begin, all(value));
  };
  // One bit, 0, stands above the first: T.800 C.3.5.
  const Registers r =
      refill(state, registerWith(kCode, 0), registerWith(kFedBelow, static_cast<u64>(i64{1} - 16)));
  store(&state.registers[kInterval], registerWith(kInterval, u64{1} << 63));
  store(&state.registers[kCode], r.c);
  store(&state.registers[kFedBelow], r.ct);
}

u64 usedBits(const GroupState& state, i32 member) {
  return state.fed.member[member] - state.registers[kFedBelow].member[member];
}

void start(GroupState& state) {
  resetContexts(state, 0xFF);
  for (i32 member = 0; member < GroupWord::kMembers; ++member) {
    const GroupZeroCoding& coding = groupZeroCoding(state.orientation[member]);
    state.registers[kZeroShifts].member[member] = coding.taps.shifts();
    state.registers[kZeroWeights].member[member] = coding.taps.weights();
    state.registers[kZeroMinuends].member[member] = coding.minuends();
  }
}

// T.800 D.3.1.
void significancePass(GroupState& state, u32 members) {
  Decoder mq(state);
  const Constants& k = mq.k;
  findSignificant<Lanes>(k, state, members, [&](Word& word, i32 i) {
    Vector work = _mm512_and_si512(neighbours<Lanes>(word.significant), word.insignificant);
    Vector waiting = _mm512_andnot_si512(work, word.insignificant);  // not in the pass so far
    const bool any = nonZero(work) != 0;
    for (Mask active = nonZero(work); active != 0; active = nonZero(work)) {
      const Vector zeros = _mm512_lzcnt_epi64(work);
      const Vector sample = _mm512_srlv_epi64(all(k.top), zeros);
      work = _mm512_andnot_si512(sample, work);
      const Vector around = _mm512_rolv_epi64(word.significant, zeros);
      const Mask hit = mq.decideSignificance(mq.zeroCodingContext(around), active);
      if (hit == 0) continue;
      // Samples behind this one join the pass; those before it wait for the cleanup pass.
      const Vector later = _mm512_srlv_epi64(all(k.later), zeros);
      work = _mm512_mask_ternarylogic_epi64(work, hit, later, waiting, (kA | (kB & kC)) & 0xFF);
      waiting = _mm512_mask_andnot_epi64(waiting, hit, later, waiting);
      makeSignificant(mq, word, sample, around, zeros, hit);
    }
    store(state.ones + i, _mm512_and_si512(word.significant, word.insignificant));
    store(state.visited + i, _mm512_andnot_si512(waiting, word.insignificant));
    return any;
  });
  mq.finish();
}

// T.800 D.3.3.
void refinementPass(GroupState& state, u32 members) {
  Decoder mq(state);
  const Constants& k = mq.k;
  const auto refine = [&](Vector work, Vector refined, Vector firstWithNeighbour) {
    Vector ones = _mm512_setzero_si512();
    for (Mask active = nonZero(work); active != 0; active = nonZero(work)) {
      const Vector sample = _mm512_srlv_epi64(all(k.top), _mm512_lzcnt_epi64(work));
      work = _mm512_andnot_si512(sample, work);
      const Vector context =
          mq.refinementContext(_mm512_test_epi64_mask(firstWithNeighbour, sample),
                               _mm512_test_epi64_mask(refined, sample));
      const Mask one = mq.decideRefinement(context, active);
      ones = _mm512_mask_or_epi64(ones, one, ones, sample);
    }
    return ones;
  };
  refineSignificant<Lanes>(k, state, members, refine);
  mq.finish();
}

// T.800 D.3.4.
void cleanupPass(GroupState& state, u32 members) {
  Decoder mq(state);
  const Constants& k = mq.k;
  findSignificant<Lanes>(k, state, members, [&](Word& word, i32 i) {
    Vector work = _mm512_andnot_si512(load(state.visited + i), word.insignificant);
    if (nonZero(work) == 0) return false;
    // A sample past the bottom of the block counts as neighboured: no run starts in its column.
    Vector neighboured =
        logic<kA | (~kB & kC)>(neighbours<Lanes>(word.significant), word.real, all(k.samples));
    for (Mask active = nonZero(work); active != 0; active = nonZero(work)) {
      Vector zeros = _mm512_lzcnt_epi64(work);
      Vector sample = _mm512_srlv_epi64(all(k.top), zeros);
      Vector around = _mm512_rolv_epi64(word.significant, zeros);
      const Mask run =
          _mm512_mask_testn_epi64_mask(_mm512_test_epi64_mask(sample, all(k.firstRow)),
                                       _mm512_rolv_epi64(neighboured, zeros), all(k.topColumn));
      const Vector context = mq.orRunLength(mq.zeroCodingContext(around), run);
      const Mask hit = mq.decideSignificance(context, active);
      const Mask broken = _kand_mask8(run, hit);
      Vector last = _mm512_mask_srli_epi64(sample, run, sample, 3);  // that is done with
      if (broken != 0) {
        const Mask high = mq.decideUniform(broken);
        const Mask low = mq.decideUniform(broken);
        Vector rows = _mm512_maskz_mov_epi64(high, all(k.two));
        rows = _mm512_mask_add_epi64(rows, low, rows, all(k.one));
        zeros = _mm512_add_epi64(zeros, rows);
        sample = _mm512_srlv_epi64(sample, rows);
        around = _mm512_rolv_epi64(word.significant, zeros);
        last = _mm512_mask_mov_epi64(last, broken, sample);
      }
      work = _mm512_and_si512(work, _mm512_add_epi64(last, all(k.minusOne)));
      if (hit == 0) continue;
      neighboured = _mm512_mask_or_epi64(neighboured, hit, neighboured,
                                         _mm512_rorv_epi64(all(k.around), zeros));
      makeSignificant(mq, word, sample, around, zeros, hit);
    }
    const Vector found = _mm512_and_si512(word.significant, word.insignificant);
    store(state.ones + i, _mm512_or_si512(load(state.ones + i), found));
    return true;
  });
  mq.finish();
}

// T.800 D.5.
void skipSymbol(GroupState& state, u32 members) {
  if (members == 0) return;
  Decoder mq(state);
  for (int bit = 0; bit < 4; ++bit) mq.decideUniform(static_cast<Mask>(members));
  mq.finish();
}

void collect(const GroupState& state, i32 member, const GroupWord* ones, i32 planes, i32 firstPlane,
             u32* quads) {
  const auto samplesOf = [member](const GroupWord& word) {
    return static_cast<u32>(_pext_u64(word.member[member], kSamples));
  };
  // The highest bit of a word is its first sample.
  const Vector reversed = _mm512_set_epi32(0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15);
  const i64 arrayWords = i64{state.wordPitch} * (state.stripes + 2) + 1;
  for (i32 stripe = 1; stripe <= state.stripes; ++stripe) {
    for (i32 i = 0; i < state.wordsAcross; ++i) {
      const i64 index = i64{stripe} * state.wordPitch + 1 + i;
      const Vector sign = _mm512_set1_epi32(static_cast<i32>(0x80000000));
      u32 mask = samplesOf(state.negative[index]);
      Vector left = _mm512_maskz_mov_epi32(static_cast<__mmask16>(mask >> 16), sign);
      Vector right = _mm512_maskz_mov_epi32(static_cast<__mmask16>(mask), sign);
      for (i32 plane = 0; plane < planes; ++plane) {
        const Vector bit = _mm512_set1_epi32(static_cast<i32>(u32{1} << (firstPlane - plane)));
        mask = samplesOf(ones[plane * arrayWords + index]);
        left = _mm512_mask_or_epi32(left, static_cast<__mmask16>(mask >> 16), left, bit);
        right = _mm512_mask_or_epi32(right, static_cast<__mmask16>(mask), right, bit);
      }
      _mm512_storeu_si512(quads, _mm512_permutexvar_epi32(reversed, left));
      _mm512_storeu_si512(quads + 16, _mm512_permutexvar_epi32(reversed, right));
      quads += 32;
    }
  }
}

}  // namespace

const GroupPasses kGroupPasses = {start,          resetContexts, beginSegments,
                                  usedBits,       cleanupPass,   significancePass,
                                  refinementPass, skipSymbol,    collect};

}  // namespace wbx::avx512
