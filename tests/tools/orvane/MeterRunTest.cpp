// SPDX-License-Identifier: MIT
#include "tests/iounit/dsp/SlowPowerMeter.h"
#include "tests/tools/orvane/Voice.h"

namespace orvane::test {
namespace {

/// Returns the expected output of the meter for slices of `slice` frames. The last slice has the remaining frames.
std::string expectedBars(const Sound& sound, std::size_t slice, bool fourLanes = true) {
  const auto channels = static_cast<std::size_t>(sound.channels);
  std::vector<SlowPowerMeter> meters(channels);
  for (auto& meter : meters) meter.setRate(sound.rate);
  std::string bars;
  for (std::size_t first = 0, call = 0; first < sound.frames(); first += slice, ++call) {
    for (std::size_t channel = 0; channel < channels; ++channel) {
      std::vector<float> samples;
      for (std::size_t frame = first; frame < std::min(first + slice, sound.frames()); ++frame)
        samples.push_back(sound.samples[frame * channels + channel]);
      meters[channel].floats(samples, fourLanes);
      if (call % 8 != 0) continue;
      const auto stars = static_cast<std::size_t>(std::min(meters[channel].mAverageLevel * 40, 40.0));
      bars += std::string(stars, '*') + std::string(40 - stars, ' ') + (channel + 1 == channels ? "\r" : "  ");
    }
  }
  return bars;
}

using MeterRun = ToolRun;

TEST_F(MeterRun, PrintsTheBarsOfAFileToTheByte) {
  for (const Sound& sound : {makeVoice(48000, 1), makeVoice(44100, 2), makeVoice(8000, 3)}) {
    const std::string device = hearing(sound);
    for (const std::size_t slice : {64U, 100U, 256U, 441U, 512U}) {
      EXPECT_EQ(runFast(device + ",slice=" + std::to_string(slice), "meter"), (Ended{0, expectedBars(sound, slice)}))
          << sound.channels << " channels, slices of " << slice;
    }
  }
}

TEST_F(MeterRun, LeavesTheVectorUnitAloneWhenToldTo) {
  Sound sound = makeVoice(48000, 2);
  sound.samples.resize(2 * 4096);
  const Ended ended = run("env PX_NoVector= " ORVANE_TOOL " --simulate pace=fast," + hearing(sound) + " meter");
  std::string notices;
  for (int slice = 0; slice < 2 * 16; ++slice)
    notices += "PX_NoVector set; Vector unit optimized routines will be bypassed\n";
  EXPECT_EQ(ended, (Ended{0, expectedBars(sound, 256, false), notices}));
}

TEST_F(MeterRun, ReportsTheEndOfTheInputOrGoesOnInSilenceForTheSeconds) {
  Sound sound = makeVoice(8000, 3);
  sound.samples.resize(3 * 3000);
  const std::string device = hearing(sound) + ",slice=512";
  const std::string format = "{\"input\":" +
                             formatJson(8000, 3,
                                        R"(,"channelLayout":{"tag":65539,"bitmap":0,"numChannelDescs":3,)"
                                        R"("channelDescs":[{"label":1},{"label":2},{"label":3}]})") +
                             "}";
  const auto report = [&format](const std::string& end) {
    return R"({"command":"meter","host":"simulated","ended":)" + end +
           R"(,"slice":512,"discontinuities":0,"overruns":0,"hardware":)" + format + ",\"client\":" + format + "}\n";
  };
  EXPECT_EQ(runFast(device, "meter --json").errors, report(R"("input-ended","seconds":0.375,"frames":3000)"));
  sound.samples.resize(3 * 4000, 0.0F);
  EXPECT_EQ(runFast(device, "meter --json --seconds 0.5"),
            (Ended{0, expectedBars(sound, 512), report(R"("seconds","seconds":0.5,"frames":4000)")}));
}

}  // namespace
}  // namespace orvane::test
