#include <gmock/gmock.h>

#include "tests/support/SoundFiles.h"
#include "tests/tool/Program.h"

namespace orvane::test {
namespace {

using testing::HasSubstr;
using testing::StartsWith;

TEST(SessionCommand, AppliesItsOptionsInTheOrderGiven) {
  struct Case {
    std::string options;
    std::string roles;
    std::string on;  ///< The options that are on, in the order of the object.
    std::string category;
    std::string mode = "default";
  };
  const std::string idle = R"({"primary":false,"active":false,)";
  const std::string active = R"({"primary":false,"active":true,)";
  const Case cases[] = {
      {"", idle, "", "play-and-record"},
      {"--primary --category Ambient --mode Raw", R"({"primary":true,"active":false,)", "", "ambient", "raw"},
      {"--category orvane.category.playback --activate --deactivate", idle, "", "playback"},
      {"--category Playback --deactivate --activate --option duckOthers=on", active, "duckOthers", "playback"},
      // Two options share a bit, so that the later one has the last word on it.
      {"--category Ambient --option mixExceptWithSpokenAudio=on --option mixWithOthers=off", idle,
       "mixExceptWithSpokenAudio", "ambient"},
      // A category drops what makes no sense with it; an option after it stays.
      {"--option defaultToSpeaker=on --option allowSkycast=on --category Playback --option allowA2DP=on", idle,
       "allowA2DP allowSkycast", "playback"},
  };
  for (const auto& [options, roles, on, category, mode] : cases) {
    std::string expected = roles + R"("category":"orvane.category.)" + category + R"(","mode":"orvane.mode.)" + mode;
    expected += '"';
    for (const std::string option : {"mixWithOthers", "duckOthers", "allowHFP", "allowA2DP", "defaultToSpeaker",
                                     "mixExceptWithSpokenAudio", "allowSkycast"}) {
      const bool isOn = (" " + on + " ").find(" " + option + " ") != std::string::npos;
      expected += ",\"" + option + "\":" + (isOn ? "true" : "false");
    }
    EXPECT_EQ(runFast("", "session --json " + options).output, expected + "}\n") << options;
  }
}

TEST(Commands, ShowTheSessionAndTheHardware) {
  const std::pair<std::string, std::string> cases[] = {
      {"--simulate '' session --option duckOthers=on --option defaultToSpeaker=on",
       "session   auxiliary, inactive\n"
       "category  orvane.category.play-and-record\n"
       "mode      orvane.mode.default\n"
       "options   duckOthers, defaultToSpeaker\n"},
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
    const Ended ended = runTool(arguments);
    EXPECT_EQ(ended.status, 0);
    EXPECT_EQ(ended.output, output);
    EXPECT_EQ(ended.errors, "");
  }
  EXPECT_THAT(runTool("device").errors, HasSubstr("using the simulated device")) << "which nobody asked for";
}

TEST(Commands, EndWithTheStatusAndTheReason) {
  struct Case {
    std::string device;
    std::string arguments;
    std::string reason;  ///< The beginning of the last line.
    int status = 1;
  };
  const std::string notStarted = "UnitService::start failed: ";
  const Case cases[] = {
      {"", "--host pipewire device", "--simulate sets up the simulated host", 2},
      {"inputs=0", "meter", "the simulated host has no audio input", 77},
      {"outputs=0", "tone", "the simulated host has no audio output", 77},
      {"", "session --category playandrecord", "setCategory failed: no category is named \"playandrecord\""},
      {"", "tone --category Record --option allowA2DP=on", "change categoryOption 0x20 1 failed: "},
      {"speaker=/none/heard.wav", "meter", notStarted + "-2"},
      {"", "meter --session auxiliary --category Playback", notStarted + "-15"},
      {"", "tone --session primary --category Record", notStarted + "-16"},
      {"rate=0", "tone --seconds 1", "Hardware sample rate is 0.0 after activating session and initializing AU"},
      {"rate=0", "meter --seconds 1", notStarted + "-12"},
      {"", "record /none/take.wav", "ConvertingFile::create failed: -2"},
      {"", "record /", "ConvertingFile::create failed: -5"},
  };
  for (const auto& [device, arguments, reason, status] : cases) {
    const Ended ended = runFast(device, arguments);
    EXPECT_EQ(ended.status, status) << arguments;
    EXPECT_EQ(ended.output, "");
    const std::size_t lastLine = ended.errors.rfind('\n', ended.errors.size() - 2) + 1;
    EXPECT_THAT(ended.errors.substr(lastLine), StartsWith("orvane: " + reason));
  }
  EXPECT_EQ(runTool("--host pipewire device").status, 77);
}

TEST(Commands, ReportAUnitThatIsNotThereAndLeaveTheFileAlone) {
  const TemporaryFolder folder;
  const std::string old = folder.file("old.wav");
  writeSound(old, {});
  const std::string before = readFile(old);
  const Ended ended = runFast("", "record " + old + " --unit xyzw --json");
  EXPECT_EQ(ended.status, 1);
  EXPECT_EQ(ended.errors,
            "log error: Failure: I/O unit subtype 'xyzw' not found\norvane: I/O unit subtype 'xyzw' not found\n");
  EXPECT_THAT(ended.output, StartsWith(R"({"command":"record","host":"simulated","ended":"failed",)"
                                       R"("error":"I/O unit subtype 'xyzw' not found","seconds":0.0,"frames":0,)"));
  EXPECT_EQ(readFile(old), before);
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

}  // namespace
}  // namespace orvane::test
