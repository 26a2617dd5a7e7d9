// SPDX-License-Identifier: MIT

#include "iounit/dsp/Sine.h"
#include "iounit/dsp/SineWaveGenerator.h"
#include "iounit/dsp/TonePhase.h"
#include "tests/iounit/dsp/Random.h"
#include "tests/support/Test.h"

namespace orvane::test {
namespace {

class Tones : public testing::Test, protected Random {};

TEST_F(Tones, SinesAreTheFloatsNearestToTheExactOnes) {
  std::vector<float> angles = {0.0F,           Limits::denorm_min(), Limits::min(),      oneTurn,
                               0x1.33333p+13F, 0x1.95f654p+44F,      0x1.8d9d8p+73F,     0x1.524856p+80F,
                               Limits::max(),  Limits::infinity(),   Limits::quiet_NaN()};
  for (const double quarterTurns : {1, 2, 3, 4, 5, 8, 1001, 65536, 10000000}) {
    const auto place = std::bit_cast<std::int32_t>(static_cast<float>(quarterTurns * std::acos(0.0)));
    for (std::int32_t bits = place - 300; bits <= place + 300; ++bits) angles.push_back(std::bit_cast<float>(bits));
  }
  for (int i = 0; i < 100000; ++i) {
    angles.push_back(drawBetween(0.0F, oneTurn));
    angles.push_back(std::bit_cast<float>(draw(0, 0x7F7FFFFF)));
  }
  for (const float angle : angles) {
    // Extended precision (64 bits on x86-64) suffices for these angles: rounding twice gives the same float as rounding
    // once.
    const auto exact = static_cast<float>(std::sin(static_cast<long double>(angle)));
    ASSERT_EQ(bitsOf(std::vector{sineOf(angle), sineOf(-angle)}), bitsOf(std::vector{exact, -exact}))
        << std::hexfloat << angle;
  }
}

/// Returns the angle of a sample according to the definition of a tone, and advances `phase` by one sample.
float nextAngle(float& phase, float period) {
  const float angle = phase / period * 6.2831855F;
  phase += 1.0F;
  if (phase > period) phase -= period;
  return angle;
}

TEST_F(Tones, PhasesAndSinesTakenTogetherAreThoseOfOneByOne) {
  constexpr float odd[] = {-3.5F, 0.0F, Limits::infinity(), Limits::quiet_NaN()};
  for (const RegisterWidth width : {RegisterWidth::bits128, widestRegisters()})
    for (int run = 0; run < 4000; ++run) {
      const int kind = draw(0, 9);
      float period = std::exp2(drawBetween(-3.0F, 26.0F));
      if (kind < 4) period = 48000.0F / drawBetween(20.0F, 24000.0F);
      if (kind == 4) period = static_cast<float>(draw(1, 300));
      if (kind == 5) period = std::ldexp(1.0F, draw(0, 24)) - drawBetween(0.0F, 1.1F);
      if (kind == 6 && draw(0, 3) == 0) period = draw(0, 3) == 0 ? -period : odd[draw(0, 3)];
      float phase = 0.0F;
      if (draw(0, 2) == 0) phase = drawBetween(-1.0F, 2.0F) * (std::abs(period) < 1e6F ? period : 1.0F);
      if (draw(0, 9) == 0) phase = period;
      TonePhase tone(phase, period);
      for (int block = 0; block < 4; ++block) {
        std::vector<float> angles(static_cast<std::size_t>(draw(0, 3) == 0 ? 300 : draw(0, 40))), expected = angles;
        for (float& angle : expected) angle = nextAngle(phase, period);
        const bool within = std::ranges::all_of(
            expected, [](float angle) { return angle >= 0.0F && angle <= oneTurn && !std::signbit(angle); });
        ASSERT_EQ(tone.nextAngles(angles, width), within) << period;
        ASSERT_EQ(bitsOf(angles), bitsOf(expected)) << period;
        ASSERT_EQ(bitsOf(std::vector{tone.phase()}), bitsOf(std::vector{phase})) << period;
        if (!within) continue;
        const float factor = drawBetween(-2.0F, 2.0F);
        replaceBySines(angles, factor, width);
        for (float& angle : expected) angle = factor * sineOf(angle);
        ASSERT_EQ(bitsOf(angles), bitsOf(expected)) << period;
      }
    }
}

/// The reference for `Render`: renders one sample at a time into one or two channels, and then applies the frequency
/// sweep.
void renderPlainly(SineWaveGenerator& tone, std::vector<float>& buffer, int channels, int stride) {
  const float period = tone.mSampleRate / tone.mFrequency;
  for (std::size_t at = 0; channels < 3 && at < buffer.size(); at += static_cast<std::size_t>(channels * stride))
    std::fill_n(&buffer[at], channels, tone.mAmplitude * sineOf(nextAngle(tone.mPhase, period)));
  tone.mFrequency *= tone.mSweepFactor;
  const bool isBeyond = tone.mFrequency > 3000.0F || tone.mFrequency < 60.0F;
  if (isBeyond && tone.mSweepFactor != 0.0F) tone.mSweepFactor = 1.0F / tone.mSweepFactor;
}

TEST_F(Tones, RenderedTonesAreThoseOfOneSampleAfterTheOther) {
  for (int run = 0; run < 1500; ++run) {
    SineWaveGenerator tone;
    tone.mFrequency = drawBetween(-100.0F, draw(0, 1) == 0 ? 60000.0F : 300.0F);
    tone.mAmplitude = drawBetween(0.0F, 1.0F);
    if (draw(0, 2) == 0) tone.mSweepFactor = draw(0, 9) == 0 ? 0.0F : drawBetween(0.5F, 2.0F);
    SineWaveGenerator plain = tone;
    tone.mPhase = 17.0F;
    tone.SetSampleRate(static_cast<float>(draw(0, 1) == 0 ? 48000 : draw(8000, 192000)));
    plain.mSampleRate = tone.mSampleRate;
    const int channels = draw(0, 4) == 0 ? draw(0, 1) * 3 : draw(1, 2), stride = draw(0, 2) == 0 ? draw(1, 3) : 1;
    for (int block = 0; block < 4; ++block) {
      const int frames = draw(0, 9) == 0 ? draw(1000, 2100) : draw(0, 300);
      std::vector<float> rendered(static_cast<std::size_t>(frames * channels * stride), 99.0F), expected = rendered;
      tone.Render(rendered.data(), static_cast<std::uint32_t>(frames), channels, stride);
      renderPlainly(plain, expected, channels, stride);
      ASSERT_EQ(bitsOf(rendered), bitsOf(expected)) << tone.mFrequency << " Hz at " << tone.mSampleRate;
      ASSERT_EQ(bitsOf(std::vector{tone.mPhase, tone.mFrequency, tone.mSweepFactor}),
                bitsOf(std::vector{plain.mPhase, plain.mFrequency, plain.mSweepFactor}));
    }
  }
}

TEST_F(Tones, ResonatorIsExact) {
  const std::tuple<float, float, std::int64_t, std::int64_t> cases[] = {
      {60, 1, 2147405181, -2294707}, {261, 0.25F, 2145999034, -9979794}, {11025, 1, 0, -(1 << 28)},
      {-11025, 1, 0, 1 << 28},       {20000, 1, -2056534043, -77293449}, {0, 1, 2147483647, 0},
      {22050, 1, -2147483648LL, 0},  {261, 1e9F, 2145999034, -9979794}};
  for (const auto& [frequency, amplitude, coefficient, state2] : cases) {
    SineWaveGenerator tone;
    tone.mFrequency = frequency;
    tone.mAmplitude = amplitude;
    tone.SetSampleRate(44100);
    EXPECT_EQ(std::tie(tone.mCoefficient, tone.mState1, tone.mState2), std::tuple(coefficient, 0, state2));
    std::vector<std::int16_t> rendered(500 * 6, 99), expected = rendered;
    tone.Render16(&rendered[0], 200, 2, 3);
    tone.Render16(&rendered[200 * 6], 300, 2, 3);
    tone.Render16(&rendered[0], 500, 3, 1);
    std::int64_t latest = 0, before = state2;
    const auto scale = static_cast<std::int64_t>(std::min(double{amplitude * 32767.0F}, 2147483647.0));
    for (std::size_t at = 0; at < expected.size(); at += 6) {
      const std::int64_t value = static_cast<std::int32_t>((latest * coefficient >> 32) - before);
      before = latest >> 2;
      latest = static_cast<std::int32_t>(value * 4);
      expected[at] = static_cast<std::int16_t>(static_cast<std::int32_t>((latest >> 15) * scale) >> 15);
      expected[at + 1] = expected[at];
    }
    EXPECT_EQ(rendered, expected) << frequency << " Hz";
    EXPECT_EQ(std::tie(tone.mState1, tone.mState2), std::tie(latest, before));
    tone.SetInitialValues();
    EXPECT_EQ(std::tie(tone.mCoefficient, tone.mState1, tone.mState2), std::tuple(coefficient, 0, state2));
  }
}

}  // namespace
}  // namespace orvane::test
