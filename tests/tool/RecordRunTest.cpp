#include <gmock/gmock.h>
#include <sys/mount.h>

#include <cmath>
#include <cstring>
#include <fstream>
#include <random>

#include "tests/support/SoundFiles.h"
#include "tests/tool/Program.h"

namespace orvane::test {
namespace {

using testing::EndsWith;
using testing::HasSubstr;

Sound makeNoise(int rate, int channels, std::size_t frames) {
  Sound sound{rate, channels, std::vector<float>(frames * static_cast<std::size_t>(channels))};
  std::mt19937 random(7);
  for (float& sample : sound.samples) sample = std::uniform_real_distribution<float>(-1.1F, 1.1F)(random);
  return sound;
}

/// What a recording of the sound holds: little-endian 16-bit samples.
std::string encoded(const Sound& sound) {
  std::string bytes;
  for (const float sample : sound.samples) {
    const auto step = std::lrint(std::clamp(sample * 32768.0, -32768.0, 32767.0));
    bytes += {static_cast<char>(step & 0xFF), static_cast<char>(step >> 8 & 0xFF)};
  }
  return bytes;
}

class RecordRun : public testing::Test {
 protected:
  const TemporaryFolder mFolder;
  const std::string mVoice = mFolder.file("voice.wav");
  const std::string mTake = mFolder.file("take.wav");
};

TEST_F(RecordRun, KeepsEverySampleAtEverySliceLength) {
  for (const Sound& sound : {makeNoise(48000, 2, 30'001), makeNoise(44100, 1, 12'345), makeNoise(8000, 3, 700)}) {
    writeSound(mVoice, sound);
    for (const std::string slice : {"1", "100", "256", "8192"}) {
      std::ofstream(mTake) << std::string(200'000, 'x');
      const Ended ended = runFast("mic=" + mVoice + ",slice=" + slice, "record " + mTake);
      EXPECT_EQ(ended.status, 0) << ended.errors;
      EXPECT_EQ(ended.output, "");
      EXPECT_TRUE(run("sox " + mTake + " -t raw -").output == encoded(sound)) << slice;
    }
    EXPECT_EQ(framesOfWholeFile(mTake), std::to_string(sound.frames()));
    EXPECT_EQ(readSound(mTake).rate, sound.rate);
    EXPECT_EQ(readSound(mTake).channels, sound.channels);
  }
}

TEST_F(RecordRun, SaysWhatItWrote) {
  const std::string arguments = "record " + mTake + " --seconds 0.5";
  const std::string device = "rate=32000,slice=100";
  EXPECT_EQ(runFast(device, arguments).errors, "orvane: wrote 16000 frames (0.5 s) to " + mTake + "\n");
  const Ended ended = runFast(device, arguments + " --json --client-rate 16000");
  EXPECT_EQ(ended.errors, "");
  EXPECT_EQ(ended.output, R"({"command":"record","host":"simulated","ended":"seconds","seconds":0.5,"frames":16000,)"
                          R"("discontinuities":0,"hardware":{"input":)" +
                              formatJson(32000, 1) + R"(},"client":{"input":)" + formatJson(16000, 1) +
                              R"(},"file":{"path":")" + mTake + R"(","type":"RF64","frames":8000}})" + "\n");
  EXPECT_EQ(framesOfWholeFile(mTake), "8000");
  EXPECT_EQ(readSound(mTake).rate, 16000);
}

TEST_F(RecordRun, FailsWhereThereIsNoRoomAndKeepsWhatItHas) {
  const std::string record = ORVANE_TOOL " --simulate pace=fast,mic=noise,inputs=7 record " + mTake + " --seconds 3";
  const auto expectCutShort = [&](const std::string& command, const std::string& reason, double room) {
    const Ended ended = run(command);
    EXPECT_EQ(ended.status, 1);
    EXPECT_THAT(ended.errors, EndsWith("orvane: writing failed" + reason + "\n"));
    EXPECT_NEAR(static_cast<double>(readFile(mTake).size()), room, 16);
    EXPECT_THAT(ended.errors, HasSubstr("wrote " + framesOfWholeFile(mTake) + " frames"));
  };
  expectCutShort("bash -c 'ulimit -f 101; exec " + record + "'", ": \"" + mTake + "\": File too large", 101 << 10);
  if (mount("tmpfs", mFolder.path().c_str(), "tmpfs", 0, "size=256k") != 0) {
    GTEST_SKIP() << "a small disk cannot be mounted here: " << std::strerror(errno);
  }
  expectCutShort(record, ", disk full: \"" + mTake + "\": No space left on device", 256 << 10);
  umount(mFolder.path().c_str());
}

TEST_F(RecordRun, PlaythruPlaysWhatTheMicrophoneHears) {
  const Sound voice = makeNoise(44100, 2, 5000);
  Sound mono{44100, 1, {}};
  for (std::size_t i = 0; i < voice.samples.size(); i += 2) {
    mono.samples.push_back((voice.samples[i] + voice.samples[i + 1]) * 0.5F);
  }
  writeSound(mVoice, voice);
  for (const auto& played : {voice, mono}) {
    const std::string format = formatJson(44100, played.channels);
    const std::string outputs = ",outputs=" + std::to_string(played.channels);
    const Ended ended = runFast("slice=441,mic=" + mVoice + ",speaker=" + mTake + outputs, "playthru --json");
    EXPECT_EQ(ended.status, 0) << ended.errors;
    EXPECT_THAT(ended.output,
                HasSubstr(R"("client":{"input":)" + format + R"(,"output":)" + format + "},\"latencyFrames\":0}\n"));
    EXPECT_TRUE(readSound(mTake).samples == played.samples) << outputs;
  }
}

}  // namespace
}  // namespace orvane::test
