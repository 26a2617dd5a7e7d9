#include "iounit/Sine.h"

#include <gtest/gtest.h>

#include <bit>
#include <cmath>
#include <cstdint>
#include <limits>
#include <random>
#include <vector>

#include "iounit/SineWaveGenerator.h"
#include "iounit/TonePhase.h"

namespace orvane::levels {
namespace {

using Limits = std::numeric_limits<float>;

std::vector<RegisterWidth> widths() {
  std::vector<RegisterWidth> all = {RegisterWidth::bits128};
  if (widestRegisters() != RegisterWidth::bits128) all.push_back(widestRegisters());
  return all;
}

/// Tells the two zeros apart; one NaN is as good as another.
std::uint32_t bitsOf(float value) {
  return std::isnan(value) ? 0x7FC00000 : std::bit_cast<std::uint32_t>(value);
}

std::vector<std::uint32_t> bitsOf(const std::vector<float>& values) {
  std::vector<std::uint32_t> bits;
  for (const float value : values) bits.push_back(bitsOf(value));
  return bits;
}

class SineTest : public testing::Test {
 protected:
  int draw(int low, int high) { return std::uniform_int_distribution<int>(low, high)(mRandom); }
  float drawBetween(float low, float high) { return std::uniform_real_distribution<float>(low, high)(mRandom); }

