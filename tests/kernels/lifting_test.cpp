#include "plain_lifting.h"

namespace wbx {
namespace {

using test::forEachLength;
using test::forEachSet;
using test::Guarded;
using test::Values;

// Pairs of samples as a signal; pair p stands at 2p and 2p + 1.
template <class L>
struct Pairs {
  std::vector<L> a, b;

  static Pairs random(Values& values, i32 count) {
    return {values.some<L>(count), values.some<L>(count)};
  }
  L operator()(i32 n) const {
    const auto pair = static_cast<size_t>(n / 2);
    return n % 2 == 0 ? a[pair] : b[pair];
  }
};

// Compares the results of those samples whose whole reach is there: the first `reach` pairs give
// none, nor do the last ones.
template <class L, class PlainOf, class Lift>
void checkPairs(const Pairs<L>& input, i32 reach, const PlainOf& plainOf, const Lift& lift) {
  const auto pairs = static_cast<i32>(input.a.size());
  const auto plain = plainOf(input);
  std::vector<L> wantedEven(input.a.size()), wantedOdd(input.a.size());
  for (i32 p = reach; p < pairs; ++p) {
    const auto at = static_cast<size_t>(p);
    if (p + reach - 1 < pairs) wantedEven[at] = plain.even(2 * p);
    if (p + reach < pairs) wantedOdd[at] = plain.odd(2 * p + 1);
  }
  Guarded<L> a(input.a), b(input.b), even(pairs), odd(pairs);
  lift(a.data(), b.data(), even.data(), odd.data());
  even.expectRange(wantedEven, reach, pairs - reach + 1, "even");
  odd.expectRange(wantedOdd, reach, pairs - reach, "odd");
}

void checkPairs97Float(const Kernels& set, const Pairs<f32>& input) {
  const auto pairs = static_cast<i32>(input.a.size());
  checkPairs(input, 2, test::plain97Float, [&](auto* a, auto* b, auto* even, auto* odd) {
    set.liftPairs97Float(a, b, pairs, even, odd);
  });
}

TEST(PairLifting, Of53IsThePlainOne) {
  forEachSet([](const Kernels& set) {
    Values values(1);
    forEachLength([&](i32 pairs) {
      checkPairs(Pairs<i16>::random(values, pairs), 1, test::plain53<i16>,
                 [&](auto* a, auto* b, auto* even, auto* odd) {
                   set.liftPairs53i16(a, b, pairs, even, odd);
                 });
      checkPairs(Pairs<i32>::random(values, pairs), 1, test::plain53<i32>,
                 [&](auto* a, auto* b, auto* even, auto* odd) {
                   set.liftPairs53i32(a, b, pairs, even, odd);
                 });
    });
  });
}

TEST(PairLifting, Of97IsThePlainOne) {
  forEachSet([](const Kernels& set) {
    Values values(2);
    forEachLength([&](i32 pairs) {
      checkPairs(Pairs<i16>::random(values, pairs), 2, test::plain97Fixed,
                 [&](auto* a, auto* b, auto* even, auto* odd) {
                   set.liftPairs97Fixed(a, b, pairs, even, odd);
                 });
      checkPairs97Float(set, Pairs<f32>::random(values, pairs));
    });
  });
}

// Vertical lifting of rows that come pair by pair. The results of a step belong to the pair `lag`
// steps before; all that lies before the first pair is zero.
template <class L, class State, class PlainOf, class Lift>
void checkColumns(const std::vector<Pairs<L>>& steps, i32 lag, i32 states, const PlainOf& plainOf,
                  const Lift& lift) {
  const size_t columns = steps[0].a.size();
  std::vector<Guarded<State>> state(static_cast<size_t>(states),
                                    Guarded<State>(std::vector<State>(columns)));
  std::vector<State*> stateData;
  for (auto& each : state) stateData.push_back(each.data());
  for (i32 step = 0; step < static_cast<i32>(steps.size()); ++step) {
    std::vector<L> wantedEven(columns), wantedOdd(columns);
    for (size_t x = 0; x < columns; ++x) {
      const auto column = [&](i32 n) {
        if (n < 0) return L{0};
        const Pairs<L>& pair = steps[static_cast<size_t>(n / 2)];
        return n % 2 == 0 ? pair.a[x] : pair.b[x];
      };
      const auto plain = plainOf(column);
      wantedEven[x] = plain.even(2 * (step - lag));
      wantedOdd[x] = plain.odd(2 * (step - lag) + 1);
    }
    const Pairs<L>& pair = steps[static_cast<size_t>(step)];
    Guarded<L> a(pair.a), b(pair.b);
    Guarded<L> even(static_cast<i32>(columns)), odd(static_cast<i32>(columns));
    lift(a.data(), b.data(), stateData.data(), even.data(), odd.data());
    even.expect(wantedEven, "even");
    odd.expect(wantedOdd, "odd");
    for (auto& each : state) each.expectGuards("state");
  }
}

template <class L>
std::vector<Pairs<L>> randomSteps(Values& values, i32 columns) {
  std::vector<Pairs<L>> steps;
  for (i32 step = 0; step < 7; ++step) steps.push_back(Pairs<L>::random(values, columns));
  return steps;
}

void checkColumns97Float(const Kernels& set, const std::vector<Pairs<f32>>& steps) {
  const auto columns = static_cast<i32>(steps[0].a.size());
  checkColumns<f32, f32>(steps, 2, 4, test::plain97Float,
                         [&](auto* a, auto* b, auto* state, auto* even, auto* odd) {
                           set.liftColumns97Float(a, b, columns, state, even, odd);
                         });
}

TEST(ColumnLifting, Of53IsThePlainOne) {
  forEachSet([](const Kernels& set) {
    Values values(3);
    forEachLength([&](i32 columns) {
      checkColumns<i16, i16>(randomSteps<i16>(values, columns), 1, 2, test::plain53<i16>,
                             [&](auto* a, auto* b, auto* state, auto* even, auto* odd) {
                               set.liftColumns53i16(a, b, columns, state[0], state[1], even, odd);
                             });
      checkColumns<i32, i32>(randomSteps<i32>(values, columns), 1, 2, test::plain53<i32>,
                             [&](auto* a, auto* b, auto* state, auto* even, auto* odd) {
                               set.liftColumns53i32(a, b, columns, state[0], state[1], even, odd);
                             });
    });
  });
}

TEST(ColumnLifting, Of97IsThePlainOne) {
  forEachSet([](const Kernels& set) {
    Values values(4);
    forEachLength([&](i32 columns) {
      checkColumns<i16, i32>(randomSteps<i16>(values, columns), 2, 4, test::plain97Fixed,
                             [&](auto* a, auto* b, auto* state, auto* even, auto* odd) {
                               set.liftColumns97Fixed(a, b, columns, state, even, odd);
                             });
      checkColumns97Float(set, randomSteps<f32>(values, columns));
    });
  });
}

// A fused multiply-add differs from a product and a sum in the last of 53 bits, which rounding to
// 24 bits hides as a rule. It shows where a sum all but cancels out. These are pairs whose odd
// sample 5 is so near to zero that a fused addition changes it.
class CancellingPairs {
 public:
  CancellingPairs() {
    Values values(5);
    while (found_.size() < 40) {
      Pairs<f32> pairs{ordinary(values), ordinary(values)};
      cancel(pairs);
      if (test::plain97Float(pairs).odd(kMiddle) != test::fused97Float(pairs).odd(kMiddle))
        found_.push_back(pairs);
    }
  }

