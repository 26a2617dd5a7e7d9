// SPDX-License-Identifier: MIT

// Benchmarks of metering a block: one meter after the other, all meters in lockstep, and a lower bound, which only
// reads every sample and keeps the maximum magnitude of each channel.

#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <random>
#include <vector>

#include "bench/PerSample.h"
#include "iounit/dsp/LockstepMeter.h"
#include "iounit/dsp/MeterLanes.h"
#include "platform/host/audio/AlignedSamples.h"

namespace orvane {

namespace {

/// The input of a benchmark: channels of noise in the memory layout that the host uses, and one meter per channel.
class Input {
 public:
  explicit Input(const benchmark::State& state)
      : mChannels(static_cast<std::uint32_t>(state.range(0))),
        mFrames(static_cast<int>(state.range(1))),
        mSamples(mChannels, static_cast<std::uint32_t>(mFrames)),
        mMeters(mChannels) {
    std::mt19937 random{1};
    std::uniform_real_distribution<float> noise(-0.5F, 0.5F);
    for (float* plane : mSamples.planes()) std::generate_n(plane, mFrames, [&] { return noise(random); });
    for (PowerMeter& meter : mMeters) meter.SetSampleRate(48000.0);
  }

  std::span<const float* const> planes() const { return mSamples.planes(); }
  std::span<PowerMeter> meters() { return mMeters; }
  int frames() const { return mFrames; }
  std::size_t samples() const { return mChannels * static_cast<std::size_t>(mFrames); }

