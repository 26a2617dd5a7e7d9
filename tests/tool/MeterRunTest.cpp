#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <random>

#include "tests/levels/SlowPowerMeter.h"
#include "tests/tool/Program.h"

namespace orvane::tests {
namespace {

/// A voice of a kind: bursts of noise of different loudness with pauses, one of them too loud, each channel its own.
Sound makeVoice(int rate, int channels, std::size_t frames) {
  Sound voice{.rate = rate, .channels = channels, .samples = {}};
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
std::string expectedBars(const Sound& sound, std::size_t slice, bool fourLanes) {
  const auto channels = static_cast<std::size_t>(sound.channels);
  std::vector<levels::SlowPowerMeter> meters(channels);
  for (auto& meter : meters) meter.setRate(sound.rate);
  std::string bars;
  const std::size_t frames = sound.samples.size() / channels;
  for (std::size_t first = 0, call = 0; first < frames; first += slice, ++call) {
    for (std::size_t channel = 0; channel < channels; ++channel) {
      std::vector<float> samples;
      for (std::size_t frame = first; frame < std::min(first + slice, frames); ++frame) {
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

struct Voice {
  int rate;
  int channels;
  std::size_t frames;
};

class MeterRun : public testing::TestWithParam<std::size_t> {
 protected:
  std::string simulate(const std::string& voice) const {
    return "mic=" + voice + ",pace=fast,slice=" + std::to_string(GetParam());
  }

  TemporaryFolder mFolder;
};

TEST_P(MeterRun, PrintsTheBarsOfAFileToTheByte) {
  for (const auto& [rate, channels, frames] : {Voice{48000, 1, 50'001}, Voice{44100, 2, 40'000}, Voice{8000, 3, 700}}) {
    const Sound sound = makeVoice(rate, channels, frames);
    const std::string voice = mFolder.path("voice.wav");
    writeSound(voice, sound);
    const Ended ended = runTool({"--simulate", simulate(voice), "meter"});
    EXPECT_EQ(ended.status, 0);
    EXPECT_EQ(ended.errors, "");
    EXPECT_EQ(ended.output, expectedBars(sound, GetParam(), true)) << channels << " channels at " << rate << " Hz";
  }
}

INSTANTIATE_TEST_SUITE_P(Slices, MeterRun, testing::Values(64, 100, 256, 441, 512), testing::PrintToStringParamName());

TEST(Meter, MetersWhatIsNoSoundWithoutHarm) {
  const TemporaryFolder folder;
  Sound sound = makeVoice(48000, 1, 48'000);
  sound.samples[5000] = std::numeric_limits<float>::infinity();
  sound.samples[20'000] = std::numeric_limits<float>::quiet_NaN();
  sound.samples[30'000] = 1e30F;
  writeSound(folder.path("odd.wav"), sound);
  const Ended ended = runTool({"--simulate", "pace=fast,mic=" + folder.path("odd.wav"), "meter"});
  EXPECT_EQ(ended.status, 0);
  EXPECT_EQ(ended.output, expectedBars(sound, 256, true));
}

TEST(Meter, LeavesTheVectorUnitAloneWhenToldTo) {
  const TemporaryFolder folder;
  const Sound sound = makeVoice(48000, 1, 4096);
  writeSound(folder.path("voice.wav"), sound);
  const Ended ended = runTool({"--simulate", "pace=fast,mic=" + folder.path("voice.wav"), "meter"}, {"PX_NoVector="});
  EXPECT_EQ(ended.output, expectedBars(sound, 256, false));
  std::string notices;
  for (int call = 0; call < 16; ++call) {
    notices += "PX_NoVector set; Vector unit optimized routines will be bypassed\n";
  }
  EXPECT_EQ(ended.errors, notices);
}

TEST(Meter, GoesOnInSilenceWhereSecondsAskForMoreThanTheFileHolds) {
  const TemporaryFolder folder;
  Sound sound = makeVoice(8000, 2, 3000);
  writeSound(folder.path("voice.wav"), sound);
  const Ended ended = runTool(
      {"--simulate", "pace=fast,slice=512,mic=" + folder.path("voice.wav"), "--json", "meter", "--seconds", "0.5"});
  sound.samples.resize(2 * 8 * 512, 0.0F);
  EXPECT_EQ(ended.output, expectedBars(sound, 512, true));
  EXPECT_EQ(
      ended.errors,
      R"({"command":"meter","host":"simulated","ended":"seconds","seconds":0.512,"frames":4096,)"
      R"("discontinuities":0,)"
      R"("hardware":{"input":{"sampleRate":8000.0,"channelCount":2,"interleaved":false,"commonFormat":"Float32"}},)"
      R"("client":{"input":{"sampleRate":8000.0,"channelCount":2,"interleaved":false,"commonFormat":"Float32"}}})"
      "\n");
}

TEST(Meter, TellsTheEndOfTheInput) {
  const TemporaryFolder folder;
  writeSound(folder.path("voice.wav"), makeVoice(44100, 3, 1000));
  const Ended ended = runTool({"meter", "--json", "--simulate", "pace=fast,mic=" + folder.path("voice.wav")});
  EXPECT_EQ(ended.status, 0);
  const std::string format =
      R"({"input":{"sampleRate":44100.0,"channelCount":3,"interleaved":false,"commonFormat":"Float32",)"
      R"("channelLayout":{"tag":65539,"bitmap":0,"numChannelDescs":3,)"
      R"("channelDescs":[{"label":1},{"label":2},{"label":3}]}}})";
  EXPECT_EQ(ended.errors,
            R"({"command":"meter","host":"simulated","ended":"input-ended","seconds":0.022675736961451247,)"
            R"("frames":1000,"discontinuities":0,"hardware":)" +
                format + R"(,"client":)" + format + "}\n");
}

}  // namespace
}  // namespace orvane::tests
