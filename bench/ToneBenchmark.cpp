// SPDX-License-Identifier: MIT

// Benchmarks of rendering tones: `Render` is compared with a loop that calls the C library's sine for every sample, and
// `Render16` with the bare resonator.

#include <benchmark/benchmark.h>

#include <cmath>
#include <vector>

#include "bench/PerSample.h"
#include "iounit/dsp/SineWaveGenerator.h"

namespace orvane {

namespace {

constexpr float rate = 48000.0F;

SineWaveGenerator toneOf(const benchmark::State& state) {
  SineWaveGenerator tone;
  tone.mFrequency = static_cast<float>(state.range(0));
  tone.SetSampleRate(rate);
  return tone;
}

void plainTone(benchmark::State& state) {
  std::vector<float> samples(static_cast<std::size_t>(state.range(1)));
  const float period = rate / static_cast<float>(state.range(0));
  float phase = 0.0F;
  for ([[maybe_unused]] auto _ : state) {
    for (float& sample : samples) {
      sample = 0.25F * std::sin(phase / period * 6.2831855F);
      phase += 1.0F;
      if (phase > period) phase -= period;
    }
    benchmark::ClobberMemory();
  }
  reportPerSample(state, samples.size());
}

void render(benchmark::State& state) {
  std::vector<float> samples(static_cast<std::size_t>(state.range(1)));
  SineWaveGenerator tone = toneOf(state);
  for ([[maybe_unused]] auto _ : state) {
    tone.Render(samples.data(), static_cast<std::uint32_t>(samples.size()), 1, 1);
    benchmark::ClobberMemory();
  }
  reportPerSample(state, samples.size());
}

/// Sets the frequencies and block lengths to measure. One period of 377 Hz has 127.3 samples, which is less than 1
/// below a power of two, so its phases are counted period by period.
void tones(benchmark::internal::Benchmark* benchmark) {
  benchmark->ArgNames({"hertz", "frames"})->ArgsProduct({{261, 377, 3000}, {64, 512, 4096}});
}
BENCHMARK(plainTone)->Name("tone/plain")->Apply(tones);
BENCHMARK(render)->Name("tone/Render")->Apply(tones);

void plainResonator(benchmark::State& state) {
  std::vector<std::int16_t> samples(static_cast<std::size_t>(state.range(1)));
  const SineWaveGenerator tone = toneOf(state);
  std::int32_t state1 = tone.mState1;
  std::int32_t state2 = tone.mState2;
  for ([[maybe_unused]] auto _ : state) {
    for (std::int16_t& sample : samples) {
      const auto value = static_cast<std::int32_t>((std::int64_t{state1} * tone.mCoefficient >> 32) - state2);
      state2 = state1 >> 2;
      state1 = value << 2;
      sample = static_cast<std::int16_t>((state1 >> 15) * 8191 >> 15);
    }
    benchmark::ClobberMemory();
  }
  reportPerSample(state, samples.size());
}

void render16(benchmark::State& state) {
  std::vector<std::int16_t> samples(static_cast<std::size_t>(state.range(1)));
  SineWaveGenerator tone = toneOf(state);
  for ([[maybe_unused]] auto _ : state) {
    tone.Render16(samples.data(), static_cast<std::uint32_t>(samples.size()), 1, 1);
    benchmark::ClobberMemory();
  }
  reportPerSample(state, samples.size());
}

void oneTone(benchmark::internal::Benchmark* benchmark) {
  benchmark->ArgNames({"hertz", "frames"})->ArgsProduct({{261}, {64, 512, 4096}});
}
BENCHMARK(plainResonator)->Name("tone16/plain")->Apply(oneTone);
BENCHMARK(render16)->Name("tone16/Render16")->Apply(oneTone);

}  // namespace

}  // namespace orvane
