// The passes for processors with AVX2: in one walk through the registers each of eight blocks makes
// the decision that is next for it, be it a significance, a sign, a run length or a row of a run.
// While it is made, the next sample and its context are worked out as if the outcome were 0, and
// the sign's context in case it is 1; so neither waits for the other.
#include <algorithm>
#include <bit>
#include <cstring>
#include <immintrin.h>

#include "tier1/context_tables.h"
#include "tier1/group_passes.h"
#include "tier1/group_walk.h"
#include "tier1/mq_table.h"

namespace wbx::avx2 {
namespace {

#define WBX_LAMBDA_INLINE __attribute__((always_inline))

using namespace group_layout;

// A 32-bit element for each member, in the order 0, 1, 4, 5, 2, 3, 6, 7.
using Vector = __m256i;
// A word for each member: 0 to 3, and 4 to 7.
struct Wide {
  Vector low, high;
};

constexpr i32 kOrder[8] = {0, 1, 4, 5, 2, 3, 6, 7};

// What GroupState::registers holds: the registers of MqDecoder, cut to 31 bits, and the contexts.
enum Register {
  kInterval,
  kCode,
  kFedBelow,
  kContexts,  // to 5: four contexts in a vector
  kRefinement = kContexts + 2,
};

// The places of contexts. A context is a byte: bits 0 to 5 the state of T.800 table C.2 plus 1, so
// that there is a byte without a context, 0, and bit 6 the MPS.
enum Place : u8 { kPlaceZeroCoding, kPlaceRunLength = 9, kPlaceUniform, kPlaceSign };

struct alignas(32) Elements {
  u32 element[8] = {};
};
struct alignas(32) Bytes {
  u8 entry[32] = {};
};

constexpr Elements all32(u32 value) {
  Elements elements;
  for (u32& each : elements.element) each = value;
  return elements;
}
constexpr Elements all64(u64 value) {
  Elements elements;
  for (int i = 0; i < 8; ++i) elements.element[i] = static_cast<u32>(value >> (32 * (i & 1)));
  return elements;
}
template <class Make>
constexpr Bytes bytes(Make make) {
  Bytes table;
  for (int i = 0; i < 32; ++i) table.entry[i] = static_cast<u8>(make(i));
  return table;
}

// By eight contexts' bytes: Qe in bits 15 to 30, what changes in the byte on an LPS in bits 8 to 14
// and on an MPS renormalisation in bits 0 to 7, as an XOR. Without a context nothing changes.
struct StateRows {
  Elements part[6];

