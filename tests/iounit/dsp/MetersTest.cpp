// SPDX-License-Identifier: MIT

#include <array>

#include "Pexutil/Source/Utility/PXVectorUnit.h"
#include "iounit/dsp/LockstepMeter.h"
#include "platform/host/audio/AlignedSamples.h"
#include "tests/iounit/dsp/Random.h"
#include "tests/iounit/dsp/SlowPowerMeter.h"
#include "tests/support/Test.h"

namespace orvane::test {
namespace {

/// Before each test, resets the process's vector unit type to "not determined".
class Meters : public testing::Test, protected Random {
 protected:
  Meters() { gPXVectorUnitType = -1; }
};

TEST_F(Meters, AgreeWithTheSlowMeterInEveryField) {
  alignas(16) float floats[1700];
  std::int16_t shorts[1700];
  std::int32_t words[1700];
  constexpr double rates[] = {0.0, 44100.0, 48000.0, 8000.0, 1.0, 1e-7, 1e12, -5.0};
  for (int run = 0; run < 3000; ++run) {
    PowerMeter meter;
    SlowPowerMeter slow;
    meter.mInstantaneous = slow.mInstantaneous = draw(0, 9) == 0;
    if (const double rate = rates[draw(0, 7)]; rate != 0.0) meter.SetSampleRate(rate), slow.setRate(rate);
    if (draw(0, 4) == 0) slow.mPeakHold = meter.mPeakHold = 1e9;
    // Sets the counter of the peak hold to 100 below its maximum, which it otherwise reaches half a day after a peak.
    if (draw(0, 4) == 0) slow.mHoldCounter = meter.mHoldCounter = Words::max() - 100;
    int frames = draw(0, 70);
    const int format = draw(0, 5);
    for (int block = 0; block < 8; ++block) {
      const int before = draw(0, 40);
      if (before == 0) meter.Reset(), slow.reset();
      if (before == 1) meter.ProcessSilence(frames), slow.silence();
      if (before == 2) meter.ClearClipping(), slow.clearClipping();
      if (before == 3) meter.SetSampleRate(16000.0), slow.setRate(16000.0);
      if (draw(0, 2) == 0) frames = draw(0, 9) == 0 ? 512 : draw(0, 70);
      const int stride = draw(0, 2) == 0 ? draw(2, 3) : 1, start = draw(0, 1) * draw(0, 5), kind = draw(0, 12);
      std::vector<float> taken;
      std::vector<std::int64_t> scaled;
      for (int i = start; i < start + frames * stride; i += stride) {
        taken.push_back(floats[i] = drawSample(kind));
        words[i] = drawWord(kind);
        shorts[i] = static_cast<std::int16_t>(words[i] >> 16);
        scaled.push_back(format == 4 ? shorts[i] : words[i] >> 9);
      }
      if (format < 4) meter.Process(floats + start, stride, frames);
      if (format == 4) meter.Process_Int16(shorts + start, stride, frames);
      if (format > 4) meter.Process_Int32(words + start, stride, frames);
      format < 4 ? slow.floats(taken, start % 4 == 0 && stride == 1) : slow.integers(scaled);
      ASSERT_EQ(fieldsOf(meter), fieldsOf(slow))
          << "run " << run << ": " << testing::PrintToString(std::tie(block, format, frames, stride, start, kind));
    }
  }
}

/// Compares levels with their definition instead of a second meter: a full-scale sine reads 1, a level falls by 60 dB
/// in 1.24 s, and a peak is held for 0.907 s.
TEST_F(Meters, ReadOneForAFullScaleSineAndFallInTheStatedTimes) {
  for (const int rate : {8000, 44100, 48000, 96000}) {
    for (const int frames : {rate / 1000 * 4, 512}) {
      SCOPED_TRACE(testing::PrintToString(std::pair(rate, frames)));
      host::AlignedSamples sine(1, 512);
      const host::AlignedSamples silence(1, 512);
      PowerMeter meter;
      meter.SetSampleRate(rate);
      // The frequency is a quarter of the sample rate, so that samples fall on the peaks.
      for (int i = 0; i < 512; ++i)
        sine.plane(0)[i] = std::array{0.0F, 1.0F, 0.0F, -1.0F}[static_cast<unsigned>(i) % 4];
      for (int fed = 0; fed < rate; fed += frames) meter.Process(sine.plane(0), 1, frames);
      EXPECT_NEAR(meter.mAverageLevel, 1.0, 0.03);
      EXPECT_EQ(meter.mPeakLevel, 1.0);

      meter.Reset();
      meter.Process(sine.plane(0), 1, frames);
      const double level = meter.mPeakLevel;
      int fallen = 0;
      while (fallen + frames < 0.907 * rate) {
        meter.Process(silence.plane(0), 1, frames);
        fallen += frames;
        ASSERT_EQ(meter.mPeakHold, 1.0) << fallen;
      }
      for (; fallen < 1.24 * rate; fallen += frames) meter.Process(silence.plane(0), 1, frames);
      EXPECT_LT(meter.mPeakHold, 1.0);
      const double decibels = 20 * std::log10(meter.mPeakLevel / level);
      EXPECT_NEAR(decibels, -60 * fallen / (1.24 * rate), 0.01);
    }
  }
}

TEST_F(Meters, GiveTogetherWhatOneAfterTheOtherGives) {
  constexpr int maxChannels = 40;
  host::AlignedSamples samples(maxChannels, 600);
  for (const RegisterWidth width : {RegisterWidth::bits128, widestRegisters()})
    for (int run = 0; run < 25 * maxChannels; ++run) {
      gPXVectorUnitType = draw(0, 19) == 0 ? draw(-1, 0) : 200;
      std::vector<PowerMeter> single(static_cast<std::size_t>(run % (maxChannels + 1)));
      for (PowerMeter& meter : single) {  // each with a past of its own, some of them odd
        if (draw(0, 3) > 0) meter.SetSampleRate(draw(1, 96000));
        for (float& lane : meter.mLaneMeanSquare) lane = drawSample(draw(0, 12));
      }
      std::vector<PowerMeter> together = single;
      int frames = draw(0, 70);
      for (int block = 0; block < 4; ++block) {
        if (draw(0, 2) == 0) frames = draw(0, 9) == 0 ? 512 : draw(0, 70);
        const bool allAligned = draw(0, 3) > 0;
        std::vector<const float*> planes;
        for (PowerMeter& meter : single) {
          float* const plane = samples.plane(static_cast<std::uint32_t>(planes.size()));
          planes.push_back(plane + (allAligned ? 4 * draw(0, 2) : draw(0, 9)));
          std::generate_n(plane, frames + 9, [&, kind = draw(0, 12)] { return drawSample(kind); });
          meter.Process(planes.back(), 1, frames);
        }
        processTogether(together, planes, frames, width);
        for (std::size_t i = 0; i < planes.size(); ++i)
          ASSERT_EQ(fieldsOf(together[i]), fieldsOf(single[i])) << run << ": " << i << ", " << frames << " frames";
      }
    }
}

TEST_F(Meters, ExamineTheVectorUnitOnSeveralThreadsAtOnce) {
  alignas(16) const float samples[] = {0.5F, -0.25F, 1.0F, 0.1F, 0.2F, 0.3F, -0.9F, 0.0F, 0.7F, -1.0F};
  std::vector<PowerMeter> meters(8);
  std::vector<std::jthread> threads;
  for (std::size_t i = 0; i < meters.size(); i += 2)
    threads.emplace_back([&, i] {
      for (int block = 0; block < 100; ++block)
        processTogether(std::span(meters).subspan(i, 2), std::array{&samples[0], &samples[0]}, 10);
    });
  threads.clear();
  EXPECT_EQ(gPXVectorUnitType, 200);
  SlowPowerMeter slow;
  for (int block = 0; block < 100; ++block) slow.floats({std::begin(samples), std::end(samples)}, true);
  for (const PowerMeter& meter : meters) EXPECT_EQ(fieldsOf(meter), fieldsOf(slow));
}

}  // namespace
}  // namespace orvane::test
