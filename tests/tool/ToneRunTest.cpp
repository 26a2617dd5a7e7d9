#include "iounit/SineWaveGenerator.h"
#include "tests/tool/Program.h"

namespace orvane::test {
namespace {

TEST(Tone, WritesTheOscillatorsSamplesToTheBit) {
  struct Case {
    std::string options;
    int rate;
    float left;
    float right;
    float amplitude;
  };
  const TemporaryFolder folder;
  const std::string file = folder.file("tone.wav");
  // The right oscillator sounds a fifth above the left one, unless they are to agree.
  const Case cases[] = {
      {"", 48000, 261, 391.5F, 0.25F},
      {"--frequency 16000 --amplitude 1", 48000, 16000, 24000, 1},
      {"--frequency 12000 --monotone --client-rate 24000", 24000, 12000, 12000, 0.25F},
  };
  for (const auto& [options, rate, left, right, amplitude] : cases) {
    for (const std::uint32_t slice : {1U, 100U, 256U, 441U, 8192U}) {
      const std::uint32_t frames = (static_cast<std::uint32_t>(rate) / 4 + slice - 1) / slice * slice;
      std::vector<float> expected(2 * frames);
      for (const std::size_t channel : {0U, 1U}) {
        SineWaveGenerator generator;
        generator.mFrequency = channel == 0 ? left : right;
        generator.mAmplitude = amplitude;
        generator.SetSampleRate(static_cast<float>(rate));
        for (std::size_t done = 0; done < frames; done += slice) {
          generator.Render(&expected[2 * done + channel], slice, 1, 2);
        }
      }
      const std::string device =
          "speaker=" + file + ",rate=" + std::to_string(rate) + ",slice=" + std::to_string(slice);
      EXPECT_EQ(runFast(device, "tone --seconds 0.25 " + options).errors, "");
      EXPECT_TRUE(readSound(file).samples == expected) << device;
    }
  }
}

TEST(Tone, EndsWithTheFirstWholeSliceThatFillsTheSeconds) {
  const std::array<std::string, 3> cases[] = {
      {"1", "rate=48000,slice=256", "48128"},
      {"0.000001", "rate=48000,slice=480", "480"},
      // 1.1 is no binary fraction, and 1.1 * 44100 is a little above 48510 in double precision.
      {"1.1", "rate=44100,slice=10", "48510"},
      {"1.1000001", "rate=44100,slice=10", "48520"},
      {"2.5e-1", "rate=8000,slice=64", "2048"},
  };
  for (const auto& [seconds, device, frames] : cases) {
    const Ended ended = runFast(device, "tone --monotone --json --seconds " + seconds);
    EXPECT_THAT(ended.output, testing::HasSubstr("\"frames\":" + frames + ",")) << seconds << " s, " << device;
  }
}

TEST(Tone, ReportsItsRun) {
  EXPECT_EQ(runFast("outputs=1,slice=480", "tone --seconds 1 --json --client-rate 44100").output,
            R"({"command":"tone","host":"simulated","ended":"seconds","seconds":1.0,"frames":48000,)"
            R"("discontinuities":0,"overruns":0,"hardware":{"output":)" +
                formatJson(48000, 1) + R"(},"client":{"output":)" + formatJson(44100, 2) + "}}\n");
}

TEST(Tone, IsTheSameAtEveryRun) {
  // All at once, so that they disturb each other where anything lets them.
  const TemporaryFolder folder;
  std::vector<std::unique_ptr<Program>> programs;
  const auto speaker = [&folder](int number) { return folder.file(std::to_string(number)); };
  for (const int number : {0, 1, 2, 3}) {
    const std::string device = "pace=fast,mic=loop,speaker=" + speaker(number);
    programs.push_back(std::make_unique<Program>(ORVANE_TOOL " tone --seconds 3 --simulate " + device));
  }
  for (const auto& program : programs) EXPECT_EQ(program->finish().status, 0);
  EXPECT_GT(readFile(speaker(0)).size(), 1'000'000U);
  for (const int number : {1, 2, 3}) EXPECT_TRUE(readFile(speaker(number)) == readFile(speaker(0))) << number;
}

}  // namespace
}  // namespace orvane::test