  constexpr StateRows() : part() {
    for (u32 s = 0; s < 47; ++s) {
      const mq_detail::State& state = mq_detail::kStates[s];
      const u32 byte = s + 1;
      const u32 onMps = (state.nmps + 1u) ^ byte;
      const u32 onLps = ((state.nlps + 1u) ^ byte) | (u32{state.switches} << 6);
      part[byte / 8].element[byte % 8] = (u32{state.qe} << 15) | (onLps << 8) | onMps;
    }
  }
};

// Zero coding. Around a sample at bit 7 of a piece stand, from bit 0, SE E NE, at 6 S, at 8 N, from
// 12 SW W NW. Brought together in the low halves of two bytes: SE E NE S, and N SW W NW. The sum of
// what a table has for each has in its low half the row of a second table, 3h + v, 3v + h or 9 + d,
// and in its high half what is added there, up to a limit: d, d or h + v.
enum Kind { kKindLL, kKindHL, kKindHH, kKinds };

constexpr u32 zeroCodingWeight(Kind kind, bool horizontal, bool vertical) {
  const bool diagonal = !horizontal && !vertical;
  if (kind == kKindHH) return diagonal ? 1 : 16;
  if (diagonal) return 16;
  return horizontal == (kind == kKindLL) ? 3 : 1;
}
constexpr u32 zeroCodingFirst(Kind kind, int index) {
  const u32 d = zeroCodingWeight(kind, false, false), h = zeroCodingWeight(kind, true, false),
            v = zeroCodingWeight(kind, false, true);
  const auto bit = [index](int place) { return static_cast<u32>(index >> place & 1); };
  return bit(0) * d + bit(1) * h + bit(2) * d + bit(3) * v + (kind == kKindHH ? 9 : 0);
}
constexpr u32 zeroCodingSecond(Kind kind, int index) {
  const u32 d = zeroCodingWeight(kind, false, false), h = zeroCodingWeight(kind, true, false),
            v = zeroCodingWeight(kind, false, true);
  const auto bit = [index](int place) { return static_cast<u32>(index >> place & 1); };
  return bit(0) * v + bit(1) * d + bit(2) * h + bit(3) * d;
}
constexpr int zeroCodingLabel(int row, int added) {
  return row < 9    ? context_detail::labelLL(row / 3, row % 3, added)
         : row < 14 ? context_detail::labelHH(added, row - 9)
                    : 0;
}

// By N and S, or by W and E: bits 0 and 2 where one is significant, 1 and 3 where it is negative
// too; what they contribute to the sign context, from 0 for negative to 2 for positive.
constexpr int signContribution(int index) {
  const auto value = [&](int bit) {
    return (index >> bit & 1) != 0 ? 1 - 2 * (index >> (bit + 1) & 1) : 0;
  };
  const int sum = value(0) + value(2);
  return sum > 0 ? 2 : sum < 0 ? 0 : 1;
}
// The place of the context, and the XOR bit in bit 6.
constexpr u32 signEntry(int index) {
  if (index > 8) return 0;
  const u32 entry = kSignTable[signIndex(index / 3 - 1, index % 3 - 1)];
  return ((entry & 0x7F) - kContextSign + kPlaceSign) | (entry & 0x80) >> 1;
}

struct ZeroCodingTables {
  Bytes first, second;
};
constexpr ZeroCodingTables zeroCodingTables(Kind kind) {
  return {bytes([kind](int i) { return zeroCodingFirst(kind, i & 15); }),
          bytes([kind](int i) { return zeroCodingSecond(kind, i & 15); })};
}

struct Constants {
  StateRows rows;
  ZeroCodingTables zeroCoding[kKinds] = {zeroCodingTables(kKindLL), zeroCodingTables(kKindHL),
                                         zeroCodingTables(kKindHH)};
  Bytes base = bytes([](int i) { return zeroCodingLabel(i & 15, 0); });
  Bytes limit =
      bytes([](int i) { return 16 * (zeroCodingLabel(i & 15, 4) - zeroCodingLabel(i & 15, 0)); });
  Bytes contribution = bytes([](int i) { return signContribution(i & 15); });
  Bytes signs = bytes([](int i) { return signEntry(i & 15); });
  // Controls of byte shuffles: the first byte of each element to all four, or alone.
  Bytes spread = bytes([](int i) { return i & 12; });
  Bytes places[4] = {bytes([](int i) { return i & 3; }), bytes([](int i) { return 4 + (i & 3); }),
                     bytes([](int i) { return 8 + (i & 3); }),
                     bytes([](int i) { return 12 + (i & 3); })};
  Bytes byteOfElement = bytes([](int i) { return (i & 3) == 0 ? i & 12 : 0x80; });
  Elements around = all32(0x7147);
  Elements cross = all32(0x2142);
  Elements added = all32(0x70);
  Elements half = all32(0xF);
  Elements secondHalf = all32(0xF00);
  Elements three = all32(3);
  Elements two = all32(2);
  Elements one = all32(1);
  Elements weights = all32(0x0301);
  Elements probability = all32(0x7FFF8000);
  Elements code = all32(0x7FFFFFFF);
  Elements normal = all32(0x40000000);
  Elements exponent = all32(157);
  Elements column = all32(0x3FFFF);
  Elements runLength = all32(kPlaceRunLength);
  Elements uniform = all32(kPlaceUniform);
  Elements magic = all64(u64{0x433} << 52);
  Elements bias = all64(1023);
  Elements biasInColumn = all64(1023 + 3);
  Elements sample = all64(0x80);
  Elements sampleInColumn = all64(0x400);
  Elements later = all64(0x47);
  Elements restOfColumn = all64(0x380);
  Elements minusOne = all64(~u64{0});
  Elements firstRow = all64(kFirstRow);
  Elements rowAbove = all64(kRowAbove);
  Elements rowBelow = all64(kRowBelow);
  Elements columnBefore = all64(kColumnBefore);
  Elements samples = all64(kSamples);
};

constinit const Constants kConstants;

WBX_INLINE Vector load(const void* from) {
  return _mm256_loadu_si256(static_cast<const Vector*>(from));
}
WBX_INLINE Vector get(const Elements& constant) {
  return load(&constant);
}
WBX_INLINE Vector get(const Bytes& constant) {
  return load(&constant);
}
WBX_INLINE void store(void* to, Vector value) {
  _mm256_storeu_si256(static_cast<Vector*>(to), value);
}
WBX_INLINE Wide load(const GroupWord* from) {
  return {load(from->member), load(from->member + 4)};
}
WBX_INLINE void store(GroupWord* to, Wide value) {
  store(to->member, value.low);
  store(to->member + 4, value.high);
}

WBX_INLINE Vector both(Vector a, Vector b) {
  return _mm256_and_si256(a, b);
}
WBX_INLINE Vector either(Vector a, Vector b) {
  return _mm256_or_si256(a, b);
}
WBX_INLINE Vector unequal(Vector a, Vector b) {
  return _mm256_xor_si256(a, b);
}
WBX_INLINE Vector without(Vector a, Vector b) {
  return _mm256_andnot_si256(b, a);
}
WBX_INLINE Wide operator&(Wide a, Wide b) {
  return {both(a.low, b.low), both(a.high, b.high)};
}
WBX_INLINE Wide operator&(Wide a, Vector b) {
  return {both(a.low, b), both(a.high, b)};
}
WBX_INLINE Wide operator|(Wide a, Wide b) {
  return {either(a.low, b.low), either(a.high, b.high)};
}
WBX_INLINE Wide without(Wide a, Wide b) {
  return {without(a.low, b.low), without(a.high, b.high)};
}
WBX_INLINE Wide operator+(Wide a, Vector b) {
  return {_mm256_add_epi64(a.low, b), _mm256_add_epi64(a.high, b)};
}
WBX_INLINE Wide operator-(Wide a, Wide b) {
  return {_mm256_sub_epi64(a.low, b.low), _mm256_sub_epi64(a.high, b.high)};
}
template <int count>
WBX_INLINE Wide left(Wide a) {
  return {_mm256_slli_epi64(a.low, count), _mm256_slli_epi64(a.high, count)};
}
template <int count>
WBX_INLINE Wide right(Wide a) {
  return {_mm256_srli_epi64(a.low, count), _mm256_srli_epi64(a.high, count)};
}
WBX_INLINE Wide left(Vector a, Wide count) {
  return {_mm256_sllv_epi64(a, count.low), _mm256_sllv_epi64(a, count.high)};
}
WBX_INLINE Wide right(Wide a, Wide count) {
  return {_mm256_srlv_epi64(a.low, count.low), _mm256_srlv_epi64(a.high, count.high)};
}
// Where the mask says so the first, else the second. g++ 12 makes a comparison of a mask that it
// can see.
WBX_INLINE Vector choose(Vector mask, Vector a, Vector b) {
  asm("" : "+x"(mask));
  return _mm256_blendv_epi8(b, a, mask);
}
WBX_INLINE Wide choose(Wide mask, Wide a, Wide b) {
  return {choose(mask.low, a.low, b.low), choose(mask.high, a.high, b.high)};
}
// The same by the top bits of the elements.
WBX_INLINE Vector chooseByTop(Vector top, Vector a, Vector b) {
  asm("" : "+x"(top));
  return _mm256_castps_si256(
      _mm256_blendv_ps(_mm256_castsi256_ps(b), _mm256_castsi256_ps(a), _mm256_castsi256_ps(top)));
}
WBX_INLINE Vector narrow(Wide a) {
  return _mm256_castps_si256(
      _mm256_shuffle_ps(_mm256_castsi256_ps(a.low), _mm256_castsi256_ps(a.high), 0x88));
}
WBX_INLINE Wide widen(Vector mask) {
  return {_mm256_unpacklo_epi32(mask, mask), _mm256_unpackhi_epi32(mask, mask)};
}
WBX_INLINE Wide widenNumber(Vector number) {
  const Vector zero = _mm256_setzero_si256();
  return {_mm256_unpacklo_epi32(number, zero), _mm256_unpackhi_epi32(number, zero)};
}
WBX_INLINE Vector signMask(Vector a) {
  return _mm256_srai_epi32(a, 31);
}
WBX_INLINE Vector isZero(Vector a) {
  return _mm256_cmpeq_epi32(a, _mm256_setzero_si256());
}
WBX_INLINE Vector isZero(Wide a) {
  const Vector zero = _mm256_setzero_si256();
  return narrow({_mm256_cmpeq_epi64(a.low, zero), _mm256_cmpeq_epi64(a.high, zero)});
}
WBX_INLINE bool isZeroAll(Wide a) {
  const Vector any = either(a.low, a.high);
  return _mm256_testz_si256(any, any) != 0;
}
WBX_INLINE u32 topBits(Vector a) {
  return static_cast<u32>(_mm256_movemask_ps(_mm256_castsi256_ps(a)));
}
WBX_INLINE Vector shuffle(const Bytes& table, Vector control) {
  return _mm256_shuffle_epi8(get(table), control);
}
WBX_INLINE Vector permute(const Elements& table, Vector index) {
  return _mm256_permutevar8x32_epi32(get(table), index);
}

// The highest bit of each word: its number less 7, or by what `bias` exceeds 1023 less; far below 0
// where there is none. A word without its lowest 7 bits fits into the fraction of a double.
WBX_INLINE Wide highest(Wide word, Vector magic, Vector bias) {
  const auto place = [&](Vector half) WBX_LAMBDA_INLINE {
    const __m256d base = _mm256_castsi256_pd(magic);
    const __m256d number =
        _mm256_sub_pd(_mm256_castsi256_pd(either(_mm256_srli_epi64(half, 7), magic)), base);
    return _mm256_sub_epi64(_mm256_srli_epi64(_mm256_castpd_si256(number), 52), bias);
  };
  return {place(word.low), place(word.high)};
}

// Feeds one decoder.
void refillOne(GroupState& state, i32 member, u32& c, i32& ct) {
  u64& fed = state.fed.member[member];
  u64& borrowAt = state.borrowAt.member[member];
  do {
    if (ct < 0 && fed == borrowAt) {
      c -= u32{1} << (15 - ct);
      u64& list = state.borrowList.member[member];
      list += sizeof(u64);
      std::memcpy(&borrowAt, reinterpret_cast<const void*>(list), sizeof borrowAt);
    }
    const u64 offset = std::min(fed >> 3, state.length.member[member]);
    u64 bits;
    std::memcpy(&bits, reinterpret_cast<const u8*>(state.bits.member[member]) + offset,
                sizeof bits);
    bits = __builtin_bswap64(bits) << (fed & 7);
    const u64 take = std::min(static_cast<u64>(15 - ct), borrowAt - fed);
    const auto below = static_cast<u64>(15 - ct) - take;
    if (take != 0) c |= static_cast<u32>((bits >> (64 - take)) << below);
    fed += take;
    ct += static_cast<i32>(take);
  } while (ct < 0);
  c &= 0x7FFFFFFF;
}

struct Registers {
  Vector c, ct;
};

// Feeds the decoders whose ct is negative, and fills up the others.
[[gnu::noinline]] Registers refill(GroupState& state, Vector c, Vector ct) {
  alignas(32) u32 code[8];
  alignas(32) i32 fedBelow[8];
  store(code, c);
  store(fedBelow, ct);
  alignas(32) u32 more[8];
  u64 fed[8];
  bool plain = true;
  for (i32 i = 0; i < 8; ++i) {
    const i32 member = kOrder[i];
    const auto take = static_cast<u64>(15 - fedBelow[i]);
    const u64 before = state.fed.member[member];
    const u64 offset = std::min(before >> 3, state.length.member[member]);
    u64 bits;
    std::memcpy(&bits, reinterpret_cast<const u8*>(state.bits.member[member]) + offset,
                sizeof bits);
    bits = __builtin_bswap64(bits) << (before & 7);
    more[i] = static_cast<u32>((bits >> 1) >> (63 - take));
    fed[member] = before + take;
    plain &= fed[member] <= state.borrowAt.member[member];
  }
  if (plain) [[likely]] {
    std::memcpy(&state.fed, fed, sizeof fed);
    return {either(c, load(more)), _mm256_set1_epi32(15)};
  }
  for (i32 i = 0; i < 8; ++i) refillOne(state, kOrder[i], code[i], fedBelow[i]);
  return {load(code), load(fedBelow)};
}

// The registers of the decoders for the length of a pass.
class Decoder {
 public:
  WBX_INLINE explicit Decoder(GroupState& state)
      : state_(state),
        a_(load(state.registers[kInterval].member)),
        c_(load(state.registers[kCode].member)),
        ct_(load(state.registers[kFedBelow].member)),
        refinement_(load(state.registers[kRefinement].member)) {
    for (int i = 0; i < 4; ++i)
      contexts_[i] = load(state.registers[kContexts + i / 2].member + 4 * (i % 2));
  }