 private:
  std::uint32_t mChannels;
  int mFrames;
  host::AlignedSamples mSamples;
  std::vector<PowerMeter> mMeters;
};

void plain(benchmark::State& state) {
  Input input(state);
  for ([[maybe_unused]] auto _ : state) {
    for (std::size_t i = 0; i < input.meters().size(); ++i) {
      input.meters()[i].Process(input.planes()[i], 1, input.frames());
    }
    benchmark::ClobberMemory();
  }
  reportPerSample(state, input.samples());
}

void lockstep(benchmark::State& state, RegisterWidth width) {
  Input input(state);
  input.meters()[0].Process(input.planes()[0], 1, 0);  // determines the type of the vector unit
  for ([[maybe_unused]] auto _ : state) {
    processTogether(input.meters(), input.planes(), input.frames(), width);
    benchmark::ClobberMemory();
  }
  reportPerSample(state, input.samples());
}

template <typename Lanes>
[[gnu::always_inline]] inline float largestLane(const Lanes& lanes) {
  FourLanes four = __builtin_shufflevector(lanes, lanes, 0, 1, 2, 3);
  if constexpr (sizeof(Lanes) > sizeof(FourLanes)) {
    const FourLanes others = __builtin_shufflevector(lanes, lanes, 4, 5, 6, 7);
    four = others > four ? others : four;
  }
  const FourLanes pairs = __builtin_shufflevector(four, four, 2, 3, 0, 1);
  four = pairs > four ? pairs : four;
  return four[1] > four[0] ? four[1] : four[0];
}

/// Computes the largest magnitude of each channel. Uses four registers alternately, so that no step waits for the
/// previous one.
template <typename Lanes>
[[gnu::always_inline]] inline void largestMagnitudes(const Input& input, std::vector<float>& largest) {
  using Bits [[gnu::vector_size(sizeof(Lanes))]] = std::int32_t;
  constexpr int registerCount = 4;
  constexpr int laneCount = sizeof(Lanes) / sizeof(float);
  for (std::size_t channel = 0; channel < largest.size(); ++channel) {
    const float* plane = input.planes()[channel];
    Lanes maxima[registerCount] = {};
    for (int at = 0; at < input.frames(); at += registerCount * laneCount) {
#pragma GCC unroll 4
      for (int i = 0; i < registerCount; ++i) {
        Bits bits;
        std::memcpy(&bits, plane + at + i * laneCount, sizeof bits);
        bits &= 0x7FFFFFFF;
        Lanes magnitudes;
        std::memcpy(&magnitudes, &bits, sizeof bits);
        maxima[i] = magnitudes > maxima[i] ? magnitudes : maxima[i];
      }
    }
#pragma GCC unroll 4
    for (int i = 1; i < registerCount; ++i) maxima[0] = maxima[i] > maxima[0] ? maxima[i] : maxima[0];
    largest[channel] = largestLane(maxima[0]);
  }
}

void largestIn128Bits(const Input& input, std::vector<float>& largest) {
  largestMagnitudes<FourLanes>(input, largest);
}
#if defined(__x86_64__)
[[gnu::target("avx2")]] void largestIn256Bits(const Input& input, std::vector<float>& largest) {
  largestMagnitudes<EightLanes>(input, largest);
}
#endif

void limit(benchmark::State& state) {
  const Input input(state);
  std::vector<float> largest(input.planes().size());
  auto* search = &largestIn128Bits;
#if defined(__x86_64__)
  if (widestRegisters() == RegisterWidth::bits256) search = &largestIn256Bits;
#endif
  for ([[maybe_unused]] auto _ : state) {
    search(input, largest);
    benchmark::DoNotOptimize(largest.data());
    benchmark::ClobberMemory();
  }
  reportPerSample(state, input.samples());
}

void sizes(benchmark::internal::Benchmark* benchmark) {
  benchmark->ArgNames({"channels", "frames"})->ArgsProduct({{1, 2, 8, 32}, {64, 512, 4096}});
}

void lockstepIn128Bits(benchmark::State& state) {
  lockstep(state, RegisterWidth::bits128);
}
void lockstepInWidest(benchmark::State& state) {
  lockstep(state, widestRegisters());
}

BENCHMARK(plain)->Name("meter/plain")->Apply(sizes);
BENCHMARK(lockstepInWidest)->Name("meter/lockstep")->Apply(sizes);
BENCHMARK(lockstepIn128Bits)->Name("meter/lockstep-in-128-bits")->Apply(sizes);
BENCHMARK(limit)->Name("meter/limit")->Apply(sizes);

std::vector<std::int16_t> shortNoise(const benchmark::State& state) {
  std::vector<std::int16_t> samples(static_cast<std::size_t>(state.range(0)));
  std::mt19937 random{1};
  std::ranges::generate(samples, [&] { return static_cast<std::int16_t>(random()); });
  return samples;
}

void processInt16(benchmark::State& state) {
  const std::vector<std::int16_t> samples = shortNoise(state);
  PowerMeter meter;
  for ([[maybe_unused]] auto _ : state) {
    meter.Process_Int16(samples.data(), 1, static_cast<int>(samples.size()));
    benchmark::ClobberMemory();
  }
  reportPerSample(state, samples.size());
}

/// Computes only the mean square and the peak of 16-bit samples, one sample at a time.
void plainInt16(benchmark::State& state) {
  const std::vector<std::int16_t> samples = shortNoise(state);
  int meanSquare = 0;
  for ([[maybe_unused]] auto _ : state) {
    int peak = 0;
    for (const std::int16_t sample : samples) {
      const int magnitude = std::abs(int{sample});
      if (magnitude > peak) peak = magnitude;
      meanSquare += (magnitude * magnitude - meanSquare) >> 5;
    }
    benchmark::DoNotOptimize(peak);
    benchmark::DoNotOptimize(meanSquare);
  }
  reportPerSample(state, samples.size());
}

BENCHMARK(plainInt16)->Name("int16/plain")->ArgName("frames")->Arg(64)->Arg(512)->Arg(4096);
BENCHMARK(processInt16)->Name("int16/Process_Int16")->ArgName("frames")->Arg(64)->Arg(512)->Arg(4096);

}  // namespace

}  // namespace orvane
