// SPDX-License-Identifier: MIT
#include "tests/tools/orvane/Voice.h"

namespace orvane::test {
namespace {

const std::string silence = "Average power per channel is below threshold of -160 dB";

class EngineRun : public PlayRun {
 protected:
  Sound played(const std::string& paths, const std::string& device = {}) const {
    return PlayRun::played("engine play " + paths, device);
  }
  Ended record(const std::string& name, const std::string& device, const std::string& options = {}) const {
    return runFast(device, "--json engine record file://" + mFolder.file(name) + " " + options);
  }
};

TEST_F(EngineRun, PlaysFilesOneAfterTheOtherWithoutAGap) {
  for (const std::size_t frames : {1U, 255U, 4096U, 50'001U}) {
    const Sound first = makeNoise(48000, 2, frames, 1), second = makeNoise(48000, 2, 30'000, 2),
                third = makeNoise(48000, 1, 77, 3);
    std::vector<float> wanted = first.samples;
    wanted.insert(wanted.end(), second.samples.begin(), second.samples.end());
    for (const float each : third.samples) wanted.insert(wanted.end(), 2, each);
    expectHeard(played(make("a.wav", first) + " " + make("b.wav", second) + " " + make("c.wav", third)), wanted);
  }
}

TEST_F(EngineRun, ConvertsRateAndChannels) {
  for (const auto& [from, to] : {std::pair(44100, 48000), {48000, 44100}, {8000, 48000}}) {
    // A constant stays one, so every frame can be recognised, over the seam of two files as well.
    const std::size_t frames = static_cast<std::size_t>(from) + 7;
    const std::string part = make("part.wav", {from, 1, std::vector<float>(frames, 0.5F)});
    std::vector<float> heard = played(part + " " + part, ",outputs=1,rate=" + std::to_string(to)).samples;
    heard.erase(heard.begin(), std::ranges::find_if(heard, [](float each) { return each != 0; }));
    const auto ratio = static_cast<double>(to) / from;
    const auto wanted = static_cast<std::size_t>(std::ceil(static_cast<double>(2 * frames) * ratio));
    const auto sounding = heard.rend() - std::find_if(heard.rbegin(), heard.rend(), [](float x) { return x != 0; });
    // The last frame lies behind the last sample of the file, so it may be silent.
    EXPECT_TRUE(sounding == static_cast<std::ptrdiff_t>(wanted) || sounding == static_cast<std::ptrdiff_t>(wanted) - 1)
        << sounding << " of " << wanted;
    for (std::size_t i = 1000; i < wanted - 1000; ++i) ASSERT_NEAR(heard[i], 0.5F, 1e-3F) << i;
  }
  for (const auto& [channels, outputs] : {std::pair(1, 2), {6, 2}, {2, 1}, {2, 6}}) {
    const Sound sound = makeNoise(48000, channels, 3000);
    expectHeard(played(make("a.wav", sound), ",outputs=" + std::to_string(outputs)), mapped(sound, outputs));
  }
}

TEST_F(EngineRun, ASessionThatIsRefusedErasesNoFile) {
  for (const std::string command : {"engine record file://", "queue record "}) {
    const std::string path = make("old.wav", makeNoise(48000, 1, 100));
    const Ended ended = runFast("", command + path + " --category playback");
    EXPECT_EQ(ended.status, 1);
    EXPECT_THAT(ended.errors, HasSubstr("no category is named \"playback\""));
    EXPECT_EQ(readSound(path).frames(), 100U);
  }
}

TEST_F(EngineRun, PlaysEveryType) {
  const std::string voice = make("voice16.wav", makeNoise(48000, 2, 30'011));
  ASSERT_EQ(run("sox -D " + voice + " -b 16 " + mFolder.file("a.wav")).status, 0);
  const std::tuple<std::string, std::string, float> rows[] = {{"a.aiff", "sox -D", 0},
                                                              {"a.flac", "sox -D", 0},
                                                              {"a.w64", "sox -D", 0},
                                                              {"a.au", "sox -D", 0},
                                                              {"a.caf", "sox -D", 0},
                                                              {"a.ogg", "sox -D", 1e-5F},
                                                              {"a.opus", "opusenc --quiet", 1e-4F},
                                                              {"a.mp3", "ffmpeg -v error -i", 1e-4F}};
  for (const auto& [name, encoder, tolerance] : rows) {
    SCOPED_TRACE(name);
    const std::string path = mFolder.file(name);
    ASSERT_EQ(run(encoder + " " + mFolder.file("a.wav") + " " + path).status, 0);
    std::vector<float> wanted = decoded(path);
    Sound heard = played(path);
    // Lossy decoders may differ in the frames that they drop, so the sounds are compared from their first loud sample.
    if (tolerance > 0) {
      for (std::vector<float>* samples : {&wanted, &heard.samples}) {
        samples->erase(samples->begin(), std::ranges::find_if(*samples, [](float x) { return std::abs(x) > 0.1F; }));
        samples->resize(std::min(samples->size(), std::size_t{55'000}));
      }
    }
    EXPECT_GE(wanted.size(), 55'000U);
    expectHeard(heard, wanted, tolerance);
  }
}

TEST_F(EngineRun, RecordsTheMicrophoneToTheFrame) {
  const Sound voice = makeNoise(44100, 2, 20'001);
  const std::tuple<std::string, std::string, float> rows[] = {{"a.wav", "32-bit Floating Point", 0},
                                                              {"a.rf64", "32-bit Floating Point", 0},
                                                              {"a.aifc", "32-bit Floating", 0},
                                                              {"A.AIFF", "24-bit Signed Integer", 0},
                                                              {"a.au", "32-bit Floating Point", 0}};
  for (const auto& [name, encoding, tolerance] : rows) {
    const std::string path = mFolder.file(name);
    const Ended ended = record(name, hearing(voice));
    EXPECT_EQ(ended.status, 0) << ended;
    EXPECT_THAT(ended.output, AllOf(HasSubstr(R"("ended":"input-ended")"), HasSubstr("\"frames\":20001}}")));
    const Sound taken = readSound(path);
    EXPECT_TRUE(taken.rate == 44100 && taken.channels == 2);
    EXPECT_EQ(taken.samples, voice.samples) << name;
    EXPECT_EQ(run("sndfile-info " + path).status, 0);
  }
  EXPECT_EQ(framesOfWholeFile(mFolder.file("a.wav")), "20001");
  // While something plays, the recording goes on to the end of the playback.
  const std::string longer = make("long.wav", makeNoise(44100, 1, 30'000));
  const Ended both = runFast(hearing(voice), "--json engine play " + longer + " --record file://" + mTake);
  EXPECT_THAT(both.output, AllOf(HasSubstr(R"("ended":"finished")"), Not(HasSubstr("latencyFrames"))));
  EXPECT_GE(readSound(mTake).frames(), 30'000U);
  EXPECT_THAT(record("a.wav", "mic=noise", "--seconds 0.5").output, HasSubstr("\"frames\":24000}}"));
}

TEST_F(EngineRun, EndsWithStatus3AtSilence) {
  Sound voice = makeNoise(48000, 2, 20'000);
  for (std::size_t frame = 8192; frame < 12'288; ++frame) voice.samples[2 * frame + 1] = 0;
  const Ended ended = record("a.wav", hearing(voice), "--detect-silence");
  EXPECT_EQ(ended.status, 3);
  EXPECT_EQ(ended.errors, "orvane: " + silence + "\n") << "said once";
  EXPECT_THAT(ended.output,
              AllOf(HasSubstr(R"("ended":"failed","error":")" + silence), HasSubstr("\"frames\":8192}}")));
  EXPECT_EQ(framesOfWholeFile(mFolder.file("a.wav")), "8192");
  EXPECT_EQ(record("a.wav", hearing(voice)).status, 0) << "no detection";
  voice.samples[2 * 9000 + 1] = 1e-5F;
  EXPECT_EQ(record("a.wav", hearing(voice), "--detect-silence").status, 0) << "a single sample is no silence";
  // A last buffer of less than 64 frames is judged with those before it.
  const auto ending = [&](std::size_t frames, std::size_t silent) {
    Sound sound = makeNoise(48000, 2, frames);
    std::fill(sound.samples.end() - static_cast<std::ptrdiff_t>(2 * silent), sound.samples.end(), 0.0F);
    return record("a.wav", hearing(sound), "--detect-silence").status;
  };
  EXPECT_THAT(std::vector({ending(8193, 1), ending(8255, 63), ending(8256, 64), ending(9000, 807), ending(9000, 808),
                           ending(100, 100), ending(1, 1)}),
              ElementsAre(0, 0, 3, 0, 3, 3, 3));
  const Ended both =
      runFast("mic=silence", "engine play " + mVoice + " --record file://" + mTake + " --detect-silence");
  EXPECT_EQ(both.status, 3);
}

TEST_F(EngineRun, SaysWhatIsWrong) {
  const std::string voice = make("voice.wav", makeNoise(48000, 1, 20'000)), flac = mFolder.file("a.flac");
  ASSERT_EQ(run("sox -D " + voice + " -b 16 " + flac).status, 0);
  std::string damaged = readFile(flac);
  std::fill(damaged.begin() + static_cast<std::ptrdiff_t>(damaged.size() / 2), damaged.end(), 'x');
  std::ofstream(mFolder.file("damaged.flac")) << damaged;
  std::ofstream(mFolder.file("cut.wav")) << readFile(voice).substr(0, 5000);
  std::ofstream(mFolder.file("text.wav")) << "text";
  const std::string in = mFolder.file(""),
                    create = "Creating input recording file failed: ", play = "SGE playAudioFile failed: \"";
  const auto refusing = [this](const std::string& call) {
    std::ofstream(mFolder.file("refuse"))
        << R"({"faults":[{"at":0,"fault":"refuse","call":")" + call + R"(","status":-77}]})";
    return "scenario=" + mFolder.file("refuse");
  };
  const std::tuple<std::string, std::string, int, std::string> rows[] = {
      {"", "play " + in + "none.wav", 1, play + in + "none.wav\": No such file or directory\n"},
      {"", "play " + in + "text.wav", 1, play + in + "text.wav\" is not a sound file that can be read ("},
      {"", "play " + in + "cut.wav", 1, "\" is cut short: its header declares 80000 bytes of sound"},
      {"", "play " + in + "damaged.flac", 1, "damaged.flac\" "},
      {"", "play " + voice + " " + in, 1, "is not a regular file"},
      {"", "play", 2, "PATH is required"},
      {"", "record take.wav", 2, "\"take.wav\" is not a URL; the URL of the file with this path is file:///"},
      {"", "record file:///%zz", 2, "is not a URL"},
      {"", "record http://a/b.wav", 1, create + "\"http://a/b.wav\" is not a file URL (file:///PATH)\n"},
      {"", "record http://host", 1, create + "\"http://host\" is not a file URL (file:///PATH)\n"},
      {"", "record file://", 1, create + "\"file://\" has no absolute path (file:///PATH)\n"},
      {"", "record file://" + in + "none/a.wav", 1, create + "\"" + in + "none/a.wav\": No such file or directory\n"},
      {"", "record file://" + in + "a.xyz", 1, "has no extension of a file type that a graph records: aif,"},
      {"", "record file://" + in + "b.flac", 1, "a buffer queue records FLAC"},
      {"mic=" + voice, "record file://" + voice, 1, create + "\"" + voice + "\""},
      {"", "play " + voice + " --record file://" + voice, 1, create + "\"" + voice + "\""},
      {"", "play " + voice + " --category Record", 1, "SGE start failed: the session's category"},
      {"", "record file://" + mTake + " --category Playback", 1, "SGE start failed: the session's category"},
      {"outputs=0", "play " + voice, 77, "no audio output"},
      {refusing("GraphEngine::start"), "play " + voice, 1, "orvane: SGE start failed: "}};
  for (const auto& [device, arguments, status, message] : rows) {
    const Ended ended = runFast(device, "engine " + arguments);
    EXPECT_EQ(ended.status, status) << arguments << ended;
    EXPECT_THAT(ended.errors, AllOf(StartsWith("orvane: "), HasSubstr(message))) << arguments;
  }
  const std::tuple<std::string, std::string> refused[] = {
      {"PlayerNode::play", "SGE start failed: "},
      {"GraphService::openFile", "SGE playAudioFile failed: \"file://" + voice + "\" is refused: "},
      {"GraphService::createFile", create + "\"file://" + mTake + "\" is refused: "},
      {"PcmFile::read", "SGE start failed: \"" + voice + "\" cannot be read: "},
      {"PcmFile::write", "Writing to input recording file failed: \"" + mTake + "\" cannot be written: "}};
  for (const auto& [call, message] : refused) {
    const Ended ended = runFast(refusing(call), "--json engine play " + voice + " --record file://" + mTake);
    EXPECT_EQ(ended.status, 1) << call << ended;
    EXPECT_THAT(ended.errors, AllOf(StartsWith("orvane: " + message), Not(HasSubstr("log error")))) << call;
    EXPECT_THAT(ended.output, HasSubstr(R"("status":-77,)")) << call;
  }
  EXPECT_FALSE(std::filesystem::exists(mFolder.file("b.flac")));
}

TEST_F(EngineRun, KeepsWhatFittedOnAFullDiskAndWhatWasRecordedWhenKilled) {
  std::ofstream(mFolder.file("full")) << R"({"faults":[{"at":1.7,"fault":"disk-full"}]})";
  const Ended full = record("a.wav", "mic=noise,scenario=" + mFolder.file("full"), "--seconds 9");
  EXPECT_EQ(full.status, 1);
  EXPECT_EQ(full.errors, "orvane: Writing to input recording file failed: \"" + mFolder.file("a.wav") +
                             "\": No space left on device\n");
  EXPECT_THAT(full.output, HasSubstr(R"("status":-4,"cause":"disk full")"));
  const std::size_t fitted = readSound(mFolder.file("a.wav")).frames();
  EXPECT_TRUE(fitted % 4096 == 0 && fitted > 60'000 && fitted < 81'600) << fitted;

  for (const std::string name : {"a.wav", "a.rf64", "a.aiff", "a.aifc", "a.au"}) {
    const std::string take = mFolder.file(name);
    std::filesystem::remove(take);
    Program recorder(ORVANE_TOOL " --simulate rate=96000,mic=tone:440:0.5 engine record file://" + take);
    // The file may not exist yet.
    const auto bytes = [&] { return std::filesystem::exists(take) ? std::filesystem::file_size(take) : 0; };
    await([&] { return bytes() > 12'000 * 4; });
    EXPECT_GE(readSound(take).frames(), 8192U) << name << ", while it grows";
    recorder.send(SIGKILL);
    EXPECT_EQ(recorder.finish().status, 128 + SIGKILL);
    EXPECT_GE(readSound(take).frames(), 12'000U) << name;
    EXPECT_EQ(run("sox " + take + " -n"), Ended{0});
  }
}

TEST_F(EngineRun, SaysHowASystemSoundFails) {
  std::ofstream(mFolder.file("refuse"))
      << R"({"faults":[{"at":0,"fault":"refuse","call":"SystemSoundService::play","status":-77}]})";
  std::ofstream(mFolder.file("lost")) << R"({"faults":[{"at":0.1,"fault":"device-lost"}]})";
  const std::pair<std::string, std::string> rows[] = {
      {"rate=0", "orvane: system sound 1 is not played: the hardware reports no sample rate\n"},
      {"scenario=" + mFolder.file("refuse"), "orvane: system sound 1 is not played: "},
      {"scenario=" + mFolder.file("lost"), "orvane: the device was lost"}};
  for (const auto& [device, message] : rows) {
    for (const std::string options : {"", " --wait"}) {
      const Ended ended = runFast(device, "--json sound 1" + options);
      EXPECT_EQ(ended.status, 1) << ended;
      EXPECT_THAT(ended.errors, HasSubstr(message));
      EXPECT_THAT(ended.output, HasSubstr(R"("ended":"failed","error":")"));
    }
  }
  EXPECT_EQ(runFast("rate=0", "sound 99 --wait").status, 0) << "a number without a sound";
}

}  // namespace
}  // namespace orvane::test