  WBX_INLINE void finish() {
    store(state_.registers[kInterval].member, a_);
    store(state_.registers[kCode].member, c_);
    store(state_.registers[kFedBelow].member, ct_);
    store(state_.registers[kRefinement].member, refinement_);
    for (int i = 0; i < 4; ++i)
      store(state_.registers[kContexts + i / 2].member + 4 * (i % 2), contexts_[i]);
  }

  // Makes one decision in each member, with the context at `place`, or none at a place that is no
  // context's: there it gives 0. Else a mask of ones, exchanged where `flip` has bit 6.
  WBX_INLINE Vector decide(const Constants& k, Vector place, Vector flip, Vector idle) {
    const Vector everywhere = _mm256_shuffle_epi8(place, get(k.spread));
    Vector at[4];
    for (int i = 0; i < 4; ++i) at[i] = _mm256_cmpeq_epi8(everywhere, get(k.places[i]));
    const Vector found = either(either(both(contexts_[0], at[0]), both(contexts_[1], at[1])),
                                either(both(contexts_[2], at[2]), both(contexts_[3], at[3])));
    const Vector element = either(both(place, get(k.three)), get(k.byteOfElement));
    Vector change;
    const Vector bit = decideByte(k, _mm256_shuffle_epi8(found, element), flip, idle, &change);
    for (int i = 0; i < 4; ++i) contexts_[i] = unequal(contexts_[i], both(change, at[i]));
    return bit;
  }
  WBX_INLINE Vector decideRefinement(const Constants& k, Vector place, Vector idle) {
    const Vector everywhere = _mm256_shuffle_epi8(place, get(k.spread));
    const Vector at = _mm256_cmpeq_epi8(everywhere, get(k.places[0]));
    const Vector element = either(place, get(k.byteOfElement));
    Vector change;
    const Vector byte = _mm256_shuffle_epi8(both(refinement_, at), element);
    const Vector bit = decideByte(k, byte, _mm256_setzero_si256(), idle, &change);
    refinement_ = unequal(refinement_, both(change, at));
    return bit;
  }

