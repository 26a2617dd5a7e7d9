#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>

#include "tests/tool/Program.h"

namespace orvane::tests {
namespace {

TEST(Examples, MeterShowsFiveSecondsOfBars) {
  const Ended ended = run(ORVANE_EXAMPLE_METER, {"mic=tone:440:0.5,pace=fast"});
  EXPECT_EQ(ended.status, 0);
  EXPECT_EQ(ended.errors, "");
  // 938 slices of 256 frames fill five seconds; every eighth prints. A sine's average level is its amplitude.
  EXPECT_EQ(ended.output.size(), 118U * 41);
  EXPECT_EQ(std::count(ended.output.end() - 41, ended.output.end(), '*'), 20);
}

TEST(Examples, TonePlaysTwoSeconds) {
  const TemporaryFolder folder;
  const Ended ended = run(ORVANE_EXAMPLE_TONE, {"pace=fast,speaker=" + folder.path("tone.wav")});
  EXPECT_EQ(ended.status, 0);
  EXPECT_EQ(ended.errors, "");
  const Sound sound = readSound(folder.path("tone.wav"));
  ASSERT_EQ(sound.samples.size(), 2 * 96'000U);
  int periods = 0;
  for (std::size_t frame = 1; frame < sound.samples.size() / 2; ++frame) {
    EXPECT_EQ(sound.samples[2 * frame], sound.samples[2 * frame + 1]);
    if (sound.samples[2 * frame - 2] < 0 && sound.samples[2 * frame] >= 0) ++periods;
  }
  EXPECT_NEAR(periods, 880, 1);
}

TEST(Examples, SayWhyTheyFail) {
  const Ended ended = run(ORVANE_EXAMPLE_TONE, {"pace=slow"});
  EXPECT_EQ(ended.status, 1);
  EXPECT_NE(ended.errors.find("pace"), std::string::npos) << ended.errors;
}

TEST(Examples, AreWhatTheReadMeShows) {
  const std::string readMe = readFile(ORVANE_SOURCE_FOLDER "/README.md");
  const std::string tone = readFile(ORVANE_SOURCE_FOLDER "/examples/tone.cpp");
  ASSERT_FALSE(tone.empty());
  EXPECT_NE(readMe.find("```cpp\n" + tone + "```\n"), std::string::npos);
}

}  // namespace
}  // namespace orvane::tests
