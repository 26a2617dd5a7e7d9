#include "iounit/SineWaveGenerator.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <numbers>
#include <vector>

#include "tests/levels/SlowPowerMeter.h"

namespace orvane::levels {
namespace {

constexpr double kTwoPi = 2.0 * std::numbers::pi;

SineWaveGenerator generatorOf(float rate, float frequency, float amplitude) {
  SineWaveGenerator generator;
  generator.mFrequency = frequency;
  generator.mAmplitude = amplitude;
  generator.mPhase = 17.0F;
  generator.SetSampleRate(rate);
  return generator;
}

TEST(SineWaveGeneratorTest, FloatRendererDrawsTheSineAcrossBlocks) {
  using Case = std::array<float, 3>;
  for (const auto& [rate, frequency, amplitude] :
       {Case{48000, 261, 0.25F}, Case{8000, 3999, 0.5F}, Case{100, 440, 2}}) {
    SineWaveGenerator generator = generatorOf(rate, frequency, amplitude);
    std::vector<float> samples(1000);
    generator.Render(samples.data(), 333, 1, 1);
    generator.Render(samples.data() + 333, 667, 1, 1);
    const float period = rate / frequency;
    float phase = 0;
    for (std::size_t i = 0; i < samples.size(); ++i) {
      const float angle = phase / period * 6.2831855F;
      ASSERT_NEAR(samples[i], amplitude * std::sin(double{angle}), 1.3e-7 * amplitude)
          << frequency << " Hz, sample " << i;
      phase = phase + 1 > period ? phase + 1 - period : phase + 1;
    }
    EXPECT_EQ(generator.mPhase, phase);
  }
}

TEST(SineWaveGeneratorTest, ResonatorIsExactAndFollowsTheSine) {
  struct Case {
    float frequency, amplitude;
    double tolerance;  // at low frequencies the truncated products add up
    std::int64_t coefficient, state2;
  };
  for (const auto& [frequency, amplitude, tolerance, coefficient, state2] :
       {Case{60, 1, 4.5, 2147405181, -2294707}, Case{261, 0.25F, 2, 2145999034, -9979794},
        Case{11025, 1, 0.1, 0, -(1 << 28)}, Case{-11025, 1, 0.1, 0, 1 << 28},
        Case{20000, 1, 2.5, -2056534043, -77293449}, Case{0, 1, 0, 2147483647, 0},
        Case{22050, 1, 0.1, -2147483648LL, 0}, Case{261, 1e9F, HUGE_VAL, 2145999034, -9979794}}) {
    SineWaveGenerator generator = generatorOf(44100, frequency, amplitude);
    EXPECT_EQ(generator.mCoefficient, coefficient) << frequency;
    EXPECT_EQ(generator.mState2, state2) << frequency;
    std::vector<std::int16_t> samples(500);
    generator.Render16(samples.data(), 200, 1, 1);
    generator.Render16(samples.data() + 200, 300, 1, 1);
    std::int64_t latest = 0, before = state2;
    const auto scale = static_cast<std::int64_t>(std::min(double{amplitude * 32767.0F}, 2147483647.0));
    for (std::size_t i = 0; i < samples.size(); ++i) {
      const std::int64_t value = wrap(floorOf(latest * coefficient, 1LL << 32) - before);
      before = floorOf(latest, 4);
      latest = wrap(value * 4);
      const std::int64_t product = wrap(floorOf(latest, 1 << 15) * scale);
      ASSERT_EQ(samples[i], wrap(floorOf(product, 1 << 15), 1 << 16)) << frequency << " Hz, sample " << i;
      const double exact =
          std::sin(kTwoPi * double{frequency / 44100} * static_cast<double>(i + 1)) * 32767 * amplitude;
      ASSERT_NEAR(samples[i], exact, tolerance) << frequency << " Hz, sample " << i;
    }
  }
}

template <typename Sample>
void expectFourFramesInPlace(void (SineWaveGenerator::*render)(Sample*, std::uint32_t, int, int)) {
  std::vector<Sample> tone(4);
  SineWaveGenerator mono;
  (mono.*render)(tone.data(), 4, 1, 1);
  for (const auto& [channels, stride] :
       {std::pair<std::size_t, std::size_t>{0, 1}, {1, 1}, {1, 3}, {2, 1}, {2, 3}, {3, 1}}) {
    SineWaveGenerator asked;
    std::vector<Sample> buffer(32, 99), expected = buffer;
    (asked.*render)(buffer.data(), 4, static_cast<int>(channels), static_cast<int>(stride));
    for (std::size_t i = 0; channels < 3 && i < 4 * channels; ++i)
      expected[i / channels * channels * stride + i % channels] = tone[i / channels];
    EXPECT_EQ(buffer, expected) << channels << " channels, stride " << stride;
    EXPECT_EQ(asked.mPhase, channels % 3 != 0 ? mono.mPhase : 0.0F);
    EXPECT_EQ(asked.mState1, channels % 3 != 0 ? mono.mState1 : 0);
  }
}

TEST(SineWaveGeneratorTest, SamplesGoWhereChannelsAndStrideSayAndNowhereElse) {
  expectFourFramesInPlace<float>(&SineWaveGenerator::Render);
  expectFourFramesInPlace<std::int16_t>(&SineWaveGenerator::Render16);
}

TEST(SineWaveGeneratorTest, SweepTurnsRoundBeyondItsBounds) {
  SineWaveGenerator generator;
  generator.mSweepFactor = 2;
  for (const double expected : {880, 1760, 3520, 1760, 880, 440, 220, 110, 55, 110}) {
    generator.Render(nullptr, 8, 3, 1);
    EXPECT_EQ(double{generator.mFrequency}, expected);
  }
  generator.mSweepFactor = 0;
  generator.Render(nullptr, 8, 3, 1);
  EXPECT_EQ(generator.mFrequency, 0.0F);
}

}  // namespace
}  // namespace orvane::levels