  // The constants, by a reference of whose contents the compiler knows nothing: else it would keep
  // them in registers that it does not have.
  WBX_INLINE const Constants& constants() {
    asm("" : "+r"(constants_));
    return *constants_;
  }

 private:
  WBX_INLINE static Vector stateRow(const Constants& k, Vector byte) {
    const Elements* part = k.rows.part;
    const Vector bit3 = _mm256_slli_epi32(byte, 28), bit4 = _mm256_slli_epi32(byte, 27);
    const Vector row0 = chooseByTop(bit3, permute(part[1], byte), permute(part[0], byte));
    const Vector row1 = chooseByTop(bit3, permute(part[3], byte), permute(part[2], byte));
    const Vector row2 = chooseByTop(bit3, permute(part[5], byte), permute(part[4], byte));
    return chooseByTop(_mm256_slli_epi32(byte, 26), row2, chooseByTop(bit4, row1, row0));
  }

  // The arithmetic of a decision: see MqDecoder. Without a context Qe is 0 and nothing changes; the
  // mask is for idle members where corrupt data has taken c past a. `change` is what becomes of the
  // context, in all four bytes.
  WBX_INLINE Vector decideByte(const Constants& k, Vector byte, Vector flip, Vector idle,
                               Vector* change) {
    const Vector row = stateRow(k, byte);
    const Vector qe = both(row, get(k.probability));
    const Vector lower = _mm256_sub_epi32(a_, qe);
    const Vector below = either(_mm256_cmpgt_epi32(lower, c_), idle);
    const Vector exchange = _mm256_cmpgt_epi32(qe, lower);
    const Vector lps = _mm256_cmpeq_epi32(below, exchange);
    const Vector a = choose(below, lower, qe);
    const Vector c = _mm256_sub_epi32(c_, without(lower, below));
    const Vector exponent = _mm256_srli_epi32(_mm256_castps_si256(_mm256_cvtepi32_ps(a)), 23);
    const Vector shift = _mm256_sub_epi32(get(k.exponent), exponent);
    a_ = _mm256_sllv_epi32(a, shift);
    c_ = both(_mm256_sllv_epi32(c, shift), get(k.code));
    ct_ = _mm256_sub_epi32(ct_, shift);
    const Vector renormalised = _mm256_cmpgt_epi32(get(k.normal), a);
    const Vector changed = both(choose(lps, _mm256_srli_epi32(row, 8), row), renormalised);
    *change = _mm256_shuffle_epi8(changed, get(k.spread));
    const Vector mps = signMask(_mm256_slli_epi32(unequal(byte, flip), 25));
    if (topBits(ct_) != 0) [[unlikely]] {
      const Registers r = refill(state_, c_, ct_);
      c_ = r.c;
      ct_ = r.ct;
    }
    return unequal(lps, mps);
  }