  // One after the other, as a row.
  [[nodiscard]] Pairs<f32> asRow() const {
    Pairs<f32> row;
    for (const Pairs<f32>& each : found_) {
      row.a.insert(row.a.end(), each.a.begin(), each.a.end());
      row.b.insert(row.b.end(), each.b.begin(), each.b.end());
    }
    return row;
  }

  // Side by side, as columns.
  [[nodiscard]] std::vector<Pairs<f32>> asColumns() const {
    std::vector<Pairs<f32>> steps(kPairs);
    for (size_t step = 0; step < kPairs; ++step) {
      for (const Pairs<f32>& each : found_) {
        steps[step].a.push_back(each.a[step]);
        steps[step].b.push_back(each.b[step]);
      }
    }
    return steps;
  }

 private:
  static constexpr size_t kPairs = 5;
  static constexpr i32 kMiddle = 5;

  static std::vector<f32> ordinary(Values& values) {
    std::vector<f32> some(kPairs);
    for (f32& each : some) each = static_cast<f32>(values.below(2000000) - 1000000) / 1024.0f;
    return some;
  }

  // The result is linear in the sample's own coefficient.
  static void cancel(Pairs<f32>& pairs) {
    f32& own = pairs.b[kMiddle / 2];
    for (i32 round = 0; round < 3; ++round) {
      const f32 at = own;
      const f32 result = test::plain97Float(pairs).odd(kMiddle);
      own = at + 64.0f;
      const f32 slope = (test::plain97Float(pairs).odd(kMiddle) - result) / 64.0f;
      own = at - result / slope;
    }
  }

  std::vector<Pairs<f32>> found_;
};

TEST(FloatLifting, RoundsProductsBeforeItAddsThem) {
  const CancellingPairs pairs;
  forEachSet([&](const Kernels& set) {
    checkPairs97Float(set, pairs.asRow());
    checkColumns97Float(set, pairs.asColumns());
  });
}

TEST(Interleaving, AlternatesEvenAndOdd) {
  forEachSet([](const Kernels& set) {
    Values values(6);
    const auto check = [&](auto interleave, i32 pairs, auto lane) {
      using L = decltype(lane);
      const auto input = Pairs<L>::random(values, pairs);
      std::vector<L> wanted;
      for (i32 n = 0; n < 2 * pairs; ++n) wanted.push_back(input(n));
      Guarded<L> even(input.a), odd(input.b), out(2 * pairs);
      interleave(even.data(), odd.data(), pairs, out.data());
      out.expect(wanted, "out");
    };
    forEachLength([&](i32 pairs) {
      check(set.interleave16, pairs, i16{});
      check(set.interleave32, pairs, i32{});
      check(set.interleaveF32, pairs, f32{});
    });
  });
}

}  // namespace
}  // namespace wbx
