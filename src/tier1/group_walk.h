// The walk of a group through its words, for vector registers of any width.
#pragma once

#include "tier1/group_passes.h"

#define WBX_INLINE [[gnu::always_inline]] inline

namespace wbx {

// `Lanes` says how an instruction set does it:
//   Words                    one word of each member
//   Members                  which members take part
//   Constants                columnBefore, rowAbove, rowBelow, samples: those of group_layout, the
//                            same for all members, in whatever form the operations take
//   load, store              GroupWords
//   left<n>, right<n>        shifts
//   either(a, b, c)          of three Words
//   either(a, b, constant)   a, and of b what is in the constant
//   both, without            of two Words; both also with a constant
//   members(bits), of(Words, Members)
//   isZero(Words)            in all members

// Samples with a neighbour in `word`.
template <class Lanes>
WBX_INLINE typename Lanes::Words neighbours(typename Lanes::Words word) {
  constexpr int kPitch = group_layout::kPitch;
  const auto above = Lanes::template right<1>(word), below = Lanes::template left<1>(word);
  const auto column = Lanes::either(above, below, word);
  const auto west = Lanes::template right<kPitch>(column);
  const auto east = Lanes::template left<kPitch>(column);
  return Lanes::either(Lanes::either(above, below), west, east);
}

// The words of one stripe from left to right, with their margins filled in.
template <class Lanes>
class GroupWindow {
 public:
  using Words = typename Lanes::Words;
  using Constants = typename Lanes::Constants;

  WBX_INLINE GroupWindow(const Constants& constants, const GroupWord* first, i32 wordPitch)
      : k(constants), at_(first), wordPitch_(wordPitch), own_(withRows(first)) {}

  WBX_INLINE Words get() {
    next_ = withRows(at_ + 1);
    return Lanes::either(own_, before_, Lanes::template right<kWordBits>(next_));
  }
  // `word` is what the word has become, margins included.
  WBX_INLINE void advance(Words word) {
    before_ = Lanes::both(Lanes::template left<kWordBits>(word), k.columnBefore);
    own_ = next_;
    ++at_;
  }

 private:
  static constexpr int kWordBits = group_layout::kColumns * group_layout::kPitch;

  // A word with the rows above and below it.
  WBX_INLINE Words withRows(const GroupWord* at) const {
    constexpr int kRows = group_layout::kRows;
    const Words above = Lanes::template left<kRows>(Lanes::load(at - wordPitch_));
    const Words below = Lanes::template right<kRows>(Lanes::load(at + wordPitch_));
    return Lanes::either(Lanes::either(Lanes::load(at), above, k.rowAbove), below, k.rowBelow);
  }

  const Constants& k;
  const GroupWord* at_;
  i32 wordPitch_;
  Words before_ = Lanes::load(&kNoWord);
  Words own_, next_;

  static constexpr GroupWord kNoWord = {};
};

// One word of all members on its way through a pass that finds significant samples, margins
// included.
template <class Lanes>
struct GroupFinds {
  typename Lanes::Words significant, negative;
  typename Lanes::Words real;           // in the members that take part
  typename Lanes::Words insignificant;  // of these, at first
};

// Calls decode(finds, index) for all words in scan order; it tells whether it had work there.
template <class Lanes, class Decode>
WBX_INLINE void findSignificant(const typename Lanes::Constants& k, GroupState& state, u32 members,
                                Decode decode) {
  const typename Lanes::Members taking = Lanes::members(members);
  for (i32 stripe = 1; stripe <= state.stripes; ++stripe) {
    const i32 first = stripe * state.wordPitch + 1;
    GroupWindow<Lanes> significant(k, state.significant + first, state.wordPitch);
    GroupWindow<Lanes> negative(k, state.negative + first, state.wordPitch);
    for (i32 i = first; i < first + state.wordsAcross; ++i) {
      GroupFinds<Lanes> word;
      word.significant = significant.get();
      word.negative = negative.get();
      word.real = Lanes::of(Lanes::load(state.real + i), taking);
      word.insignificant = Lanes::without(word.real, word.significant);
      if (decode(word, i)) {
        Lanes::store(state.significant + i, Lanes::both(word.significant, k.samples));
        Lanes::store(state.negative + i, Lanes::both(word.negative, k.samples));
      }
      significant.advance(word.significant);
      negative.advance(word.negative);
    }
  }
}

// Calls ones = refine(work, refined, firstWithNeighbour) for all words in scan order with samples
// to refine: those that were refined before, and those of the others that have a neighbour.
template <class Lanes, class Refine>
WBX_INLINE void refineSignificant(const typename Lanes::Constants& k, GroupState& state,
                                  u32 members, Refine refine) {
  using Words = typename Lanes::Words;
  const typename Lanes::Members taking = Lanes::members(members);
  for (i32 stripe = 1; stripe <= state.stripes; ++stripe) {
    const i32 first = stripe * state.wordPitch + 1;
    GroupWindow<Lanes> window(k, state.significant + first, state.wordPitch);
    for (i32 i = first; i < first + state.wordsAcross; ++i) {
      const Words significant = window.get();
      window.advance(significant);
      const Words real = Lanes::of(Lanes::load(state.real + i), taking);
      const Words work =
          Lanes::without(Lanes::both(significant, real), Lanes::load(state.visited + i));
      if (Lanes::isZero(work)) continue;
      const Words refined = Lanes::load(state.refined + i);
      const Words firstWithNeighbour = Lanes::without(neighbours<Lanes>(significant), refined);
      Lanes::store(state.refined + i, Lanes::either(refined, work));
      const Words found = refine(work, refined, firstWithNeighbour);
      Lanes::store(state.ones + i, Lanes::either(Lanes::load(state.ones + i), found));
    }
  }
}

}  // namespace wbx