  GroupState& state_;
  const Constants* constants_ = &kConstants;
  Vector a_, c_, ct_;
  Vector contexts_[4], refinement_;
};

WBX_INLINE Wide membersMask(u32 members) {
  GroupWord word;
  for (i32 i = 0; i < GroupWord::kMembers; ++i)
    word.member[i] = (members >> i & 1) != 0 ? ~u64{0} : 0;
  return load(&word);
}

// See group_walk.h.
struct Lanes {
  using Words = Wide;
  using Members = Wide;
  using Constants = avx2::Constants;

  WBX_INLINE static Wide load(const GroupWord* from) { return avx2::load(from); }
  WBX_INLINE static void store(GroupWord* to, Wide value) { avx2::store(to, value); }
  template <int count>
  WBX_INLINE static Wide left(Wide a) {
    return avx2::left<count>(a);
  }
  template <int count>
  WBX_INLINE static Wide right(Wide a) {
    return avx2::right<count>(a);
  }
  WBX_INLINE static Wide either(Wide a, Wide b) { return a | b; }
  WBX_INLINE static Wide either(Wide a, Wide b, Wide c) { return a | b | c; }
  WBX_INLINE static Wide either(Wide a, Wide b, const Elements& constant) {
    return a | both(b, constant);
  }
  WBX_INLINE static Wide both(Wide a, Wide b) { return a & b; }
  WBX_INLINE static Wide both(Wide a, const Elements& constant) { return a & get(constant); }
  WBX_INLINE static Wide without(Wide a, Wide b) { return avx2::without(a, b); }
  WBX_INLINE static Wide members(u32 bits) { return membersMask(bits); }
  WBX_INLINE static Wide of(Wide a, Wide members) { return a & members; }
  WBX_INLINE static bool isZero(Wide a) { return isZeroAll(a); }
};

using Word = GroupFinds<Lanes>;

// The zero-coding contexts of a group (T.800 table D.1). If its members are not of one kind, they
// take longer.
template <bool mixed>
class ZeroCoding {
 public:
  WBX_INLINE explicit ZeroCoding(const GroupState& state) {
    const u8 orientation = state.orientation[0];
    kind_ = orientation == 3 ? kKindHH : orientation == 1 ? kKindHL : kKindLL;
    alignas(32) u32 hl[8], hh[8];
    for (i32 i = 0; i < 8; ++i) {
      hl[i] = state.orientation[kOrder[i]] == 1 ? ~u32{0} : 0;
      hh[i] = state.orientation[kOrder[i]] == 3 ? ~u32{0} : 0;
    }
    hl_ = load(hl);
    hh_ = load(hh);
  }

  // From a piece of a word of significant samples that has the sample at bit 7. The upper bytes are
  // of no meaning.
  WBX_INLINE Vector place(const Constants& k, Vector around) const {
    const Vector apart = both(around, get(k.around));
    const Vector first = either(apart, _mm256_srli_epi32(apart, 3));
    const Vector second = _mm256_srli_epi32(first, 8);
    Vector sum;
    if constexpr (mixed) {
      Vector each[kKinds];
      for (int kind = 0; kind < kKinds; ++kind) {
        each[kind] = _mm256_add_epi32(shuffle(k.zeroCoding[kind].first, first),
                                      shuffle(k.zeroCoding[kind].second, second));
      }
      sum = choose(hh_, each[kKindHH], choose(hl_, each[kKindHL], each[kKindLL]));
    } else {
      const ZeroCodingTables& tables = k.zeroCoding[kind_];
      sum = _mm256_add_epi32(shuffle(tables.first, first), shuffle(tables.second, second));
    }
    const Vector added = _mm256_min_epu8(both(sum, get(k.added)), shuffle(k.limit, sum));
    return _mm256_add_epi32(shuffle(k.base, sum), _mm256_srli_epi32(added, 4));
  }

