#include <gtest/gtest.h>

#include <cmath>

#include "iounit/SineWaveGenerator.h"
#include "tests/tool/Program.h"

namespace orvane::tests {
namespace {

struct Tone {
  double frequency = 261;
  double amplitude = 0.25;
  bool monotone = false;
};

/// The tone by its definition, slice for slice: two oscillators, the right one a fifth above unless they are to agree.
Sound expectedTone(const Tone& tone, int rate, std::size_t slice, std::size_t slices) {
  Sound sound{.rate = rate, .channels = 2, .samples = std::vector<float>(slice * slices * 2)};
  for (const int channel : {0, 1}) {
    SineWaveGenerator generator;
    generator.mFrequency = static_cast<float>(tone.frequency * (channel == 1 && !tone.monotone ? 1.5 : 1.0));
    generator.mAmplitude = static_cast<float>(tone.amplitude);
    generator.SetSampleRate(static_cast<float>(rate));
    for (std::size_t done = 0; done < slice * slices; done += slice) {
      generator.Render(&sound.samples[done * 2 + static_cast<std::size_t>(channel)], static_cast<unsigned>(slice), 1,
                       2);
    }
  }
  return sound;
}

class ToneRun : public testing::TestWithParam<std::size_t> {
 protected:
  /// Plays with these options, and gives what was heard.
  Sound play(const Arguments& options, int rate) {
    const std::string simulate =
        "pace=fast,speaker=" + mFile + ",rate=" + std::to_string(rate) + ",slice=" + std::to_string(GetParam());
    Arguments arguments{"--simulate", simulate, "tone"};
    arguments.insert(arguments.end(), options.begin(), options.end());
    const Ended ended = runTool(arguments);
    EXPECT_EQ(ended.status, 0);
    EXPECT_EQ(ended.output + ended.errors, "");
    return readSound(mFile);
  }

  TemporaryFolder mFolder;
  std::string mFile = mFolder.path("tone.wav");
};

TEST_P(ToneRun, WritesTheOscillatorsSamplesToTheBit) {
  const std::size_t slices = (24'000 + GetParam() - 1) / GetParam();
  EXPECT_EQ(play({"--seconds", "0.5"}, 48000), expectedTone({}, 48000, GetParam(), slices));
  EXPECT_EQ(play({"--seconds", "0.5", "--frequency", "16000", "--amplitude", "1"}, 48000),
            expectedTone({.frequency = 16000, .amplitude = 1}, 48000, GetParam(), slices));
  EXPECT_EQ(play({"--seconds", "1", "--frequency", "12000", "--monotone", "--client-rate", "24000"}, 24000),
            expectedTone({.frequency = 12000, .monotone = true}, 24000, GetParam(), slices));
}

INSTANTIATE_TEST_SUITE_P(Slices, ToneRun, testing::Values(1, 100, 256, 441, 8192), testing::PrintToStringParamName());

TEST(Tone, IsTheSameToneAtAClientRateOfItsOwn) {
  const TemporaryFolder folder;
  for (const char* rate : {"44100", "8000", "96000"}) {
    const Ended ended = runTool({"--simulate", "pace=fast,slice=480,speaker=" + folder.path("tone.wav"), "tone",
                                 "--frequency", "1000", "--seconds", "1", "--client-rate", rate});
    EXPECT_EQ(ended.status, 0) << ended.errors;
    const Sound sound = readSound(folder.path("tone.wav"));
    ASSERT_EQ(sound.samples.size(), 2 * 48'000U);
    for (const std::size_t channel : {0U, 1U}) {
      int periods = 0;
      for (std::size_t i = channel + 2; i < sound.samples.size(); i += 2) {
        if (sound.samples[i - 2] < 0 && sound.samples[i] >= 0) ++periods;
        // A little more where the tone begins, which no filter follows without ringing.
        EXPECT_LT(std::abs(sound.samples[i]), i < 1000 ? 0.3F : 0.251F) << i;
      }
      EXPECT_NEAR(periods, channel == 0 ? 1000 : 1500, 4) << rate;
    }
  }
}

TEST(Tone, EndsWithTheFirstWholeSliceThatFillsTheSeconds) {
  struct Case {
    std::string seconds;
    std::string device;
    std::string frames;
  };
  for (const auto& [seconds, device, frames] : {
           Case{"1", "rate=48000,slice=256", "48128"},
           Case{"1", "rate=48000,slice=480", "48000"},
           Case{"0.000001", "rate=48000,slice=480", "480"},
           // 1.1 is no binary fraction, and 1.1 * 44100 is a little above 48510 in double precision.
           Case{"1.1", "rate=44100,slice=10", "48510"},
           Case{"1.1000001", "rate=44100,slice=10", "48520"},
           Case{"2.5e-1", "rate=8000,slice=64", "2048"},
       }) {
    const Ended ended =
        runTool({"tone", "--monotone", "--seconds", seconds, "--json", "--simulate", "pace=fast," + device});
    EXPECT_EQ(ended.status, 0);
    EXPECT_NE(ended.output.find("\"frames\":" + frames + ","), std::string::npos)
        << seconds << " s, " << device << ": " << ended.output;
  }
}

TEST(Tone, ReportsItsRun) {
  const Ended ended = runTool({"tone", "--seconds", "1", "--json", "--simulate", "pace=fast,outputs=1,slice=480"});
  EXPECT_EQ(ended.errors, "");
  EXPECT_EQ(
      ended.output,
      R"({"command":"tone","host":"simulated","ended":"seconds","seconds":1.0,"frames":48000,)"
      R"("discontinuities":0,)"
      R"("hardware":{"output":{"sampleRate":48000.0,"channelCount":1,"interleaved":false,"commonFormat":"Float32"}},)"
      R"("client":{"output":{"sampleRate":48000.0,"channelCount":2,"interleaved":false,"commonFormat":"Float32"}}})"
      "\n");
}

TEST(Tone, IsTheSameAtEveryRun) {
  // All at once, so that they disturb each other where anything lets them.
  const TemporaryFolder folder;
  std::vector<std::unique_ptr<Program>> programs;
  for (const char* name : {"1.wav", "2.wav", "3.wav", "4.wav"}) {
    programs.push_back(std::make_unique<Program>(
        ORVANE_TOOL,
        Arguments{"--simulate", "pace=fast,mic=loop,speaker=" + folder.path(name), "tone", "--seconds", "3"}));
  }
  for (const auto& program : programs) EXPECT_EQ(program->finish().status, 0);
  const std::string first = readFile(folder.path("1.wav"));
  EXPECT_GT(first.size(), 1'000'000U);
  for (const char* name : {"2.wav", "3.wav", "4.wav"}) EXPECT_TRUE(readFile(folder.path(name)) == first) << name;
}

}  // namespace
}  // namespace orvane::tests
