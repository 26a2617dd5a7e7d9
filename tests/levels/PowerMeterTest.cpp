#include "iounit/PowerMeter.h"

#include <gtest/gtest.h>

#include <numbers>
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

TEST_F(PowerMeterTest, MetersExamineTheVectorUnitOnSeveralThreadsAtOnce) {
  alignas(16) const float samples[] = {0.5F, -0.25F, 1.0F, 0.1F, 0.2F, 0.3F, -0.9F, 0.0F, 0.7F, -1.0F};
  std::vector<PowerMeter> meters(4);
  std::vector<std::thread> threads;
  const auto meterOften = [&](PowerMeter& meter) {
    for (int block = 0; block < 100; ++block) meter.Process(samples, 1, 10);
  };
  for (PowerMeter& meter : meters) threads.emplace_back(meterOften, std::ref(meter));
  for (std::thread& thread : threads) thread.join();
  for (const PowerMeter& meter : meters) EXPECT_EQ(fieldsOf(meter), fieldsOf(meters[0]));
  EXPECT_GT(meters[0].mLaneMeanSquare[3], 0.0F);
  EXPECT_EQ(gPXVectorUnitType, 200);
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
}

}  // namespace
}  // namespace orvane::levels
