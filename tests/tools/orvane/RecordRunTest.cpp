// SPDX-License-Identifier: MIT
#include "tests/tools/orvane/Voice.h"

namespace orvane::test {
namespace {

std::string bytesOf(const std::vector<float>& samples) {
  return {reinterpret_cast<const char*>(samples.data()), samples.size() * sizeof(float)};
}

class RecordRun : public ToolRun {
 protected:
  /// Runs `orvane playthru` and returns the samples that the speaker played.
  std::vector<float> played(const std::string& device, const std::string& options = {}) {
    EXPECT_EQ(runFast("speaker=" + mTake + "," + device, "playthru " + options).status, 0);
    return readSound(mTake).samples;
  }
};

TEST_F(RecordRun, KeepsEverySampleAtEverySliceLength) {
  const std::tuple<int, int, std::vector<std::string>> rows[] = {{44100, 1, {"256", "441", "8192"}},
                                                                 {48000, 2, {"100", "256", "8191"}},
                                                                 {8000, 3, {"1", "100", "8192"}},
                                                                 {96000, 8, {"1", "256"}}};
  for (const auto& [rate, channels, slices] : rows) {
    const Sound sound = makeVoice(rate, channels);
    const std::string device = hearing(sound);
    for (const std::string& slice : slices) {
      SCOPED_TRACE(std::to_string(channels) + " channels, slices of " + slice);
      std::ofstream(mTake) << std::string(200'000, 'x');
      EXPECT_EQ(runFast(device + ",slice=" + slice, "record " + mTake).status, 0);
      EXPECT_TRUE(run("sox " + mTake + " -t raw -").output == encoded(sound));
    }
    EXPECT_EQ(framesOfWholeFile(mTake), std::to_string(sound.frames()));
    EXPECT_EQ(run("soxi -r " + mTake).output, std::to_string(rate) + "\n");
  }
}

TEST_F(RecordRun, SaysWhatItWrote) {
  const std::string arguments = "record " + mTake + " --seconds 0.5";
  const std::string device = "rate=32000,slice=100";
  EXPECT_EQ(runFast(device, arguments).errors, "orvane: wrote 16000 frames (0.5 s) to " + mTake + "\n");
  const std::string report =
      R"({"command":"record","host":"simulated","ended":"seconds","seconds":0.5,"frames":16000,"slice":100,)"
      R"("discontinuities":0,"overruns":0,"hardware":{"input":)" +
      formatJson(32000, 1) + R"(},"client":{"input":)" + formatJson(16000, 1) + R"(},"file":{"path":")" + mTake +
      R"(","type":"WAVE","frames":8000}})";
  EXPECT_EQ(runFast(device, arguments + " --json --client-rate 16000"), (Ended{0, report + "\n"}));
  EXPECT_EQ(framesOfWholeFile(mTake), "8000");
  EXPECT_EQ(readSound(mTake).rate, 16000);
}

TEST_F(RecordRun, WarnsThatTheContainerIsNotThatOfTheExtension) {
  for (const std::string end : {".flac", ".MP3", ".aif", ".w64", ".wav", ".Wave", ".rf64", "", ".2024", ".d/take"}) {
    std::filesystem::create_directory(mTake + ".d");
    const std::string file = mTake + end;
    const bool warns = end == ".flac" || end == ".MP3" || end == ".aif" || end == ".w64" || end == ".rf64";
    const std::string warning = "orvane: " + file + " is written as WAVE, whatever its extension\n";
    EXPECT_EQ(runFast("", "record --json --seconds 0.01 " + file).errors, warns ? warning : "");
  }
}

