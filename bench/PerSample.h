// SPDX-License-Identifier: MIT
#pragma once

#include <benchmark/benchmark.h>

#include <cstddef>

namespace orvane {

/// Reports the nanoseconds per sample. `samples` is the number of samples that each iteration processes.
inline void reportPerSample(benchmark::State& state, std::size_t samples) {
  state.counters["ns_per_sample"] = benchmark::Counter(
      static_cast<double>(samples) * 1e-9, benchmark::Counter::kIsIterationInvariantRate | benchmark::Counter::kInvert);
}

}  // namespace orvane
