#include "iounit/LockstepMeter.h"

#include <string>
#include <tuple>

#include "iounit/MeterInputHandler.h"
#include "platform/host/AlignedSamples.h"
#include "tests/levels/MeterTest.h"

namespace orvane::levels {
namespace {

constexpr int kMostChannels = 40;

class LockstepMeterTest : public MeterTest {
 protected:
  /// Meters with a past of their own, some of them odd.
  std::vector<PowerMeter> drawMeters(int channels) {
    std::vector<PowerMeter> meters(static_cast<std::size_t>(channels));
    for (PowerMeter& meter : meters) {
      constexpr double kRates[] = {44100.0, 48000.0, 1.0, 1e12};
      if (draw(0, 3) > 0) meter.SetSampleRate(kRates[draw(0, 3)]);
      meter.mInstantaneous = draw(0, 9) == 0;
      if (draw(0, 3) == 0) meter.mBlockSize = draw(0, 70);
      if (draw(0, 9) == 0) meter.mHoldCounter = kHighest - draw(0, 100);
      for (double* level : {&meter.mMeanSquare, &meter.mPeakLevel, &meter.mAverageLevel, &meter.mPeakHold})
        *level = double{drawSample(draw(0, 7))};
      for (float& lane : meter.mLaneMeanSquare) lane = drawSample(draw(0, 12));
    }
    return meters;
  }

  /// A signal of a kind of its own for each channel; in some blocks single channels do not lie where lanes can take
  /// them.
  std::vector<const float*> drawPlanes(host::AlignedSamples& samples, int channels, int frames) {
    std::vector<const float*> planes;
    const bool allAligned = draw(0, 3) > 0;
    for (int channel = 0; channel < channels; ++channel) {
      const int start = allAligned ? 4 * draw(0, 2) : draw(0, 9);
      const int kind = draw(0, 12);
      float* plane = samples.plane(static_cast<std::uint32_t>(channel)) + start;
      std::generate_n(plane, frames, [&] { return drawSample(kind); });
      planes.push_back(plane);
    }
    return planes;
  }

  host::AlignedSamples mSamples{kMostChannels, 600};
};

std::vector<RegisterWidth> widths() {
  std::vector<RegisterWidth> all = {RegisterWidth::bits128};
  if (widestRegisters() != RegisterWidth::bits128) all.push_back(widestRegisters());
  return all;
}

TEST_F(LockstepMeterTest, GivesWhatOneMeterAfterTheOtherGives) {
  int together = 0;
  for (const RegisterWidth width : widths()) {
    for (int run = 0; run < 25 * kMostChannels; ++run) {
      gPXVectorUnitType = draw(0, 19) == 0 ? draw(-1, 0) : 200;
      const int channels = 1 + run % kMostChannels;
      std::vector<PowerMeter> single = drawMeters(channels);
      std::vector<PowerMeter> lockstep = single;
      int frames = draw(0, 70);
      for (int block = 0; block < 4; ++block) {
        if (draw(0, 2) == 0) frames = draw(0, 9) == 0 ? 512 : draw(0, 70);
        const std::vector<const float*> planes = drawPlanes(mSamples, channels, frames);
        for (std::size_t i = 0; i < planes.size(); ++i) single[i].Process(planes[i], 1, frames);
        processTogether(lockstep, planes, frames, width);
        for (std::size_t i = 0; i < planes.size(); ++i) {
          ASSERT_EQ(fieldsOf(lockstep[i]), fieldsOf(single[i]))
              << "run " << run << ": " << testing::PrintToString(std::tie(channels, i, frames, block));
        }
        together += single[0].mAverageLevel > 0.0 ? 1 : 0;
      }
    }
  }
  EXPECT_GT(together, 1000) << "hardly a level was there to compare";
}

TEST_F(LockstepMeterTest, NoVectorIsRespectedAndSaidOnceAMeter) {
  const std::vector<const float*> planes = drawPlanes(mSamples, 3, 64);
  std::vector<PowerMeter> bypassed(3);
  std::vector<PowerMeter> scalar(3);
  allowLanes(false);
  testing::internal::CaptureStderr();
  processTogether(bypassed, planes, 64);
  const std::string notice = "PX_NoVector set; Vector unit optimized routines will be bypassed\n";
  EXPECT_EQ(testing::internal::GetCapturedStderr(), notice + notice + notice);
  gPXVectorUnitType = 0;
  for (std::size_t i = 0; i < 3; ++i) {
    scalar[i].Process(planes[i], 1, 64);
    EXPECT_EQ(fieldsOf(bypassed[i]), fieldsOf(scalar[i]));
  }
}

TEST_F(LockstepMeterTest, TheHandlerMetersEachChannelOfItsList) {
  for (const int channels : {0, 1, 2, 9}) {
    MeterInputHandler handler(channels, 48000.0);
    std::vector<PowerMeter> single(static_cast<std::size_t>(channels));
    for (PowerMeter& meter : single) meter.SetSampleRate(48000.0);
    testing::internal::CaptureStdout();
    for (const int frames : {256, 256, 255, 0}) {
      const std::vector<const float*> planes = drawPlanes(mSamples, channels, frames);
      for (std::size_t i = 0; i < planes.size(); ++i) {
        handler.mBufferList[i] = {1, static_cast<std::uint32_t>(frames) * 4, const_cast<float*>(planes[i])};
        single[i].Process(planes[i], 1, frames);
      }
      handler.process(static_cast<std::uint32_t>(frames));
    }
    testing::internal::GetCapturedStdout();
    for (std::size_t i = 0; i < single.size(); ++i) EXPECT_EQ(fieldsOf(handler.mMeters[i]), fieldsOf(single[i]));
  }
}

}  // namespace
}  // namespace orvane::levels
