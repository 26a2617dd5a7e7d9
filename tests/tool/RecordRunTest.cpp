#include <sys/mount.h>

#include <cmath>
#include <cstring>
#include <limits>
#include <random>

#include "tests/tool/Program.h"

namespace orvane::test {
namespace {

using testing::EndsWith;
using testing::HasSubstr;

/// Every step of 16 bits, noise beyond full scale, and samples that are odd.
Sound makeVoice(int rate, int channels) {
  constexpr float endless = std::numeric_limits<float>::infinity();
  Sound sound{rate, channels, {}};
  for (int step = -32768; step <= 32767; ++step) sound.samples.push_back(static_cast<float>(step) / 32768.0F);
  std::mt19937 random(7);
  for (int i = 0; i < 20'000; ++i) sound.samples.push_back(std::uniform_real_distribution<float>(-1.2F, 1.2F)(random));
  for (const float odd : {1.0F, 0.99999F, 1e30F, -1e30F, 1e-30F, endless, -endless, std::nanf(""), -0.0F, 0.5F / 32768,
                          1.5F / 32768, -0.5F / 32768, -1.5F / 32768, 32767.5F / 32768, -32768.5F / 32768}) {
    sound.samples.push_back(odd);
  }
  sound.samples.resize(sound.frames() * static_cast<std::size_t>(channels));
  return sound;
}

/// What a recording of the sound holds: little-endian 16-bit samples.
std::string encoded(const Sound& sound) {
  std::string bytes;
  for (const float sample : sound.samples) {
    const auto step = std::isnan(sample) ? 0 : std::lrint(std::clamp(sample * 32768.0, -32768.0, 32767.0));
    bytes += {static_cast<char>(step & 0xFF), static_cast<char>(step >> 8 & 0xFF)};
  }
  return bytes;
}

std::string bytesOf(const std::vector<float>& samples) {
  return {reinterpret_cast<const char*>(samples.data()), samples.size() * sizeof(float)};
}

class RecordRun : public testing::Test {
 protected:
  /// What the speaker plays of this microphone.
  std::vector<float> played(const std::string& device, const std::string& options = {}) {
    EXPECT_EQ(runFast("speaker=" + mTake + "," + device, "playthru " + options).status, 0);
    return readSound(mTake).samples;
  }

  const TemporaryFolder mFolder;
  const std::string mVoice = mFolder.file("voice.wav");
  const std::string mTake = mFolder.file("take.wav");
};

TEST_F(RecordRun, KeepsEverySampleAtEverySliceLength) {
  const struct {
    int rate;
    int channels;
    std::vector<std::string> slices;
  } rows[] = {{44100, 1, {"256", "441", "8192"}},
              {48000, 2, {"100", "256", "8191"}},
              {8000, 3, {"1", "100", "8192"}},
              {96000, 8, {"1", "256"}}};
  for (const auto& [rate, channels, slices] : rows) {
    const Sound sound = makeVoice(rate, channels);
    writeSound(mVoice, sound);
    for (const std::string& slice : slices) {
      SCOPED_TRACE(std::to_string(channels) + " channels, slices of " + slice);
      std::ofstream(mTake) << std::string(200'000, 'x');
      const Ended ended = runFast("mic=" + mVoice + ",slice=" + slice, "record " + mTake);
      EXPECT_EQ(ended.status, 0) << ended.errors;
      EXPECT_EQ(ended.output, "");
      EXPECT_TRUE(run("sox " + mTake + " -t raw -").output == encoded(sound));
    }
    EXPECT_EQ(framesOfWholeFile(mTake), std::to_string(sound.frames()));
    EXPECT_EQ(readSound(mTake).rate, rate);
    EXPECT_EQ(readSound(mTake).channels, channels);
  }
}

TEST_F(RecordRun, SaysWhatItWrote) {
  const std::string arguments = "record " + mTake + " --seconds 0.5";
  const std::string device = "rate=32000,slice=100";
  EXPECT_EQ(runFast(device, arguments).errors, "orvane: wrote 16000 frames (0.5 s) to " + mTake + "\n");
  const Ended ended = runFast(device, arguments + " --json --client-rate 16000");
  EXPECT_EQ(ended.errors, "");
  EXPECT_EQ(ended.output, R"({"command":"record","host":"simulated","ended":"seconds","seconds":0.5,"frames":16000,)"
                          R"("discontinuities":0,"overruns":0,"hardware":{"input":)" +
                              formatJson(32000, 1) + R"(},"client":{"input":)" + formatJson(16000, 1) +
                              R"(},"file":{"path":")" + mTake + R"(","type":"RF64","frames":8000}})" + "\n");
  EXPECT_EQ(framesOfWholeFile(mTake), "8000");
  EXPECT_EQ(readSound(mTake).rate, 16000);
}

TEST_F(RecordRun, FailsWhereThereIsNoRoomAndKeepsWhatItHas) {
  const std::string record = ORVANE_TOOL " --simulate pace=fast,mic=noise,inputs=7 record " + mTake + " --seconds 3";
  const auto expectCutShort = [&](const std::string& command, const std::string& reason, std::size_t room) {
    const Ended ended = run(command);
    EXPECT_EQ(ended.status, 1);
    EXPECT_THAT(ended.errors, EndsWith("orvane: writing failed" + reason + "\n"));
    const std::size_t bytes = readFile(mTake).size();
    EXPECT_TRUE(bytes <= room && room < bytes + 2 * 7) << bytes << " of " << room;
    EXPECT_THAT(ended.errors, HasSubstr("wrote " + framesOfWholeFile(mTake) + " frames"));
  };
  for (const std::size_t room : {100'000U, 100'003U, 100'005U}) {
    expectCutShort("prlimit --fsize=" + std::to_string(room) + " " + record, ": \"" + mTake + "\": File too large",
                   room);
  }
  if (mount("tmpfs", mFolder.path().c_str(), "tmpfs", 0, "size=256k") != 0) {
    GTEST_SKIP() << "a small disk cannot be mounted here: " << std::strerror(errno);
  }
  expectCutShort(record, ", disk full: \"" + mTake + "\": No space left on device", 256 << 10);
  umount(mFolder.path().c_str());
}

TEST_F(RecordRun, PlaythruPlaysWhatTheMicrophoneHearsToTheBit) {
  const Sound voice = makeVoice(44100, 2);
  writeSound(mVoice, voice);
  for (const std::string slice : {"17", "64", "441", "1003", "8192"}) {
    EXPECT_TRUE(bytesOf(played("mic=" + mVoice + ",slice=" + slice)) == bytesOf(voice.samples)) << slice;
  }
  std::vector<float> mono;
  for (std::size_t i = 0; i < 60'000; i += 2) mono.push_back((voice.samples[i] + voice.samples[i + 1]) * 0.5F);
  std::vector<float> heard = played("outputs=1,mic=" + mVoice);
  EXPECT_EQ(heard.size(), voice.frames());
  heard.resize(mono.size());
  EXPECT_TRUE(heard == mono);
  const std::string format = formatJson(44100, 2);
  EXPECT_THAT(runFast("mic=" + mVoice, "playthru --json").output,
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