TEST_F(RecordRun, FailsWhereThereIsNoRoomAndKeepsWhatItHas) {
  for (const std::size_t room : {100'000U, 100'003U, 100'005U}) {
    const Ended ended = run("prlimit --fsize=" + std::to_string(room) + " " ORVANE_TOOL +
                            " --simulate pace=fast,mic=noise,inputs=7 record --seconds 3 " + mTake);
    EXPECT_EQ(ended.status, 1);
    EXPECT_THAT(ended.errors, EndsWith("orvane: writing failed: \"" + mTake + "\": File too large\n"));
    EXPECT_EQ(readFile(mTake).size(), 80 + (room - 80) / 14 * 14) << "whole frames behind a header of 80 bytes";
    EXPECT_THAT(ended.errors, HasSubstr("wrote " + framesOfWholeFile(mTake) + " frames"));
  }
  // Messages show terminal control characters as \xNN. The JSON object has the unchanged characters, with JSON's own
  // escapes.
  const std::string limited =
      "prlimit --fsize=9999 " ORVANE_TOOL " --json meter --seconds 1 --simulate pace=fast,speaker='";
  const std::string errors = run(limited + mFolder.file("\x7F\x1B[7m\xC2\x9B'")).errors, reason = "\": File too large";
  EXPECT_THAT(errors, HasSubstr(mFolder.file("\\x7F\\x1B[7m\xC2\\x9B") + reason));
  EXPECT_THAT(errors, HasSubstr(mFolder.file("\x7F\\u001b[7m\xC2\x9B") + "\\" + reason));
}

TEST_F(RecordRun, FailsWhereTheDiskIsSoSlowThatSlicesAreLost) {
  const Ended ended = run("env LD_PRELOAD=" ORVANE_SLOW_DISK " " ORVANE_TOOL " --simulate mic=noise --json record " +
                          mTake + " --seconds 2.6");
  EXPECT_EQ(ended.status, 1);
  EXPECT_THAT(ended.errors,
              MatchesRegex("orvane: [0-9]+ slices are missing in the written file: the disk is too slow\n"));
  const int lost = std::stoi(ended.errors.substr(8));
  EXPECT_THAT(ended.output, AllOf(HasSubstr(R"("overruns":)" + std::to_string(lost) + ","),
                                  HasSubstr(R"("status":-11,"cause":"overrun",)")));
  EXPECT_EQ(std::stoi(framesOfWholeFile(mTake)), (488 - lost) * 256);
}

TEST_F(RecordRun, PlaythruPlaysWhatTheMicrophoneHearsToTheBit) {
  const Sound voice = makeVoice(44100, 2);
  const std::string device = hearing(voice);
  for (const std::string slice : {"17", "64", "441", "1003", "8192"})
    EXPECT_TRUE(bytesOf(played(device + ",slice=" + slice)) == bytesOf(voice.samples)) << slice;
  const std::string format = formatJson(44100, 2);
  EXPECT_THAT(runFast(device, "playthru --json").output,
              HasSubstr(R"("client":{"input":)" + format + R"(,"output":)" + format + "},\"latencyFrames\":0}\n"));
}

TEST_F(RecordRun, MadeMicrophonesAreWhatTheySay) {
  const auto heard = [this](const std::string& microphone) {
    return played("rate=10000,slice=100,inputs=2,mic=" + microphone, "--seconds 0.1");
  };
  const std::vector<float> tone = heard("tone:1234:0.25");
  ASSERT_EQ(tone.size(), 2000U);
  for (std::size_t frame = 0; frame < 1000; ++frame) {
    EXPECT_NEAR(tone[2 * frame], 0.25 * std::sin(2 * M_PI * 1234 * static_cast<double>(frame) / 10000), 1e-7);
    EXPECT_EQ(tone[2 * frame], tone[2 * frame + 1]);
  }
  EXPECT_EQ(heard("silence"), std::vector<float>(2000, 0.0F));
  const std::vector<float> noise = heard("noise:3");
  EXPECT_EQ(noise, heard("noise:3"));
  EXPECT_NE(noise, heard("noise"));
  EXPECT_EQ(heard("noise"), heard("noise:0"));
  const auto [least, most] = std::ranges::minmax(noise);
  EXPECT_TRUE(least >= -1 && least < -0.99 && most < 1 && most > 0.99);
}

}  // namespace
}  // namespace orvane::test
