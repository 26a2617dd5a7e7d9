#include <gmock/gmock.h>
#include <sys/mount.h>

#include <cmath>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <memory>
#include <random>

#include "tests/tool/Program.h"

namespace orvane::tests {
namespace {

using testing::EndsWith;
using testing::HasSubstr;

Sound makeNoise(int rate, int channels, std::size_t frames) {
  Sound sound{.rate = rate, .channels = channels, .samples = {}};
  std::mt19937 random(7);
  std::uniform_real_distribution<float> loudness(-1.1F, 1.1F);
  for (std::size_t i = 0; i < frames * static_cast<std::size_t>(channels); ++i) {
    sound.samples.push_back(loudness(random));
  }
  return sound;
}

/// What a recording of the sound holds: little-endian 16-bit samples.
std::string encoded(const Sound& sound) {
  std::string bytes;
  for (const float sample : sound.samples) {
    const auto step = std::lrint(std::min(std::max(sample * 32768.0, -32768.0), 32767.0));
    bytes += static_cast<char>(step & 0xFF);
    bytes += static_cast<char>(step >> 8 & 0xFF);
  }
  return bytes;
}

/// A file as sox reads it.
std::string raw(const std::string& path) {
  return run("sox", {path, "-t", "raw", "-e", "signed", "-b", "16", "-L", "-"}).output;
}

/// What independent readers make of a recording: nothing to complain about, and this many frames.
void expectWhole(const std::string& path, const Sound& sound) {
  const std::string frames = std::to_string(sound.samples.size() / static_cast<std::size_t>(sound.channels));
  EXPECT_EQ(run("soxi", {"-s", path}).output, frames + "\n");
  const Ended probe = run("ffprobe", {"-v", "warning", "-show_entries",
                                      "stream=codec_name,sample_rate,channels,duration_ts", "-of", "csv=p=0", path});
  EXPECT_EQ(probe.output + probe.errors,
            "pcm_s16le," + std::to_string(sound.rate) + "," + std::to_string(sound.channels) + "," + frames + "\n");
  const Ended info = run("sndfile-info", {path});
  EXPECT_THAT(info.output, HasSubstr("Frames      : " + frames + "\n"));
  EXPECT_EQ(info.output.find("should be"), std::string::npos) << info.output;
}

TEST(Record, KeepsEverySampleAtEverySliceLength) {
  const TemporaryFolder folder;
  const std::string voice = folder.path("voice.wav");
  const std::string take = folder.path("take.wav");
  for (const Sound& sound : {makeNoise(48000, 2, 30'001), makeNoise(44100, 1, 12'345), makeNoise(8000, 3, 700)}) {
    writeSound(voice, sound);
    for (const char* slice : {"1", "100", "256", "8192"}) {
      std::ofstream(take) << std::string(200'000, 'x');
      const Ended ended =
          runTool({"--simulate", "pace=fast,mic=" + voice + ",slice=" + std::string(slice), "record", take});
      EXPECT_EQ(ended.status, 0) << ended.errors;
      EXPECT_EQ(ended.output, "");
      EXPECT_TRUE(raw(take) == encoded(sound)) << sound.channels << " channels, slice " << slice;
    }
    expectWhole(take, sound);
  }
  // Recorded once more, what has 16 bits already is the same to the bit.
  const std::string copy = folder.path("copy.wav");
  EXPECT_EQ(runTool({"--simulate", "pace=fast,mic=" + take, "record", copy}).status, 0);
  EXPECT_TRUE(readFile(copy) == readFile(take));
}

TEST(Record, SaysWhatItWrote) {
  const TemporaryFolder folder;
  const std::string take = folder.path("take.wav");
  const Arguments arguments{"--simulate", "pace=fast,rate=32000,slice=100", "record", take, "--seconds", "0.5"};
  EXPECT_EQ(runTool(arguments).errors, "orvane: wrote 16000 frames (0.5 s) to " + take + "\n");
  Arguments withJson = arguments;
  withJson.insert(withJson.end(), {"--json", "--client-rate", "16000"});
  const Ended ended = runTool(withJson);
  EXPECT_EQ(ended.status, 0);
  EXPECT_EQ(ended.errors, "");
  const std::string format = R"("channelCount":1,"interleaved":false,"commonFormat":"Float32"}})";
  EXPECT_EQ(ended.output, R"({"command":"record","host":"simulated","ended":"seconds","seconds":0.5,"frames":16000,)"
                          R"("discontinuities":0,"hardware":{"input":{"sampleRate":32000.0,)" +
                              format + R"(,"client":{"input":{"sampleRate":16000.0,)" + format +
                              R"(,"file":{"path":")" + take + R"(","type":"RF64","frames":8000}})" + "\n");
  expectWhole(take, {.rate = 16000, .channels = 1, .samples = std::vector<float>(8000)});
}

TEST(Record, RefusesAPlaceThatIsNoneAndLeavesTheFileUntilItStarts) {
  const TemporaryFolder folder;
  const std::string old = folder.path("old.wav");
  std::ofstream(old) << "what was there";
  const std::pair<Arguments, std::string> cases[] = {
      {{folder.path("none/take.wav")}, "ConvertingFile::create failed: -2"},
      {{folder.path("")}, "ConvertingFile::create failed: -5"},
      {{old, "--client-rate", "768000", "--unit", "xyzw"}, "I/O unit subtype 'xyzw' not found"},
  };
  for (const auto& [options, reason] : cases) {
    Arguments arguments{"--simulate", "pace=fast,rate=8000", "record", "--seconds", "1"};
    arguments.insert(arguments.end(), options.begin(), options.end());
    const Ended ended = runTool(arguments);
    EXPECT_EQ(ended.status, 1);
    EXPECT_THAT(ended.errors, EndsWith("orvane: " + reason + "\n"));
  }
  EXPECT_EQ(readFile(old), "what was there");
}

/// Runs a recording that runs out of room, and looks at what is left of it.
void expectCutShort(const Ended& ended, const std::string& take, const std::string& reason, std::uintmax_t room) {
  EXPECT_EQ(ended.status, 1);
  EXPECT_THAT(ended.errors, EndsWith(reason + "\n"));
  EXPECT_NEAR(static_cast<double>(std::filesystem::file_size(take)), static_cast<double>(room), 16);
  const std::string frames = run("soxi", {"-s", take}).output;
  EXPECT_THAT(ended.errors, HasSubstr("wrote " + frames.substr(0, frames.size() - 1) + " frames"));
  expectWhole(take, {.rate = 48000, .channels = 7, .samples = std::vector<float>(7 * std::stoul(frames))});
}

TEST(Record, FailsWhereTheDiskIsFullAndKeepsWhatItHas) {
  const TemporaryFolder folder;
  const std::string disk = folder.path("disk");
  std::filesystem::create_directory(disk);
  if (mount("tmpfs", disk.c_str(), "tmpfs", 0, "size=256k") != 0) {
    GTEST_SKIP() << "a small disk cannot be mounted here: " << std::strerror(errno);
  }
  const std::unique_ptr<const char, int (*)(const char*)> unmount(disk.c_str(), umount);
  const std::string take = disk + "/take.wav";
  const Ended ended =
      runTool({"--simulate", "pace=fast,mic=noise,inputs=7", "record", take, "--seconds", "3"}, {"LC_ALL=C"});
  expectCutShort(ended, take, "orvane: writing failed, disk full: \"" + take + "\": No space left on device",
                 256 << 10);
}

TEST(Record, FailsWhereAFileMayNotGrowAndKeepsWhatItHas) {
  const TemporaryFolder folder;
  const std::string take = folder.path("take.wav");
  const Ended ended =
      run("/bin/bash", {"-c", "ulimit -f 101; exec " ORVANE_TOOL " --simulate pace=fast,mic=noise,inputs=7 record " +
                                  take + " --seconds 3"});
  expectCutShort(ended, take, "orvane: writing failed: \"" + take + "\": File too large", 101 << 10);
}

TEST(Playthru, PlaysWhatTheMicrophoneHears) {
  const TemporaryFolder folder;
  const std::string heard = folder.path("heard.wav");
  const Sound voice = makeNoise(44100, 2, 5000);
  writeSound(folder.path("voice.wav"), voice);
  Sound mono{.rate = 44100, .channels = 1, .samples = {}};
  for (std::size_t i = 0; i < voice.samples.size(); i += 2) {
    mono.samples.push_back((voice.samples[i] + voice.samples[i + 1]) * 0.5F);
  }
  writeSound(folder.path("mono.wav"), mono);
  Sound both{.rate = 44100, .channels = 2, .samples = {}};
  for (const float sample : mono.samples) both.samples.insert(both.samples.end(), {sample, sample});
  struct Case {
    std::string device;
    std::string channels;
    Sound played;
  };
  for (const auto& [device, channels, played] : {Case{"mic=" + folder.path("voice.wav") + ",outputs=2", "2", voice},
                                                 Case{"mic=" + folder.path("voice.wav") + ",outputs=1", "1", mono},
                                                 Case{"mic=" + folder.path("mono.wav") + ",outputs=2", "1", both}}) {
    const Ended ended =
        runTool({"--json", "--simulate", "pace=fast,slice=441,speaker=" + heard + "," + device, "playthru"});
    EXPECT_EQ(ended.status, 0) << ended.errors;
    const std::string format =
        R"({"sampleRate":44100.0,"channelCount":)" + channels + R"(,"interleaved":false,"commonFormat":"Float32"})";
    EXPECT_THAT(ended.output, HasSubstr(R"("client":{"input":)" + format + R"(,"output":)" + format +
                                        R"(},"latencyFrames":0})" + "\n"));
    EXPECT_TRUE(readSound(heard) == played) << device;
  }
}

}  // namespace
}  // namespace orvane::tests
