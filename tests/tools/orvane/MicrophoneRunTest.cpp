// SPDX-License-Identifier: MIT
#include "tests/tools/orvane/Voice.h"

namespace orvane::test {
namespace {

/// Runs of `orvane record` whose microphone is a sound file.
class MicrophoneRun : public ToolRun {
 protected:
  MicrophoneRun() {
    std::mt19937 random(7);
    for (int index = 0; index < 2 * 60'000; ++index)
      mSound.samples.push_back(std::uniform_real_distribution<float>(-0.9F, 0.9F)(random));
  }

  /// Writes the test sound to a file in libsndfile's format `format`, and returns the file's path.
  std::string written(int format) const {
    SndfileHandle file(mVoice, SFM_WRITE, format, mSound.channels, mSound.rate);
    file.write(mSound.samples.data(), static_cast<sf_count_t>(mSound.samples.size()));
    EXPECT_EQ(file.error(), 0) << std::hex << format;
    return mVoice;
  }

  Ended record(const std::string& path, const std::string& options = {}) const {
    return runFast("mic=" + path, "--json record " + mTake + options);
  }

  void expectHeard(const std::string& path, const std::string& frames) const {
    const Ended ended = record(path);
    EXPECT_EQ(ended, (Ended{0, ended.output})) << path;
    EXPECT_THAT(ended.output, AllOf(HasSubstr(R"("ended":"input-ended",)"), HasSubstr(R"("frames":)" + frames + ",")))
        << path;
  }

  Sound mSound{48000, 2, {}};
};

void replace(const std::string& path, std::size_t offset, const std::string& bytes) {
  std::fstream file(path, std::ios::in | std::ios::out | std::ios::binary);
  file.seekp(static_cast<std::streamoff>(offset));
  file << bytes;
}

TEST_F(MicrophoneRun, HearsWholeFilesOfAllKindsToTheEnd) {
  for (const int format :
       {SF_FORMAT_WAV | SF_FORMAT_PCM_U8, SF_FORMAT_WAV | SF_FORMAT_PCM_24, SF_FORMAT_WAV | SF_FORMAT_IMA_ADPCM,
        SF_FORMAT_WAV | SF_FORMAT_MS_ADPCM, SF_FORMAT_WAV | SF_FORMAT_FLOAT | SF_ENDIAN_BIG,
        SF_FORMAT_WAVEX | SF_FORMAT_DOUBLE, SF_FORMAT_RF64 | SF_FORMAT_PCM_16, SF_FORMAT_AIFF | SF_FORMAT_PCM_16,
        SF_FORMAT_AIFF | SF_FORMAT_FLOAT, SF_FORMAT_AU | SF_FORMAT_PCM_16,
        SF_FORMAT_AU | SF_FORMAT_ULAW | SF_ENDIAN_LITTLE, SF_FORMAT_W64 | SF_FORMAT_PCM_16,
        SF_FORMAT_CAF | SF_FORMAT_PCM_16, SF_FORMAT_FLAC | SF_FORMAT_PCM_16, SF_FORMAT_OGG | SF_FORMAT_VORBIS,
        SF_FORMAT_OGG | SF_FORMAT_OPUS, SF_FORMAT_MPEG | SF_FORMAT_MPEG_LAYER_III}) {
    const std::string path = written(format);
    expectHeard(path, std::to_string(readSound(path).frames()));
  }
  const std::string plain = mFolder.file("plain.wav");
  writeSound(plain, mSound);
  for (const std::string& size : {std::string(4, '\0'), std::string(4, '\xFF')}) {
    replace(plain, 4, size);
    replace(plain, readFile(plain).find("data") + 4, size);
    expectHeard(plain, "60000");
  }
  const std::string source = written(SF_FORMAT_WAV | SF_FORMAT_PCM_16);
  const std::string made = mFolder.file("made");
  const std::string convert = "ffmpeg -y -v error -i " + source;
  for (const std::string kind : {"wav", "flac", "au", "ogg", "opus"}) {
    EXPECT_EQ(run("sh -c '" + convert + " -f " + kind + " - | cat > " + made + "'"), Ended{0});
    expectHeard(made, "60000");
  }
  // An MP3 file consists of blocks of 1152 samples; a header may state how many of the samples belong to the sound.
  for (const std::string& command : {"sox " + source + " -C 5 -t ogg " + made, convert + " -f mp3 " + made}) {
    EXPECT_EQ(run(command), Ended{0});
    expectHeard(made, "60000");
  }
  EXPECT_EQ(run(convert + " -write_xing 0 -f mp3 " + made), Ended{0});
  EXPECT_EQ(record(made).status, 0) << "its length is an estimate";
}

TEST_F(MicrophoneRun, RefusesAFileThatIsShorterThanItsHeaderDeclares) {
  for (const int format :
       {SF_FORMAT_WAV | SF_FORMAT_PCM_16, SF_FORMAT_WAV | SF_FORMAT_PCM_16 | SF_ENDIAN_BIG,
        SF_FORMAT_WAVEX | SF_FORMAT_PCM_16, SF_FORMAT_RF64 | SF_FORMAT_PCM_16, SF_FORMAT_AIFF | SF_FORMAT_PCM_16,
        SF_FORMAT_AU | SF_FORMAT_PCM_16, SF_FORMAT_AU | SF_FORMAT_PCM_16 | SF_ENDIAN_LITTLE,
        SF_FORMAT_W64 | SF_FORMAT_PCM_16, SF_FORMAT_CAF | SF_FORMAT_PCM_16}) {
    const std::string path = written(format);
    std::filesystem::resize_file(path, 120'000);
    const Ended ended = record(path);
    EXPECT_EQ(ended.status, 2) << std::hex << format;
    // In some containers the declared size includes fields before the samples.
    EXPECT_THAT(ended.errors, MatchesRegex("orvane: --simulate: mic=" + path + ": \"" + path +
                                           "\" is cut short: its header declares 2400..? bytes of sound, and "
                                           "11.... are there\n"));
    EXPECT_FALSE(std::filesystem::exists(mTake));
  }
}

TEST_F(MicrophoneRun, FailsAtTheFrameWhereItCannotDecodeAFile) {
  const int flac = SF_FORMAT_FLAC | SF_FORMAT_PCM_16;
  const int vorbis = SF_FORMAT_OGG | SF_FORMAT_VORBIS;
  const int mpeg = SF_FORMAT_MPEG | SF_FORMAT_MPEG_LAYER_III;
  const std::tuple<int, bool, std::string> cases[] = {
      {flac, true, "cannot be decoded \\(flac decoder lost sync\\)"},
      {flac, false, "cannot be decoded \\(unknown error in flac decoder\\)"},
      {vorbis, true, "lacks its last page and ends"},
      {vorbis, false, "declares 60000 frames and ends"},
      {mpeg, true, "declares 6.... frames and ends"}};
  for (const auto& [format, isCut, trouble] : cases) {
    const std::string path = written(format);
    const std::string whole = readFile(path);
    ASSERT_EQ(record(path).status, 0);
    const std::string recorded = readFile(mTake);
    if (isCut) {
      std::filesystem::resize_file(path, whole.size() / 2);
    } else {
      const std::size_t middle = whole.size() / 2;
      for (const std::size_t place : {middle, middle + 5, middle + 9})
        replace(path, place, {static_cast<char>(whole[place] ^ 0x5A)});
    }
    for (const std::string options : {"", " --seconds 9"}) {
      SCOPED_TRACE(trouble + options);
      const Ended ended = record(path, options);
      const std::string frames = framesOfWholeFile(mTake);
      EXPECT_EQ(ended.status, 1);
      EXPECT_THAT(ended.errors, ContainsRegex("orvane: the microphone's file \"" + path + "\" " + trouble +
                                              " at frame " + frames + "\n"));
      EXPECT_THAT(ended.output, AllOf(HasSubstr(R"("ended":"failed")"), HasSubstr(R"("frames":)" + frames + ",")));
      EXPECT_GT(std::stoi(frames), 10'000);
      EXPECT_LT(std::stoi(frames), 60'000);
      // The samples before the failure are correct. Only Vorbis continues after a damaged page.
      EXPECT_TRUE((format == vorbis && !isCut) || recorded.substr(80).starts_with(readFile(mTake).substr(80)));
    }
    const Ended tone = runFast("mic=" + path, "tone --seconds 9 --json --verbose");
    EXPECT_THAT(tone.output, HasSubstr(R"("ended":"seconds","seconds":9.0,)")) << "a run without input goes on";
    EXPECT_THAT(tone.errors, HasSubstr(": the input is silent\n"));
  }
}

TEST_F(MicrophoneRun, FailsWhereAFileCannotBeRead) {
  const std::string device = hearing({.samples = std::vector<float>(500'000, 0.25F)});
  const Ended ended = run("env LD_PRELOAD=" ORVANE_BAD_DISK " " ORVANE_TOOL " --json --simulate pace=fast," + device +
                          " record " + mTake);
  const std::string frames = framesOfWholeFile(mTake);
  EXPECT_EQ(ended, (Ended{1, ended.output,
                          "orvane: the microphone's file \"" + mVoice +
                              "\" cannot be read (Input/output error) at frame " + frames + "\n"}));
  EXPECT_GT(std::stoi(frames), 200'000);
}

TEST_F(MicrophoneRun, FailsWhereAFileIsTruncatedDuringTheRun) {
  const std::string device = hearing({.samples = std::vector<float>(500'000, 0.25F)});
  Program recording(ORVANE_TOOL " --simulate " + device + " record " + mTake);
  await([&] { return readFile(mTake).size() > 10'000; });
  std::filesystem::resize_file(mVoice, std::filesystem::file_size(mVoice) - 4 * 400'000);
  EXPECT_EQ(recording.finish(),
            (Ended{1, "",
                   "orvane: wrote 100000 frames (2.083 s) to " + mTake + "\norvane: the microphone's file \"" + mVoice +
                       "\" declares 500000 frames and ends at frame 100000\n"}));
}

}  // namespace
}  // namespace orvane::test
