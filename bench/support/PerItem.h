// What one of several like pieces of an iteration took, which the table tells instead of the iteration's
// time.
#ifndef BENCH_SUPPORT_PERITEM_H
#define BENCH_SUPPORT_PERITEM_H

#include <benchmark/benchmark.h>

namespace bench {

/// Each iteration did so many; to be called behind the loop.
inline void TellPerItem(benchmark::State& state, double items) {
    using benchmark::Counter;
    state.counters["per_item"] = Counter(items, Counter::kIsIterationInvariantRate | Counter::kInvert);
}

}  // namespace bench

#endif
