#include "tests/tool/Program.h"

namespace orvane::test {
namespace {

using testing::HasSubstr;
using testing::StartsWith;

TEST(Commands, EndWithTheStatusAndTheReason) {
  const TemporaryFolder folder;
  const std::string file = folder.file("untouched.wav");
  const std::string old = folder.file("old.wav");
  writeSound(old, {44100, 1, {0, 0}});
  const std::string before = readFile(old);
  const std::string tone = "tone --seconds 0.1 --simulate pace=fast,speaker=" + file;
  const std::string notStarted = "orvane: UnitService::start failed: ";
  const std::string notMade = "orvane: ConvertingFile::create failed: ";
  const struct {
    int status;
    std::string arguments;
    std::vector<std::string> said;
  } cases[] = {
      {2, "", {"a command is needed", "session, device, tone, meter, record and playthru", "'orvane --help'"}},
      {2, "tune", {"\"tune\" is no command", "session, device, tone, meter, record and playthru"}},
      {2, "tone meter", {"\"meter\" is not expected", "'orvane tone --help'"}},
      {2, "--seconds 1 tone", {"\"--seconds\" is not expected here", "stand behind the command"}},
      {2, "meter --seconds", {"--seconds needs a value"}},
      {2, "meter --seconds 1 --seconds 2", {"--seconds may be given only once"}},
      {2, "meter --seconds 0", {"--seconds: 0 is out of range", "from 0.000001 to 1000000000"}},
      {2, "meter --session main", {"--session", "\"main\"", "primary or auxiliary"}},
      {2, "session --option mixWithOthers=yes", {"it takes =on or =off behind mixWithOthers"}},
      {2, "session --option mix=on", {"\"mix=on\": no option is called so", "allowA2DP, defaultToSpeaker"}},
      {2, "--host pipe device", {"--host: \"pipe\"", "simulated or pipewire"}},
      {2, "--host pipewire --simulate pace=fast device", {"--simulate sets up the simulated host"}},
      {2, tone + " --frequency -440", {"--frequency: -440 is out of range", "from 0.1 to half the rate"}},
      {2, tone + " --frequency nan", {"--frequency: \"nan\" is no number", "from 0.1 to half the rate"}},
      {2, tone + " --frequency 16000.01", {"--frequency: 16000.01", "from 0.1 to 16000", "24000 with --monotone"}},
      {2, tone + " --frequency 24001 --monotone", {"--frequency: 24001", "from 0.1 to 24000"}},
      {2, tone + " --frequency 5000 --client-rate 8000", {"rate of 8000", "from 0.1 to 2666.6666666666665"}},
      {2, tone + ",rate=500", {"--frequency: 261", "to 166.66666666666666"}},
      {2, tone + " --amplitude 1.01", {"--amplitude: 1.01 is out of range", "0 to 1"}},
      {2, tone + " --amplitude ''", {"--amplitude: \"\" is no number", "0 to 1"}},
      {2, tone + " --client-rate 0", {"--client-rate: 0 is out of range", "from 1 to 768000"}},
      {2, "record " + file + " --client-rate 22050.5", {"--client-rate: 22050.5", "whole hertz, from 1 to 768000"}},
      {2, "record", {"PATH is required", "'orvane record --help'"}},
      {2, "device --simulate =3", {"--simulate: unknown key \"\""}},
      {77, "--host pipewire device", {"this build has no pipewire host; it has --host simulated"}},
      {77,
       "meter --json --simulate inputs=0",
       {"orvane: the simulated host has no audio input", R"("error":"the simulated host has no audio input")"}},
      {77, "tone --simulate outputs=0", {"orvane: the simulated host has no audio output"}},
      {1, "session --category playandrecord", {"setCategory failed: no category is named \"playandrecord\""}},
      {1, "tone --category Record --option allowA2DP=on", {"change categoryOption 0x20 1 failed: "}},
      {2, "meter --simulate speaker=/none/a.wav", {"speaker=/none/a.wav: \"/none/a.wav\": there is no such folder"}},
      {2, "meter --simulate speaker=/dev/null", {"\"/dev/null\": it is not a regular file"}},
      {1, "meter --session auxiliary --category Playback", {notStarted + "-15"}},
      {1, "tone --session primary --category Record", {notStarted + "-16"}},
      {1,
       "tone --seconds 1 --simulate rate=0",
       {"Hardware sample rate is 0.0 after activating session and initializing AU"}},
      {1, "meter --simulate rate=0", {notStarted + "-12"}},
      {1, "record /none/take.wav", {notMade + "-2"}},
      {1, "record /", {notMade + "-5"}},
      {1, "record " + old + " --unit xyzw", {"log error: Failure: I/O unit subtype 'xyzw' not found\norvane: I/O"}},
      {1, "record " + old + " --simulate mic=" + old, {notMade + "-3", "old.wav\" is the microphone's own file"}},
      {1,
       "record " + file + " --simulate speaker=" + file,
       {notStarted + "-3", "being written as another file of this run"}},
  };
  for (const auto& [status, arguments, said] : cases) {
    const Ended ended = runTool(arguments);
    EXPECT_EQ(ended.status, status) << arguments;
    EXPECT_EQ(ended.output, "");
    EXPECT_TRUE(status != 2 || (ended.errors.starts_with("orvane: ") && !std::filesystem::exists(file))) << arguments;
    for (const std::string& words : said) EXPECT_THAT(ended.errors, HasSubstr(words)) << arguments;
    EXPECT_EQ(readFile(old), before) << arguments;
  }
  EXPECT_THAT(runFast("", "record " + old + " --unit xyzw --json").output,
              StartsWith(R"({"command":"record","host":"simulated","ended":"failed",)"
                         R"("error":"I/O unit subtype 'xyzw' not found","seconds":0.0,"frames":0,)"));
}

TEST(Commands, ShowTheSessionAndTheHardware) {
  const auto session = [](const std::string& roles, const std::string& category, const std::string& mode,
                          const std::string& options) {
    return "session   " + roles + "\ncategory  orvane.category." + category + "\nmode      orvane.mode." + mode +
           "\noptions   " + options + "\n";
  };
  const std::pair<std::string, std::string> cases[] = {
      {"session", session("auxiliary, inactive", "play-and-record", "default", "none")},
      {"session --primary --category Ambient --mode Raw", session("primary, inactive", "ambient", "raw", "none")},
      {"session --category orvane.category.playback --activate --deactivate",
       session("auxiliary, inactive", "playback", "default", "none")},
      {"session --category Playback --deactivate --activate --option duckOthers=on",
       session("auxiliary, active", "playback", "default", "duckOthers")},
      // Two options share a bit, so that the later one has the last word on it.
      {"session --category Ambient --option mixExceptWithSpokenAudio=on --option mixWithOthers=off",
       session("auxiliary, inactive", "ambient", "default", "mixExceptWithSpokenAudio")},
      // A category drops what makes no sense with it; an option after it stays.
      {"session --option defaultToSpeaker=on --option allowSkycast=on --category Playback --option allowA2DP=on",
       session("auxiliary, inactive", "playback", "default", "allowA2DP, allowSkycast")},
      {"session --json --activate --option allowHFP=on --option defaultToSpeaker=on",
       R"({"primary":false,"active":true,"category":"orvane.category.play-and-record","mode":"orvane.mode.default",)"
       R"("mixWithOthers":false,"duckOthers":false,"allowHFP":true,"allowA2DP":false,"defaultToSpeaker":true,)"
       R"("mixExceptWithSpokenAudio":false,"allowSkycast":false})"
       "\n"},
      {"--simulate inputs=0 device",
       "host              simulated\n"
       "hardware input    none\n"
       "hardware output   48000 Hz, 2 channels, Float32, not interleaved\n"
       "client input      none\n"
       "client output     48000 Hz, 2 channels, Float32, not interleaved\n"
       "slice             256 frames\n"},
      {"device --json --simulate rate=44100,inputs=1,outputs=2,slice=100",
       R"({"host":"simulated","input":)" + formatJson(44100, 1) + R"(,"output":)" + formatJson(44100, 2) +
           ",\"slice\":100}\n"},
  };
  for (const auto& [arguments, output] : cases) {
    const Ended ended = runTool("--host simulated " + arguments);
    EXPECT_EQ(ended.status, 0);
    EXPECT_EQ(ended.output, output);
    EXPECT_EQ(ended.errors, "");
  }
  EXPECT_THAT(runTool("device").errors, HasSubstr("using the simulated device")) << "which nobody asked for";
  EXPECT_EQ(runFast("", "tone --unit abc --seconds 0.01").errors, "");
  EXPECT_THAT(runFast("", "tone --unit abc --seconds 0.01 --verbose").errors, HasSubstr("subtype string: abc\n"));
}

TEST(Commands, DoWithoutAUsableStandardOutput) {
  for (const std::string command : {"device", "session", "meter --seconds 0.1"}) {
    const Ended ended = runFast("", command + " >/dev/full");
    EXPECT_EQ(ended.status, 1);
    EXPECT_EQ(ended.errors, "orvane: standard output could not be written\n") << command;
  }
  // Where it is closed, the next file must not take its place.
  const TemporaryFolder folder;
  const std::string file = folder.file("silence.wav");
  EXPECT_EQ(runFast("speaker=" + file, "meter --seconds 0.1 >&- 2>&-").status, 0);
  EXPECT_EQ(readSound(file).samples, std::vector<float>(2 * 4864));
}

TEST(Commands, TellTheirUseWithAnExample) {
  for (const std::string command : {"", "session ", "device ", "tone ", "meter ", "record ", "playthru "}) {
    const Ended ended = runTool(command + "--help");
    EXPECT_EQ(ended.status, 0);
    EXPECT_EQ(ended.errors, "");
    EXPECT_THAT(ended.output,
                testing::AllOf(HasSubstr("Usage: orvane"), HasSubstr("Example"), HasSubstr("\n  orvane ")));
    EXPECT_EQ(runTool(command + "-h").output, ended.output);
    EXPECT_EQ(runTool(command + "--version").output, "orvane 0.1.0\n");
  }
}

TEST(Examples, DoWhatTheToolDoesAndAreWhatTheReadMeShows) {
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
  EXPECT_EQ(run(ORVANE_EXAMPLE_TONE " speaker=/none/heard.wav").errors,
            "tone: speaker=/none/heard.wav: \"/none/heard.wav\": there is no such folder\n");

  const std::string tone = readFile(ORVANE_SOURCE_FOLDER "/examples/tone.cpp");
  ASSERT_FALSE(tone.empty());
  EXPECT_THAT(readFile(ORVANE_SOURCE_FOLDER "/README.md"), HasSubstr("```cpp\n" + tone + "```\n"));
}

}  // namespace
}  // namespace orvane::test
