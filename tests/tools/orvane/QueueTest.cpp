// SPDX-License-Identifier: MIT
#include <span>
#include <sstream>

#include "tests/tools/orvane/Voice.h"

namespace orvane::test {
namespace {

class QueueRun : public PlayRun {
 protected:
  Ended record(const std::string& path, const std::string& device, const std::string& options = {}) const {
    return runFast(device, "--json queue record " + path + " " + options);
  }
  Sound played(const std::string& path, const std::string& device = {}) const {
    return PlayRun::played("queue play " + path, device);
  }
};

Sound sine(int rate, std::size_t frames, double hertz) {
  Sound sound{rate, 1, std::vector<float>(frames)};
  for (std::size_t i = 0; i < frames; ++i)
    sound.samples[i] = static_cast<float>(0.5 * std::sin(2 * M_PI * hertz * static_cast<double>(i) / rate + 0.1));
  return sound;
}

/// Returns the signal-to-noise ratio, in decibels, of a sine of a known frequency. `samples` are whole periods.
double signalToNoise(std::span<const float> samples, double hertz, double rate) {
  double a = 0, b = 0, residue = 0;
  const auto count = static_cast<double>(samples.size());
  const auto phase = [&](std::size_t i) { return 2 * M_PI * hertz * static_cast<double>(i) / rate; };
  for (std::size_t i = 0; i < samples.size(); ++i) {
    a += 2 / count * samples[i] * std::sin(phase(i));
    b += 2 / count * samples[i] * std::cos(phase(i));
  }
  for (std::size_t i = 0; i < samples.size(); ++i)
    residue += std::pow(samples[i] - a * std::sin(phase(i)) - b * std::cos(phase(i)), 2);
  EXPECT_NEAR(std::hypot(a, b), 0.5, 1e-3);
  return 10 * std::log10((a * a + b * b) / 2 * count / residue);
}

TEST_F(QueueRun, RecordsWhatTheMicrophoneHearsInEveryType) {
  const Sound voice = makeVoice(44100, 1);
  const std::string device = hearing(voice);
  const std::tuple<std::string, std::string, std::string> rows[] = {
      {"take.aif", "AIFF", ""},       {"take.AIFC", "AIFC", "-t aifc "}, {"take.wav", "WAVE", ""},
      {"take.au", "AU  ", ""},        {"take.flac", "flac", ""},         {"take", "WAVE", "-t wav "},
      {"take.mp3", "WAVE", "-t wav "}};
  for (const auto& [name, type, as] : rows) {
    for (const std::string slice : {"100", "8192"}) {
      SCOPED_TRACE(name + ", " + slice);
      const std::string path = mFolder.file(name);
      const Ended ended = record(path, device + ",slice=" + slice);
      EXPECT_EQ(ended.status, 0) << ended;
      EXPECT_THAT(ended.output, AllOf(HasSubstr(R"("ended":"input-ended")"),
                                      HasSubstr(R"("file":{"path":")" + path + R"(","type":")" + type +
                                                R"(","frames":)" + std::to_string(voice.frames()) + "}}\n")));
      EXPECT_TRUE(run("sox " + as + path + " -t raw -e signed -b 16 -L -").output == encoded(voice));
    }
  }
  EXPECT_EQ(run("flac -s -t -w " + mFolder.file("take.flac")), Ended{0}) << "the checksum of the samples too";
}

TEST_F(QueueRun, RecordsOpusOfTheSameLengthAndShape) {
  const Sound voice = readSound("/usr/share/sounds/alsa/Front_Center.wav");
  const std::string path = mFolder.file("take.opus");
  for (const std::size_t frames : {voice.frames(), std::size_t{1}, std::size_t{48'000}}) {
    Sound part = voice;
    part.samples.resize(frames * static_cast<std::size_t>(part.channels));
    EXPECT_EQ(record(path, hearing(part)).status, 0);
    EXPECT_EQ(run("opusdec --quiet --float " + path + " " + mTake), Ended{0});
    const Sound made = readSound(mTake);
    ASSERT_TRUE(made.frames() == frames && made.rate == 48000);
    EXPECT_THAT(run("opusinfo " + path).output, Not(HasSubstr("WARN")));
    if (frames != voice.frames()) continue;
    double product = 0, power = 0, other = 0;
    for (std::size_t i = 0; i < frames; ++i) {
      product += part.samples[i] * made.samples[i];
      power += part.samples[i] * part.samples[i];
      other += made.samples[i] * made.samples[i];
    }
    EXPECT_GT(product / std::sqrt(power * other), 0.99);
    expectHeard(played(path, ",outputs=1"), decoded(path), 1e-4F);
  }
}

TEST_F(QueueRun, PlaysEveryWidthAndByteOrder) {
  const Sound sound = makeNoise(48000, 2, 30'011);
  writeSound(mVoice, sound);
  std::istringstream rows(
      "a.wav -b 8 -e unsigned|b.wav -b 16|c.wav -b 24|d.wav -b 32|e.wav -e float -b 32|f.wav -e float -b 64|"
      "a.aiff -b 8|b.aiff -b 16|c.aiff -b 24|d.aiff -b 32|e.aifc -b 16|a.au -b 8 -e signed|b.au -b 16 -B|"
      "c.au -pcm16 -endian=little|d.au -pcm24 -endian=little|e.au -float64 -endian=little|f.au -e float -b 32 -B|"
      "g.w64 -b 24|a.flac -b 8|b.flac -b 16|c.flac -b 24");
  for (std::string row; std::getline(rows, row, '|');) {
    SCOPED_TRACE(row);
    const std::string name = row.substr(0, row.find(' ')), options = row.substr(name.size() + 1);
    const std::string path = mFolder.file(name);
    const bool isSwapped = options.ends_with("little");
    const std::string convert =
        isSwapped ? "sndfile-convert " + options + " " + mVoice + " " : "sox -D " + mVoice + " ";
    ASSERT_EQ(run(convert + (isSwapped ? "" : options + " ") + path).status, 0);
    expectHeard(played(path), readSound(path).samples, 1e-7F);
  }
  expectHeard(played(mFolder.file("e.wav")), sound.samples);
  // What other programs write: a seek table and tags, packets of varying length, a length that is not known.
  const std::string path = mFolder.file("other.flac");
  for (const std::string options : {"-8 -S 1s -T TITLE=a -P 9999", "-0 -b 16", "--lax -b 65535"}) {
    ASSERT_EQ(run("flac -s -f " + options + " -o " + path + " " + mFolder.file("c.wav")).status, 0);
    expectHeard(played(path), sound.samples);
  }
  ASSERT_EQ(run("sh -c 'flac -s -c -b 4096 - <" + mFolder.file("c.wav") + " | cat >" + path + "'").status, 0);
  expectHeard(played(path), sound.samples);
}

TEST_F(QueueRun, ConvertsTheRateToTheFrame) {
  for (const auto& [from, to, hertz] :
       {std::tuple(48000, 44100, 1000), {44100, 48000, 997}, {8000, 48000, 440}, {96000, 22050, 3000}}) {
    SCOPED_TRACE(std::to_string(from) + " to " + std::to_string(to));
    const std::size_t frames = static_cast<std::size_t>(from) * 2 + 7;
    const std::size_t wanted =
        (frames * static_cast<std::size_t>(to) + static_cast<std::size_t>(from) - 1) / static_cast<std::size_t>(from);
    const std::string device = hearing(sine(from, frames, hertz));
    EXPECT_EQ(record(mTake, device, "--format " + std::to_string(to) + "-F32I-1").status, 0);
    const Sound taken = readSound(mTake);
    EXPECT_TRUE(taken.frames() == wanted && taken.rate == to);
    const auto second = [rate = static_cast<std::size_t>(to)](const Sound& sound) {
      return std::span(sound.samples).subspan(rate / 2, rate);
    };
    EXPECT_GT(signalToNoise(second(taken), hertz, to), 90);
    const Sound heard = played(mVoice, ",outputs=1,rate=" + std::to_string(to));
    const std::size_t first = static_cast<std::size_t>(
        std::ranges::find_if(heard.samples, [](float each) { return each != 0; }) - heard.samples.begin());
    EXPECT_LE(first, 256U);
    EXPECT_GT(signalToNoise(second(heard), hertz, to), 90);
    // The last frame lies behind the last sample of the file, so it may be silent.
    EXPECT_NE(heard.samples.at(first + wanted - 2), 0);
    for (std::size_t i = first + wanted; i < heard.frames(); ++i) EXPECT_EQ(heard.samples[i], 0);
  }
  for (const std::size_t frames : {1U, 7U}) {
    EXPECT_EQ(record(mTake, hearing(sine(8000, frames, 440)), "--format 44100-F32I-1").status, 0);
    EXPECT_EQ(readSound(mTake).frames(), (frames * 44100 + 7999) / 8000);
  }
}

TEST_F(QueueRun, MapsChannels) {
  for (const auto& [channels, outputs] : {std::pair(1, 2), {6, 2}, {2, 1}, {2, 6}}) {
    const Sound sound = makeNoise(48000, channels, 3000);
    writeSound(mVoice, sound);
    expectHeard(played(mVoice, ",outputs=" + std::to_string(outputs)), mapped(sound, outputs));
  }
}

TEST_F(QueueRun, RecordsInTheFormatThatIsGiven) {
  const std::tuple<std::string, std::string, std::string> rows[] = {
      {"a.wav", "48000-S24I-2", "24 Signed Integer PCM 2 48000"},
      {"b.wav", "8000-U8I-1", "8 Unsigned Integer PCM 1 8000"},
      {"c.aifc", "44100-F64IE-3", "64 Floating Point PCM 3 44100"},
      {"d.au", "44100-S32Ie-1", "32 Signed Integer PCM 1 44100"},
      {"e.flac", "96000-S24I-2", "24 FLAC 2 96000"},
      {"f.aif", "22050-S16IE-2", "16 Signed Integer PCM 2 22050"}};
  for (const auto& [name, format, wanted] : rows) {
    const std::string path = mFolder.file(name);
    EXPECT_EQ(record(path, "mic=noise", "--seconds 0.5 --format " + format).status, 0) << name;
    EXPECT_NEAR(std::ranges::max(readSound(path).samples), 1.1, 0.5) << name;
    EXPECT_EQ(
        run("sh -c 'echo $(soxi -b " + path + "; soxi -e " + path + "; soxi -c " + path + "; soxi -r " + path + ")'")
            .output,
        wanted + "\n");
  }
  const std::tuple<std::string, std::string, int, std::string> refused[] = {
      {"a.aif", "44100-S16I-1", 1, "SoundFileService::create failed: -8"},
      {"a.wav", "44100-S16-2", 2, "the channels must be interleaved (letter I)"},
      {"a.wav", "0-S16I-1", 2, "the rate must be 1 to 6144000 hertz"},
      {"a.wav", "44100-S99I-1", 2, "an integer has 1 to 32 bits"},
      {"a.wav", "44100-S16IE-1", 1, "files of this type hold"},
      {"a.opus", "44100-S16I-1", 1, "BufferQueueService::createInput failed: -8"},
      {"a.flac", "44100-S16I-9", 1, "BufferQueueService::createInput failed: -8"},
      {"a.wav", "44100-S16I", 2, "is not a format; it takes RATE-TYPE"},
      {"missing/a.wav", "44100-S16I-1", 1, "SoundFileService::create failed: -2"}};
  for (const auto& [name, format, status, reason] : refused) {
    const Ended ended = runFast("", "queue record " + mFolder.file(name) + " --format " + format);
    EXPECT_EQ(ended.status, status);
    EXPECT_THAT(ended.errors, AllOf(StartsWith("orvane: "), HasSubstr(reason))) << format;
  }
  EXPECT_EQ(runFast("", "queue record --json").status, 2);
  EXPECT_THAT(record(mVoice, hearing(makeNoise(8000, 1, 9))).errors, HasSubstr("create failed: -3"));
  EXPECT_EQ(runFast("inputs=0", "queue record " + mTake).status, 77);
}

TEST_F(QueueRun, PlaysShortFilesAndRefusesEmptyOnes) {
  for (const std::size_t frames : {1U, 255U, 256U, 257U, 24'000U, 72'000U, 72'001U}) {
    const Sound sound = makeNoise(48000, 2, frames);
    writeSound(mVoice, sound);
    expectHeard(played(mVoice), sound.samples);
  }
  writeSound(mVoice, {});
  const Ended empty = runFast("", "--json queue play " + mVoice);
  EXPECT_EQ(empty.status, 1);
  EXPECT_THAT(empty.output, HasSubstr(R"("ended":"failed","error":"zero length file")"));
  const Ended ended = runFast("", "--json queue play --seconds 0.5 /usr/share/sounds/alsa/Front_Center.wav");
  EXPECT_THAT(ended.output, HasSubstr(R"("ended":"seconds","seconds":0.5,"frames":24000,"slice":256,)"));
}

TEST_F(QueueRun, FailsAtFilesThatAreCutOrDamaged) {
  writeSound(mVoice, makeNoise(48000, 2, 200'000));
  const std::string files[] = {mFolder.file("a.wav"), mFolder.file("a.flac"), mFolder.file("a.opus")};
  ASSERT_EQ(run("sox -D " + mVoice + " -b 16 " + files[0]).status + run("flac -s " + files[0]).status +
                run("opusenc --quiet " + files[0] + " " + files[2]).status,
            0);
  for (const std::string& file : files) {
    const std::string whole = readFile(file);
    for (const std::size_t size : {whole.size() - 2, whole.size() / 2, std::size_t{100}}) {
      std::ofstream(file) << whole.substr(0, size);
      const Ended ended = runFast("", "queue play " + file);
      EXPECT_EQ(ended.status, 1) << file;
      EXPECT_THAT(ended.errors, ContainsRegex("open failed: -6|Error reading from file: -6")) << file;
    }
  }
}

TEST_F(QueueRun, KeepsWhatItRecordedIfItIsKilled) {
  const auto frames = [this](const std::string& name) {
    const std::string path = mFolder.file(name);
    return std::stod(run("sh -c 'ffmpeg -v quiet -i " + path + " -f f32le - | wc -c'").output) / 4;
  };
  const std::string names[] = {"a.wav", "a.flac", "a.opus"};
  std::vector<std::unique_ptr<Program>> recorders;
  for (const std::string& name : names) {
    recorders.push_back(std::make_unique<Program>(ORVANE_TOOL " --simulate rate=48000,mic=tone:440:0.5 queue record " +
                                                  mFolder.file(name) + " --format 48000-S16I-1"));
  }
  await([&] { return std::ranges::all_of(names, [&](const std::string& name) { return frames(name) > 0; }); });
  const auto from = std::chrono::steady_clock::now();
  std::vector<double> before;
  for (const std::string& name : names) before.push_back(frames(name));
  std::this_thread::sleep_for(1500ms);
  const std::chrono::duration<double> passed = std::chrono::steady_clock::now() - from;
  for (std::size_t i = 0; i < 3; ++i) recorders[i]->send(SIGKILL);
  for (std::size_t i = 0; i < 3; ++i) {
    EXPECT_EQ(recorders[i]->finish().status, 128 + SIGKILL);
    EXPECT_GE(frames(names[i]), before[i] + (passed.count() - 0.75) * 48000) << names[i];
    const bool hasEnd = names[i] != "a.opus";
    EXPECT_EQ(runFast("", "queue play " + mFolder.file(names[i])).status, hasEnd ? 0 : 1);
  }
  EXPECT_EQ(framesOfWholeFile(mFolder.file("a.wav")), std::to_string(static_cast<int>(frames("a.wav"))));
}

TEST_F(QueueRun, EndsIfTheDiskIsFullWithWhatFitted) {
  std::ofstream(mFolder.file("full")) << R"({"faults":[{"at":1.7,"fault":"disk-full"}]})";
  for (const std::string name : {"a.wav", "a.flac", "a.opus"}) {
    const std::string path = mFolder.file(name);
    const Ended ended = record(path, "mic=tone:440,scenario=" + mFolder.file("full"), "--seconds 9");
    EXPECT_EQ(ended.status, 1);
    EXPECT_THAT(ended.errors, AllOf(HasSubstr("disk full"), HasSubstr("No space left on device")));
    EXPECT_THAT(ended.output, AllOf(HasSubstr(R"("status":-4,"cause":"disk full")"), HasSubstr(R"("frames":)")));
    EXPECT_GE(decoded(path).size(), 44'000U) << "what was written in the first second at least";
  }
}

TEST_F(QueueRun, SaysWhatItDid) {
  const std::string begin = R"({"command":"queue )", hardware = R"("discontinuities":0,"overruns":0,"hardware":{)";
  const std::string client = R"(:{"sampleRate":16000.0,"channelCount":1,"interleaved":true,"commonFormat":"Int16"}})";
  const std::string host = R"(","host":"simulated","ended":")";
  EXPECT_EQ(record(mTake, "rate=32000,slice=100", "--seconds 0.5 --format 16000-S16I-1"),
            (Ended{0, begin + "record" + host + R"(seconds","seconds":0.5,"frames":16000,"slice":100,)" + hardware +
                          R"("input":)" + formatJson(32000, 1) + R"(},"client":{"input")" + client +
                          R"(,"file":{"path":")" + mTake + "\",\"type\":\"WAVE\",\"frames\":8000}}\n"}));
  EXPECT_EQ(runFast("rate=32000", "--json queue play " + mTake),
            (Ended{0, begin + "play" + host + R"(finished","seconds":0.512,"frames":16384,"slice":256,)" + hardware +
                          R"("output":)" + formatJson(32000, 2) + R"(},"client":{"output")" + client + "}\n"}));
  EXPECT_EQ(runFast("", "queue record --seconds 0.5 " + mTake).errors,
            "orvane: wrote 22050 frames (0.5 s) to " + mTake + "\n");
  EXPECT_THAT(run("sh -c 'printf x | " ORVANE_TOOL " queue play /dev/stdin'").errors, HasSubstr("orvane: "));
}

TEST_F(QueueRun, ListsTheFileFormats) {
  const std::string lines =
      "AIFC  AIFC                        .aifc\nAIFF  AIFF                        .aif, .aiff\n"
      "AU    AU (Sun, NeXT)              .au, .snd\nflac  FLAC                        .flac\n"
      "Opus  Opus (Ogg)                  .opus\nRF64  RF64 (WAVE beyond 4 GiB)    .rf64\n"
      "WAVE  WAVE                        .wav, .wave\n";
  EXPECT_EQ(runFast("", "formats"), (Ended{0, lines}));
  EXPECT_THAT(runFast("", "formats --data-formats").output,
              HasSubstr("\n      lpcm: 11 variants, readable, writable, both byte orders\nflac  FLAC"));
  EXPECT_THAT(
      runFast("", "formats --json").output,
      AllOf(StartsWith(R"({"command":"formats","host":"simulated","ended":"finished","formats":[{"type":"AIFC",)"),
            HasSubstr("\"type\":\"AU  \",\"name\":\"AU (Sun, NeXT)\",\"extensions\":[\"au\",\"snd\"]}")));
  EXPECT_THAT(
      runFast("", "--json formats --data-formats").output,
      HasSubstr(R"("dataFormats":[{"id":"opus","readable":true,"writable":true,"bothEndians":false,"variants":[{)"));
}

}  // namespace
}  // namespace orvane::test
