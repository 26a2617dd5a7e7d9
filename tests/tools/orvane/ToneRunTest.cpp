// SPDX-License-Identifier: MIT
#include "iounit/dsp/SineWaveGenerator.h"
#include "tests/tools/orvane/Program.h"

namespace orvane::test {
namespace {

TEST(Tone, WritesTheOscillatorsSamplesToTheBit) {
  const TemporaryFolder folder;
  const std::string file = folder.file("tone.wav");
  // The right channel sounds a fifth (1.5 times the frequency) above the left one, unless both are set to the same
  // frequency.
  const std::tuple<std::string, std::uint32_t, float, float, float> cases[] = {
      {"", 48000, 261, 391.5F, 0.25F},
      {"--frequency 16000 --amplitude 1", 48000, 16000, 24000, 1},
      {"--frequency 12000 --monotone --client-rate 24000", 24000, 12000, 12000, 0.25F}};
  for (const auto& [options, rate, left, right, amplitude] : cases) {
    for (const std::uint32_t slice : {1U, 100U, 256U, 441U, 8192U}) {
      const std::uint32_t frames = rate / 4;
      std::vector<float> expected(2 * frames);
      for (const std::size_t channel : {0U, 1U}) {
        SineWaveGenerator generator;
        generator.mFrequency = channel == 0 ? left : right;
        generator.mAmplitude = amplitude;
        generator.SetSampleRate(static_cast<float>(rate));
        for (std::uint32_t at = 0; at < frames; at += slice)
          generator.Render(&expected[2 * std::size_t{at} + channel], std::min(slice, frames - at), 1, 2);
      }
      const std::string device =
          "speaker=" + file + ",rate=" + std::to_string(rate) + ",slice=" + std::to_string(slice);
      EXPECT_EQ(runFast(device, "tone --seconds 0.25 " + options), Ended{0});
      EXPECT_TRUE(readSound(file).samples == expected) << device;
    }
  }
}

TEST(Tone, LastsExactlyTheFramesOfTheSeconds) {
  const std::array<std::string, 3> cases[] = {
      {"0.000001", "rate=48000,slice=480", "1"},
      // 1.1 has no exact binary representation, so 1.1 * 44100 is slightly above 48510 in double precision.
      {"1.1", "rate=44100,slice=10", "48510"},
      {"1.1000001", "rate=44100,slice=10", "48511"},
      {"2.5e-1", "rate=8000,slice=64", "2000"}};
  for (const auto& [seconds, device, frames] : cases) {
    EXPECT_THAT(runFast(device, "tone --monotone --json --seconds " + seconds).output,
                HasSubstr("\"frames\":" + frames + ","));
  }
  EXPECT_THAT(runFast("", "tone --client-rate 44100 --seconds 0.1 --json").output,
              HasSubstr(R"("client":{"output":)" + formatJson(44100, 2)));
}

}  // namespace
}  // namespace orvane::test
