#include <array>
#include <limits>
#include <random>

#include "tests/levels/SlowPowerMeter.h"
#include "tests/tool/Program.h"

namespace orvane::test {
namespace {

/// A voice of a kind: bursts of noise of different loudness with pauses, one of them too loud, each channel its own.
Sound makeVoice(int rate, int channels, std::size_t frames) {
  Sound voice{rate, channels, {}};
  std::mt19937 random(20);
  for (std::size_t frame = 0; frame < frames; ++frame) {
    for (int channel = 0; channel < channels; ++channel) {
      const std::size_t burst = (frame + static_cast<std::size_t>(channel) * 3000) / 4000;
      const float loudness = std::array{0.8F, 0.0F, 0.05F, 1.7F, 0.3F}[burst % 5];
      const auto whole = static_cast<float>(static_cast<std::int64_t>(random() >> 8) - (1 << 23));
      voice.samples.push_back(whole / static_cast<float>(1 << 23) * loudness);
    }
  }
  return voice;
}

/// What the meter is to print for slices of `slice` frames; the last one is what is left.
std::string expectedBars(const Sound& sound, std::size_t slice, bool fourLanes = true) {
  const auto channels = static_cast<std::size_t>(sound.channels);
  std::vector<levels::SlowPowerMeter> meters(channels);
  for (auto& meter : meters) meter.setRate(sound.rate);
  std::string bars;
  for (std::size_t first = 0, call = 0; first < sound.frames(); first += slice, ++call) {
    for (std::size_t channel = 0; channel < channels; ++channel) {
      std::vector<float> samples;
      for (std::size_t frame = first; frame < std::min(first + slice, sound.frames()); ++frame) {
        samples.push_back(sound.samples[frame * channels + channel]);
      }
      meters[channel].floats(samples, fourLanes);
      if (call % 8 != 0) continue;
      const auto stars = static_cast<std::size_t>(std::min(meters[channel].mAverageLevel * 40, 40.0));
      bars += std::string(stars, '*') + std::string(40 - stars, ' ') + (channel + 1 == channels ? "\r" : "  ");
    }
  }
  return bars;
}

class MeterRun : public testing::Test {
 protected:
  /// A device that hears this sound.
  std::string hearing(const Sound& sound) const {
    writeSound(mFolder.file("voice.wav"), sound);
    return "mic=" + mFolder.file("voice.wav");
  }

  const TemporaryFolder mFolder;
};

TEST_F(MeterRun, PrintsTheBarsOfAFileToTheByte) {
  Sound odd = makeVoice(48000, 1, 48'000);
  odd.samples[5000] = std::numeric_limits<float>::infinity();
  odd.samples[20'000] = std::numeric_limits<float>::quiet_NaN();
  odd.samples[30'000] = 1e30F;
  for (const Sound& sound : {odd, makeVoice(44100, 2, 40'001), makeVoice(8000, 3, 700)}) {
    const std::string device = hearing(sound);
    for (const std::size_t slice : {64U, 100U, 256U, 441U, 512U}) {
      const Ended ended = runFast(device + ",slice=" + std::to_string(slice), "meter");
      EXPECT_EQ(ended.status, 0);
      EXPECT_EQ(ended.errors, "");
      EXPECT_EQ(ended.output, expectedBars(sound, slice)) << sound.channels << " channels, slices of " << slice;
    }
  }
}

TEST_F(MeterRun, LeavesTheVectorUnitAloneWhenToldTo) {
  const Sound sound = makeVoice(48000, 1, 4096);
  const Ended ended = run("env PX_NoVector= " ORVANE_TOOL " --simulate pace=fast," + hearing(sound) + " meter");
  EXPECT_EQ(ended.output, expectedBars(sound, 256, false));
  const std::string notice = "PX_NoVector set; Vector unit optimized routines will be bypassed\n";
  EXPECT_EQ(ended.errors.size(), 16 * notice.size());
  EXPECT_TRUE(ended.errors.starts_with(notice));
}

TEST_F(MeterRun, ReportsTheEndOfTheInputOrGoesOnInSilenceForTheSeconds) {
  Sound sound = makeVoice(8000, 3, 3000);
  const std::string device = hearing(sound) + ",slice=512";
  const std::string format = "{\"input\":" +
                             formatJson(8000, 3,
                                        R"(,"channelLayout":{"tag":65539,"bitmap":0,"numChannelDescs":3,)"
                                        R"("channelDescs":[{"label":1},{"label":2},{"label":3}]})") +
                             "}";
  const auto report = [&format](const std::string& end) {
    return R"({"command":"meter","host":"simulated","ended":)" + end +
           R"(,"discontinuities":0,"overruns":0,"hardware":)" + format + ",\"client\":" + format + "}\n";
  };
  EXPECT_EQ(runFast(device, "meter --json").errors, report(R"("input-ended","seconds":0.375,"frames":3000)"));
  const Ended ended = runFast(device, "meter --json --seconds 0.5");
  EXPECT_EQ(ended.errors, report(R"("seconds","seconds":0.512,"frames":4096)"));
  sound.samples.resize(3 * 4096, 0.0F);
  EXPECT_EQ(ended.output, expectedBars(sound, 512));
}

}  // namespace
}  // namespace orvane::test