 private:
  int kind_;
  Vector hl_, hh_;
};

// T.800 D.3.2, from two pieces that have the sample at bit 7: the place of the context, and the XOR
// bit in bit 6.
WBX_INLINE Vector signEntry(const Constants& k, Vector around, Vector negative) {
  const Vector minus = both(negative, get(k.cross));
  const Vector facts = either(both(around, get(k.cross)), _mm256_add_epi32(minus, minus));
  const Vector vertical = both(_mm256_srli_epi32(facts, 6), get(k.half));
  const Vector west = _mm256_srli_epi32(facts, 3), east = _mm256_slli_epi32(facts, 7);
  const Vector horizontal = both(either(west, east), get(k.secondHalf));
  const Vector each = shuffle(k.contribution, either(vertical, horizontal));
  return shuffle(k.signs, _mm256_maddubs_epi16(each, get(k.weights)));
}

// T.800 D.3.1.
template <bool mixed>
class SignificancePass {
 public:
  WBX_INLINE explicit SignificancePass(GroupState& state)
      : state_(state), mq_(state), zeroCoding_(state) {}
  WBX_INLINE void finish() { mq_.finish(); }

  WBX_INLINE bool decode(Word& word, i32 i) {
    todo_ = word.insignificant;
    touched_ = neighbours<Lanes>(word.significant);
    significant_ = word.significant;
    negative_ = word.negative;
    const bool work = !isZeroAll(todo_ & touched_);
    if (work) {
      begin();
      do step();
      while (!isDone());
      word.significant = significant_;
      word.negative = negative_;
    }
    store(state_.ones + i, word.significant & word.insignificant);
    store(state_.visited + i, without(word.insignificant, todo_));
    return work;
  }

 private:
  WBX_INLINE void begin() {
    const Candidate first = candidate(mq_.constants());
    place_ = first.place;
    around_ = first.around;
    context_ = first.context;
    idle_ = first.idle;
  }
  WBX_INLINE bool isDone() const { return topBits(idle_) == 0xFF; }

  WBX_INLINE void step() {
    const Constants& k = mq_.constants();
    // What does not depend on the decision: a sign makes the sample significant, and what the next
    // sample is.
    const Wide signs = widen(sign_);
    const Wide sample = left(get(k.sample), place_);
    const Wide found = sample & signs;
    todo_ = without(todo_, sample);
    significant_ = significant_ | found;
    touched_ = touched_ | (left(get(k.later), place_) & signs);
    const Candidate next = candidate(k);
    const Vector entry = signEntry(k, around_, narrow(right(negative_, place_)));

    const Vector one = mq_.decide(k, context_, flip_, idle_);
    negative_ = negative_ | (found & widen(one));
    sign_ = without(one, sign_);
    const Wide stays = widen(sign_);
    context_ = choose(sign_, both(entry, get(k.half)), next.context);
    flip_ = both(sign_, entry);
    place_ = choose(stays, place_, next.place);
    around_ = choose(sign_, around_, next.around);
    idle_ = without(next.idle, sign_);
  }

  struct Candidate {
    Wide place;
    Vector around, context, idle;
  };
  WBX_INLINE Candidate candidate(const Constants& k) const {
    Candidate next;
    next.place = highest(todo_ & touched_, get(k.magic), get(k.bias));
    next.idle = signMask(narrow(next.place));
    next.around = narrow(right(significant_, next.place));
    next.context = either(zeroCoding_.place(k, next.around), next.idle);
    return next;
  }

  GroupState& state_;
  Decoder mq_;
  ZeroCoding<mixed> zeroCoding_;
  Wide significant_, negative_;
  Wide todo_;     // samples to come
  Wide touched_;  // those with a significant neighbour
  Wide place_ = {_mm256_set1_epi64x(-1), _mm256_set1_epi64x(-1)};
  Vector around_ = _mm256_setzero_si256(), context_ = _mm256_set1_epi32(-1);
  Vector sign_ = _mm256_setzero_si256(), flip_ = _mm256_setzero_si256();
  Vector idle_ = _mm256_set1_epi32(-1);
};

// T.800 D.3.4.
template <bool mixed>
class CleanupPass {
 public:
  WBX_INLINE explicit CleanupPass(GroupState& state)
      : state_(state), mq_(state), zeroCoding_(state) {}
  WBX_INLINE void finish() { mq_.finish(); }

  WBX_INLINE bool decode(Word& word, i32 i) {
    todo_ = without(word.insignificant, load(state_.visited + i));
    if (isZeroAll(todo_)) return false;
    // Where a run can start: not above the bottom of the block.
    starts_ = left<3>(word.real) & word.real & get(kConstants.firstRow);
    significant_ = word.significant;
    negative_ = word.negative;
    begin();
    do step();
    while (!isDone());
    word.significant = significant_;
    word.negative = negative_;
    store(state_.ones + i, load(state_.ones + i) | (significant_ & word.insignificant));
    return true;
  }

