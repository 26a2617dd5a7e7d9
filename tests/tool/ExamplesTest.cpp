#include <gmock/gmock.h>

#include "tests/tool/Program.h"

namespace orvane::test {
namespace {

TEST(Examples, DoWhatTheToolDoes) {
  const std::string microphone = "mic=tone:440:0.5";
  const Ended meter = run(ORVANE_EXAMPLE_METER " pace=fast," + microphone);
  EXPECT_EQ(meter.status, 0);
  EXPECT_EQ(meter.output.size(), 118U * 41) << "every eighth of 938 slices";
  EXPECT_EQ(meter.output, runFast(microphone, "meter --seconds 5").output);

  const TemporaryFolder folder;
  const std::string speakers[] = {"speaker=" + folder.file("example.wav"), "speaker=" + folder.file("tool.wav")};
  EXPECT_EQ(run(ORVANE_EXAMPLE_TONE " pace=fast," + speakers[0]).status, 0);
  EXPECT_EQ(runFast(speakers[1], "tone --frequency 440 --monotone --seconds 2").status, 0);
  EXPECT_EQ(framesOfWholeFile(folder.file("example.wav")), "96000");
  EXPECT_TRUE(readFile(folder.file("example.wav")) == readFile(folder.file("tool.wav")));
}

TEST(Examples, AreWhatTheReadMeShows) {
  const std::string tone = readFile(ORVANE_SOURCE_FOLDER "/examples/tone.cpp");
  ASSERT_FALSE(tone.empty());
  EXPECT_THAT(readFile(ORVANE_SOURCE_FOLDER "/README.md"), testing::HasSubstr("```cpp\n" + tone + "```\n"));
}

}  // namespace
}  // namespace orvane::test