  std::mt19937 mRandom{20240229};
};

TEST_F(SineTest, IsTheFloatNearestToTheExactSine) {
  std::vector<float> angles = {0.0F, Limits::denorm_min(), Limits::min(), kOneTurn, Limits::max()};
  for (const float hard : {0x1.33333p+13F, 0x1.95f654p+44F, 0x1.8d9d8p+73F, 0x1.524856p+80F}) angles.push_back(hard);
  for (const double quarterTurns : {1, 2, 3, 4, 5, 8, 1001, 65536, 10000000}) {
    const auto place = std::bit_cast<std::uint32_t>(static_cast<float>(quarterTurns * std::acos(0.0)));
    for (std::uint32_t bits = place - 300; bits <= place + 300; ++bits) angles.push_back(std::bit_cast<float>(bits));
  }
  for (int i = 0; i < 100000; ++i) {
    angles.push_back(drawBetween(0.0F, kOneTurn));
    angles.push_back(std::bit_cast<float>(draw(0, 0x7F7FFFFF)));
  }
  for (const float angle : angles) {
    // In the extended precision of x86-64, or more: enough for these, as the two roundings go the same way.
    const auto exact = static_cast<float>(std::sin(static_cast<long double>(angle)));
    ASSERT_EQ(bitsOf(sineOf(angle)), bitsOf(exact)) << std::hexfloat << angle;
    ASSERT_EQ(bitsOf(sineOf(-angle)), bitsOf(-exact)) << std::hexfloat << angle;
    const auto distance =
        std::int64_t{std::bit_cast<std::int32_t>(exact)} - std::bit_cast<std::int32_t>(std::sin(angle));
    ASSERT_LE(std::abs(distance), 1) << "from the C library's, at " << std::hexfloat << angle;
  }
  for (const float none : {Limits::infinity(), -Limits::infinity(), Limits::quiet_NaN()}) {
    EXPECT_TRUE(std::isnan(sineOf(none)));
  }
}

TEST_F(SineTest, ManyAtATimeAreTheSame) {
  for (const RegisterWidth width : widths()) {
    for (int count = 0; count < 200; ++count) {
      const float factor = drawBetween(-2.0F, 2.0F);
      std::vector<float> angles, expected;
      for (int i = 0; i < count; ++i) {
        angles.push_back(draw(0, 9) == 0 ? std::bit_cast<float>(draw(0, 0x40C90FDB)) : drawBetween(0.0F, kOneTurn));
        expected.push_back(factor * sineOf(angles.back()));
      }
      replaceBySines(angles, factor, width);
      ASSERT_EQ(bitsOf(angles), bitsOf(expected)) << count;
    }
  }
}

TEST_F(SineTest, PhasesAreThoseOfCountingOneByOne) {
  for (const RegisterWidth width : widths()) {
    for (int run = 0; run < 4000; ++run) {
      const int kind = draw(0, 9);
      float period = std::exp2(drawBetween(-3.0F, 26.0F));
      if (kind < 4) period = 48000.0F / drawBetween(20.0F, 24000.0F);
      if (kind == 4) period = static_cast<float>(draw(1, 300));
      if (kind == 5) period = std::ldexp(1.0F, draw(0, 24)) - drawBetween(0.0F, 1.1F);
      if (kind == 6 && draw(0, 3) == 0)
        period =
            std::vector{-period, 0.0F, Limits::infinity(), Limits::quiet_NaN()}[static_cast<std::size_t>(draw(0, 3))];
      float phase = 0.0F;
      if (draw(0, 2) == 0) phase = drawBetween(-1.0F, 2.0F) * (std::abs(period) < 1e6F ? period : 1.0F);
      if (draw(0, 9) == 0) phase = period;
      TonePhase tone(phase, period);
      for (int block = 0; block < 4; ++block) {
        std::vector<float> angles(static_cast<std::size_t>(draw(0, 3) == 0 ? 300 : draw(0, 40))), expected;
        bool within = true;
        for (std::size_t i = 0; i < angles.size(); ++i) {
          expected.push_back(phase / period * 6.2831855F);
          within = within && expected.back() >= 0.0F && expected.back() <= kOneTurn && !std::signbit(expected.back());
          phase += 1.0F;
          if (phase > period) phase -= period;
        }
        ASSERT_EQ(tone.nextAngles(angles, width), within) << period;
        ASSERT_EQ(bitsOf(angles), bitsOf(expected)) << period;
        ASSERT_EQ(bitsOf(tone.phase()), bitsOf(phase)) << period;
      }
    }
  }
}

/// One sample after the other, as the tone is defined.
void renderPlainly(SineWaveGenerator& tone, std::vector<float>& buffer, int frames, int channels, int stride) {
  const float period = tone.mSampleRate / tone.mFrequency;
  float* place = buffer.data();
  for (int frame = 0; frame < frames; ++frame, place += channels * stride) {
    for (int channel = 0; channel < channels; ++channel) {
      place[channel] = tone.mAmplitude * sineOf(tone.mPhase / period * 6.2831855F);
    }
    tone.mPhase += 1.0F;
    if (tone.mPhase > period) tone.mPhase -= period;
  }
  tone.mFrequency *= tone.mSweepFactor;
  if (tone.mFrequency > 3000.0F || tone.mFrequency < 60.0F) tone.mSweepFactor = 1.0F / tone.mSweepFactor;
}

TEST_F(SineTest, RenderedTonesAreThoseOfOneSampleAfterTheOther) {
  for (int run = 0; run < 1500; ++run) {
    SineWaveGenerator tone;
    tone.mFrequency = drawBetween(-100.0F, draw(0, 3) == 0 ? 60000.0F : 5000.0F);
    tone.mAmplitude = drawBetween(0.0F, 1.0F);
    if (draw(0, 2) == 0) tone.mSweepFactor = drawBetween(0.5F, 2.0F);
    tone.SetSampleRate(static_cast<float>(draw(0, 1) == 0 ? 48000 : draw(8000, 192000)));
    SineWaveGenerator plain = tone;
    const int channels = draw(1, 2), stride = draw(0, 2) == 0 ? draw(1, 3) : 1;
    for (int block = 0; block < 4; ++block) {
      const int frames = draw(0, 9) == 0 ? draw(1000, 2100) : draw(0, 300);
      std::vector<float> rendered(static_cast<std::size_t>(frames * channels * stride), 99.0F), expected = rendered;
      tone.Render(rendered.data(), static_cast<std::uint32_t>(frames), channels, stride);
      renderPlainly(plain, expected, frames, channels, stride);
      ASSERT_EQ(bitsOf(rendered), bitsOf(expected)) << tone.mFrequency << " Hz at " << tone.mSampleRate;
      ASSERT_EQ(bitsOf({tone.mPhase, tone.mFrequency}), bitsOf({plain.mPhase, plain.mFrequency}));
    }
  }
}

}  // namespace
}  // namespace orvane::levels