 private:
  WBX_INLINE void begin() {
    const Constants& k = mq_.constants();
    const Candidate first = candidate(k, todo_);
    place_ = first.place;
    todo_ = todo_ & behind(k);
    around_ = first.around;
    context_ = first.context;
    run_ = first.run;
    idle_ = first.idle;
  }
  WBX_INLINE bool isDone() const { return topBits(idle_) == 0xFF; }

  WBX_INLINE void step() {
    const Constants& k = mq_.constants();
    const Wide found = left(get(k.sampleInColumn), place_) & widen(sign_);
    significant_ = significant_ | found;
    const Wide passed = without(todo_, left(get(k.restOfColumn), place_) & widen(run_));
    const Candidate next = candidate(k, passed);
    const Vector negative = _mm256_srli_epi32(narrow(right(negative_, place_)), 3);
    const Vector entry = signEntry(k, around_, negative);

    const Vector one = mq_.decide(k, context_, flip_, idle_);
    negative_ = negative_ | (found & widen(one));
    const Vector hit = without(one, either(sign_, either(row1_, row2_)));
    const Vector broken = both(hit, run_);
    // Down by 2 rows or by 1.
    const Vector down = both(one, either(both(row1_, get(k.two)), both(row2_, get(k.one))));
    const Vector rows = either(broken, row1_);
    sign_ = either(without(hit, run_), row2_);
    const Vector stay = either(sign_, rows);
    const Wide stays = widen(stay);
    row2_ = row1_;
    row1_ = broken;
    place_ = choose(stays, place_, next.place) - widenNumber(down);
    todo_ = choose(stays, todo_, passed) & behind(k);
    around_ = choose(stay, around_, next.around);
    context_ = choose(sign_, both(entry, get(k.half)), choose(rows, get(k.uniform), next.context));
    flip_ = both(sign_, entry);
    run_ = without(next.run, stay);
    idle_ = without(next.idle, stay);
  }

  struct Candidate {
    Wide place;
    Vector around, context, run, idle;
  };
  WBX_INLINE Candidate candidate(const Constants& k, Wide from) const {
    Candidate next;
    next.place = highest(from, get(k.magic), get(k.biasInColumn));
    next.idle = signMask(narrow(next.place));
    const Vector columns = narrow(right(significant_, next.place));
    next.around = _mm256_srli_epi32(columns, 3);
    const Vector middle = isZero(starts_ & left(get(k.sampleInColumn), next.place));
    next.run = without(isZero(both(columns, get(k.column))), middle);
    const Vector context = either(zeroCoding_.place(k, next.around), next.idle);
    next.context = choose(next.run, get(k.runLength), context);
    return next;
  }
  // All behind the sample.
  WBX_INLINE Wide behind(const Constants& k) const {
    return left(get(k.sampleInColumn), place_) + get(k.minusOne);
  }

