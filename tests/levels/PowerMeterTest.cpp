#include "iounit/PowerMeter.h"

#include <gtest/gtest.h>

#include <numbers>
#include <string>
#include <thread>
#include <tuple>

#include "Pexutil/Source/Utility/PXVectorUnit.h"
#include "tests/levels/MeterTest.h"
#include "tests/levels/SlowPowerMeter.h"

namespace orvane::levels {
namespace {

class PowerMeterTest : public MeterTest {
 protected:
  Word drawWord(int kind) {
    if (kind > 10) return draw(0, 1) == 0 ? kLowest : kHighest;
    return draw(-1, 1) * (draw(0, kHighest) >> (2 * kind));
  }
};

TEST_F(PowerMeterTest, AgreesWithTheSlowMeterInEveryField) {
  alignas(16) float floats[1700];
  std::int16_t shorts[1700];
  Word words[1700];
  constexpr double kRates[] = {0.0, 44100.0, 48000.0, 8000.0, 1.0, 1e-7, 1e12, -5.0};
  for (int run = 0; run < 3000; ++run) {
    PowerMeter meter;
    SlowPowerMeter slow;
    meter.mInstantaneous = slow.mInstantaneous = draw(0, 9) == 0;
    if (const double rate = kRates[draw(0, 7)]; rate != 0.0) meter.SetSampleRate(rate), slow.setRate(rate);
    if (draw(0, 9) == 0) {  // half a day after a peak, where the counter meets its end
      slow.mHoldCounter = meter.mHoldCounter = kHighest - 100;
      slow.mPeakHold = meter.mPeakHold = 1e9;
    }
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
        scaled.push_back(format == 4 ? shorts[i] : floorOf(words[i], 512));
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

TEST_F(PowerMeterTest, NoVectorGivesTheResultsOfUnalignedInputAndSaysSoEachTime) {
  alignas(16) float aligned[64], shifted[65];
  for (int i = 0; i < 64; ++i) aligned[i] = shifted[i + 1] = drawSample(0);
  PowerMeter scalar, bypassed;
  for (int block = 0; block < 3; ++block) scalar.Process(shifted + 1, 1, 64);
  allowLanes(false);
  testing::internal::CaptureStderr();
  for (int block = 0; block < 3; ++block) bypassed.Process(aligned, 1, 64);
  const std::string line = "PX_NoVector set; Vector unit optimized routines will be bypassed\n";
  EXPECT_EQ(testing::internal::GetCapturedStderr(), line + line + line);
  EXPECT_EQ(fieldsOf(bypassed), fieldsOf(scalar));
  EXPECT_EQ(gPXVectorUnitType, -1);
  allowLanes(true);
  gPXVectorUnitType = 0;  // examined, and none there
  bypassed.Process(aligned, 1, 64);
  EXPECT_EQ(bypassed.mLaneMeanSquare[0], 0.0F);
  EXPECT_EQ(PXVectorUnit_Examine(), 200);
  EXPECT_EQ(gPXVectorUnitType, 200);
}

TEST_F(PowerMeterTest, MetersExamineTheVectorUnitOnSeveralThreadsAtOnce) {
  alignas(16) const float samples[] = {0.5F, -0.25F, 1.0F, 0.1F, 0.2F, 0.3F, -0.9F, 0.0F, 0.7F, -1.0F};
  std::vector<PowerMeter> meters(4);
  std::vector<std::thread> threads;
  for (PowerMeter& meter : meters) {
    threads.emplace_back([&] {
      for (int block = 0; block < 100; ++block) meter.Process(samples, 1, 10);
    });
  }
  for (std::thread& thread : threads) thread.join();
  for (const PowerMeter& meter : meters) EXPECT_EQ(fieldsOf(meter), fieldsOf(meters[0]));
  EXPECT_GT(meters[0].mLaneMeanSquare[3], 0.0F);
}

TEST_F(PowerMeterTest, HoldsThePeakThenLetsItFall) {
  constexpr int kFrames = 400;  // the hold time of 40000 frames is 100 blocks
  const std::vector<float> silence(kFrames), loud(kFrames, 0.5F);
  PowerMeter meter;
  meter.Process(loud.data(), 1, kFrames);
  EXPECT_EQ(meter.mSampleRate, 44100.0);
  EXPECT_EQ(meter.mPeakLevel, 0.5);
  EXPECT_EQ(meter.mAverageLevel, 0.5) << "0.707, held down to the peak";
  double hold = 0.5;
  for (int block = 1; block <= 120; ++block) {
    const double peak = meter.mPeakLevel;
    meter.Process(silence.data(), 1, kFrames);
    EXPECT_EQ(meter.mPeakLevel, peak - peak * meter.mRelease);
    if (block >= 100) hold -= hold * meter.mHoldDecay;
    EXPECT_EQ(meter.mPeakHold, hold) << block;
  }
  EXPECT_NEAR(hold, 0.5 * std::pow(10.0, -3.0 * 21 * kFrames / (2.5 * 44100.0)), 1e-12);
}

TEST_F(PowerMeterTest, FullScaleReadsOne) {
  alignas(16) float sine[480];
  for (int i = 0; i < 480; ++i) sine[i] = static_cast<float>(std::sin(2.0 * std::numbers::pi * i / 12.0));
  for (const int stride : {1, 5}) {
    PowerMeter meter;
    for (int block = 0; block < 200; ++block) meter.Process(sine, stride, 480 / stride);
    EXPECT_NEAR(meter.mPeakLevel, 1.0, 1e-6);
    EXPECT_NEAR(meter.mAverageLevel, 1.0, 0.05);
  }
  PowerMeter shorts, words;
  shorts.Process_Int16(std::data<std::int16_t>({-32768}), 1, 1);
  words.Process_Int32(std::data<Word>({1 << 24}), 1, 1);
  for (const PowerMeter& meter : {shorts, words}) EXPECT_EQ(meter.mPeakLevel, 1.0);
}

TEST_F(PowerMeterTest, RecordsClippingUntilCleared) {
  alignas(16) float samples[8] = {0.5F};
  const std::pair<float, std::tuple<float, bool, bool, double>> cases[] = {{kInfinity, {kInfinity, true, false, 1}},
                                                                           {kNaN, {0.5F, false, true, 1}},
                                                                           {-3e38F, {3e38F, true, false, 1}},
                                                                           {2, {2, false, false, 2}}};
  for (const auto& [sample, expected] : cases) {
    samples[7] = sample;
    PowerMeter meter;
    for (const int frames : {8, 0}) meter.Process(samples, 1, frames);
    EXPECT_EQ(std::tuple(meter.mMaxPeak, meter.mSawInfinity, meter.mSawNaN, meter.mPeakHold), expected);
    meter.ClearClipping();
    EXPECT_EQ(std::tuple(meter.mMaxPeak, meter.mSawInfinity, meter.mSawNaN), std::tuple(0.0F, false, false));
  }
}

}  // namespace
}  // namespace orvane::levels
