// SPDX-License-Identifier: MIT
#pragma once

#include <benchmark/benchmark.h>

#include <cstddef>

namespace orvane {

/// Shows how many nanoseconds a sample took, where an iteration takes this many of them.
inline void reportPerSample(benchmark::State& state, std::size_t samples) {
  state.counters["ns_per_sample"] = benchmark::Counter(
      static_cast<double>(samples) * 1e-9, benchmark::Counter::kIsIterationInvariantRate | benchmark::Counter::kInvert);
}

}  // namespace orvane