  GroupState& state_;
  Decoder mq_;
  ZeroCoding<mixed> zeroCoding_;
  Wide significant_, negative_;
  Wide todo_;    // samples to come
  Wide starts_;  // where a run can start
  Wide place_ = {_mm256_set1_epi64x(-1), _mm256_set1_epi64x(-1)};
  Vector around_ = _mm256_setzero_si256(), context_ = _mm256_set1_epi32(-1);
  // What the decision is about: a sign, the rows of a broken run, or else a sample or a run.
  Vector sign_ = _mm256_setzero_si256(), row1_ = _mm256_setzero_si256(),
         row2_ = _mm256_setzero_si256(), run_ = _mm256_setzero_si256();
  Vector flip_ = _mm256_setzero_si256();
  Vector idle_ = _mm256_set1_epi32(-1);
};

// Takes a pass through all words in scan order.
template <class Pass>
void walk(GroupState& state, u32 members) {
  Pass pass(state);
  findSignificant<Lanes>(kConstants, state, members, [&pass](Word& word, i32 i) WBX_LAMBDA_INLINE {
    return pass.decode(word, i);
  });
  pass.finish();
}

bool isMixed(const GroupState& state) {
  const auto kind = [](u8 orientation) { return orientation == 2 ? 0 : orientation; };
  for (const u8 each : state.orientation)
    if (kind(each) != kind(state.orientation[0])) return true;
  return false;
}

void significancePass(GroupState& state, u32 members) {
  isMixed(state) ? walk<SignificancePass<true>>(state, members)
                 : walk<SignificancePass<false>>(state, members);
}
void cleanupPass(GroupState& state, u32 members) {
  isMixed(state) ? walk<CleanupPass<true>>(state, members)
                 : walk<CleanupPass<false>>(state, members);
}

void resetContexts(GroupState& state, u32 members) {
  if (members == 0) return;
  // T.800 table D.7.
  constexpr u32 kInitial[4] = {0x01010101 + 4, 0x01010101, 0x01010101 + (3 << 8) + (46 << 16),
                               0x01010101};
  const Vector mask = narrow(membersMask(members));
  const auto set = [mask](void* contexts, u32 value) {
    store(contexts, choose(mask, _mm256_set1_epi32(static_cast<i32>(value)), load(contexts)));
  };
  for (int i = 0; i < 4; ++i)
    set(state.registers[kContexts + i / 2].member + 4 * (i % 2), kInitial[i]);
  set(state.registers[kRefinement].member, 0x01010101);
}

void beginSegments(GroupState& state, u32 members) {
  if (members == 0) return;
  Elements interval, code, fedBelow;
  const auto registersOf = [&](Register each) { return state.registers[each].member; };
  store(&interval, load(registersOf(kInterval)));
  store(&code, load(registersOf(kCode)));
  store(&fedBelow, load(registersOf(kFedBelow)));
  for (i32 i = 0; i < 8; ++i) {
    const i32 member = kOrder[i];
    if ((members >> member & 1) == 0) continue;
    // One bit, 0, stands above the first: T.800 C.3.5.
    i32 below = 1 - 16;
    interval.element[i] = 1 << 30;
    code.element[i] = 0;
    refillOne(state, member, code.element[i], below);
    fedBelow.element[i] = static_cast<u32>(below);
  }
  store(registersOf(kInterval), get(interval));
  store(registersOf(kCode), get(code));
  store(registersOf(kFedBelow), get(fedBelow));
}

u64 usedBits(const GroupState& state, i32 member) {
  Elements fedBelow;
  store(&fedBelow, load(state.registers[kFedBelow].member));
  // The order of the elements is its own inverse.
  return state.fed.member[member] - fedBelow.element[kOrder[member]];
}

void start(GroupState& state) {
  resetContexts(state, 0xFF);
}

// T.800 D.5.
void skipSymbol(GroupState& state, u32 members) {
  if (members == 0) return;
  Decoder mq(state);
  const Vector idle = without(_mm256_set1_epi32(-1), narrow(membersMask(members)));
  const Vector place = either(get(kConstants.uniform), idle);
  for (int bit = 0; bit < 4; ++bit) mq.decide(mq.constants(), place, _mm256_setzero_si256(), idle);
  mq.finish();
}

// T.800 D.3.3.
void refinementPass(GroupState& state, u32 members) {
  Decoder mq(state);
  const auto refine = [&mq](Wide work, Wide refined, Wide firstWithNeighbour) WBX_LAMBDA_INLINE {
    Wide ones = {_mm256_setzero_si256(), _mm256_setzero_si256()};
    do {
      const Constants& k = mq.constants();
      const Wide place = highest(work, get(k.magic), get(k.bias));
      const Wide sample = left(get(k.sample), place);
      work = without(work, sample);
      const Vector again = isZero(refined & sample), alone = isZero(firstWithNeighbour & sample);
      const Vector idle = signMask(narrow(place));
      const Vector context =
          either(either(without(get(k.two), again), without(get(k.one), alone)), idle);
      ones = ones | (sample & widen(mq.decideRefinement(k, context, idle)));
    } while (!isZeroAll(work));
    return ones;
  };
  refineSignificant<Lanes>(kConstants, state, members, refine);
  mq.finish();
}

void collect(const GroupState& state, i32 member, const GroupWord* ones, i32 planes, i32 firstPlane,
             u32* quads) {
  const i64 arrayWords = i64{state.wordPitch} * (state.stripes + 2) + 1;
  // Of two columns, the bits of their samples; the first one is the highest.
  const Vector samples =
      _mm256_set_epi32(1 << 0, 1 << 1, 1 << 2, 1 << 3, 1 << 6, 1 << 7, 1 << 8, 1 << 9);
  const auto bitsOf = [&](u64 word, int pair) {
    const auto columns = static_cast<i32>(word >> (47 - 12 * pair));
    return _mm256_cmpeq_epi32(both(_mm256_set1_epi32(columns), samples), samples);
  };
  for (i32 stripe = 1; stripe <= state.stripes; ++stripe) {
    for (i32 i = 0; i < state.wordsAcross; ++i) {
      const i64 index = i64{stripe} * state.wordPitch + 1 + i;
      Vector values[4];
      const u64 negative = state.negative[index].member[member];
      for (int pair = 0; pair < 4; ++pair)
        values[pair] = _mm256_slli_epi32(bitsOf(negative, pair), 31);
      for (i32 plane = 0; plane < planes; ++plane) {
        const u64 word = ones[plane * arrayWords + index].member[member];
        if (word == 0) continue;
        const Vector bit = _mm256_set1_epi32(static_cast<i32>(u32{1} << (firstPlane - plane)));
        for (int pair = 0; pair < 4; ++pair)
          values[pair] = either(values[pair], both(bitsOf(word, pair), bit));
      }
      for (int pair = 0; pair < 4; ++pair)
        _mm256_storeu_si256(reinterpret_cast<Vector*>(quads) + pair, values[pair]);
      quads += 32;
    }
  }
}

}  // namespace

const GroupPasses kGroupPasses = {start,          resetContexts, beginSegments,
                                  usedBits,       cleanupPass,   significancePass,
                                  refinementPass, skipSymbol,    collect};

}  // namespace wbx::avx2
