#include <gmock/gmock.h>

#include "tests/tool/Program.h"

namespace orvane::tests {
namespace {

using testing::AllOf;
using testing::EndsWith;
using testing::HasSubstr;
using testing::StartsWith;

Arguments simulated(const Arguments& arguments) {
  Arguments result{"--simulate", "pace=fast"};
  result.insert(result.end(), arguments.begin(), arguments.end());
  return result;
}

TEST(SessionCommand, AppliesItsOptionsInTheOrderGiven) {
  struct Case {
    Arguments options;
    std::string result;  ///< From "primary" to the mode.
    std::string on;      ///< The options that are on, in the order of the object.
  };
  const Case cases[] = {
      {{},
       R"("primary":false,"active":false,"category":"orvane.category.play-and-record","mode":"orvane.mode.default")",
       ""},
      {{"--primary", "--category", "PlayAndRecord", "--mode", "Measurement", "--activate"},
       R"("primary":true,"active":true,"category":"orvane.category.play-and-record","mode":"orvane.mode.measurement")",
       ""},
      {{"--category", "orvane.category.playback", "--activate", "--deactivate"},
       R"("primary":false,"active":false,"category":"orvane.category.playback","mode":"orvane.mode.default")",
       ""},
      {{"--category", "Playback", "--deactivate", "--activate", "--option", "duckOthers=on", "--option",
        "allowA2DP=on"},
       R"("primary":false,"active":true,"category":"orvane.category.playback","mode":"orvane.mode.default")",
       "duckOthers allowA2DP"},
      // Two options share a bit, so that the later one has the last word on it.
      {{"--category", "Ambient", "--option", "mixExceptWithSpokenAudio=on", "--option", "mixWithOthers=off"},
       R"("primary":false,"active":false,"category":"orvane.category.ambient","mode":"orvane.mode.default")",
       "mixExceptWithSpokenAudio"},
      {{"--category", "Ambient", "--option", "mixWithOthers=off", "--option", "mixExceptWithSpokenAudio=on"},
       R"("primary":false,"active":false,"category":"orvane.category.ambient","mode":"orvane.mode.default")",
       "mixWithOthers mixExceptWithSpokenAudio"},
      // A category drops what makes no sense with it; an option after it stays.
      {{"--category", "PlayAndRecord", "--option", "defaultToSpeaker=on", "--option", "allowSkycast=on", "--category",
        "Playback"},
       R"("primary":false,"active":false,"category":"orvane.category.playback","mode":"orvane.mode.default")",
       "allowSkycast"},
  };
  for (const auto& [options, result, on] : cases) {
    Arguments arguments = simulated({"session", "--json"});
    arguments.insert(arguments.end(), options.begin(), options.end());
    std::string expected = "{" + result;
    for (const std::string option : {"mixWithOthers", "duckOthers", "allowHFP", "allowA2DP", "defaultToSpeaker",
                                     "mixExceptWithSpokenAudio", "allowSkycast"}) {
      const bool isOn = (" " + on + " ").find(" " + option + " ") != std::string::npos;
      expected += ",\"" + option + "\":" + (isOn ? "true" : "false");
    }
    const Ended ended = runTool(arguments);
    EXPECT_EQ(ended.status, 0);
    EXPECT_EQ(ended.errors, "");
    EXPECT_EQ(ended.output, expected + "}\n") << testing::PrintToString(options);
  }
}

TEST(SessionCommand, ShowsTheSessionToPeople) {
  const Ended ended = runTool(simulated(
      {"session", "--category", "PlayAndRecord", "--option", "duckOthers=on", "--option", "defaultToSpeaker=on"}));
  EXPECT_EQ(ended.output,
            "session   auxiliary, inactive\n"
            "category  orvane.category.play-and-record\n"
            "mode      orvane.mode.default\n"
            "options   duckOthers, defaultToSpeaker\n");
}

TEST(DeviceCommand, ShowsTheHardware) {
  const Ended json = runTool({"device", "--json", "--simulate", "rate=44100,inputs=1,outputs=2,slice=100"});
  EXPECT_EQ(json.status, 0);
  EXPECT_EQ(json.output,
            R"({"host":"simulated",)"
            R"("input":{"sampleRate":44100.0,"channelCount":1,"interleaved":false,"commonFormat":"Float32"},)"
            R"("output":{"sampleRate":44100.0,"channelCount":2,"interleaved":false,"commonFormat":"Float32"},)"
            R"("slice":100})"
            "\n");
  const Ended text = runTool({"device", "--simulate", "inputs=0"});
  EXPECT_EQ(text.output,
            "host              simulated\n"
            "hardware input    none\n"
            "hardware output   48000 Hz, 2 channels, Float32, not interleaved\n"
            "client input      none\n"
            "client output     48000 Hz, 2 channels, Float32, not interleaved\n"
            "slice             256 frames\n");
}

TEST(Commands, SayThatTheDeviceIsSimulatedWhereNobodyAskedForIt) {
  EXPECT_THAT(runTool({"device"}).errors, AllOf(StartsWith("orvane: "), HasSubstr("simulated")));
  EXPECT_EQ(runTool({"--host", "simulated", "device"}).errors, "");
  EXPECT_EQ(runTool({"--simulate", "", "device"}).errors, "");
}

TEST(Commands, EndWithTheStatusAndTheReason) {
  struct Case {
    Arguments arguments;
    int status;
    std::string reason;  ///< The beginning of the last line.
  };
  const TemporaryFolder folder;
  const Case cases[] = {
      {{"--host", "pipewire", "device"}, 77, "orvane: this build has no pipewire host"},
      {{"--simulate", "inputs=0", "meter"}, 77, "orvane: the simulated host has no audio input"},
      {{"--simulate", "outputs=0", "tone"}, 77, "orvane: the simulated host has no audio output"},
      {simulated({"session", "--category", "playandrecord"}), 1,
       "orvane: setCategory failed: no category is named \"playandrecord\""},
      {simulated({"session", "--mode", "Loud"}), 1, "orvane: setMode failed: no mode is named \"Loud\""},
      {simulated({"tone", "--category", "Record", "--option", "allowA2DP=on"}), 1,
       "orvane: change categoryOption 0x20 1 failed: "},
      {{"--simulate", "speaker=" + folder.path("none/heard.wav"), "meter"}, 1, "orvane: UnitService::start failed: -2"},
      {simulated({"tone", "--unit", "xyzw"}), 1, "orvane: I/O unit subtype 'xyzw' not found"},
      {simulated({"meter", "--session", "auxiliary", "--category", "Playback"}), 1,
       "orvane: UnitService::start failed: -15"},
      {simulated({"tone", "--session", "primary", "--category", "Record"}), 1,
       "orvane: UnitService::start failed: -16"},
      {{"--simulate", "rate=0", "tone", "--seconds", "1"},
       1,
       "orvane: Hardware sample rate is 0.0 after activating session and initializing AU"},
      {{"--simulate", "rate=0", "meter", "--seconds", "1"}, 1, "orvane: UnitService::start failed: -12"},
  };
  for (const auto& [arguments, status, reason] : cases) {
    const Ended ended = runTool(arguments);
    SCOPED_TRACE(testing::PrintToString(arguments));
    EXPECT_EQ(ended.status, status);
    EXPECT_EQ(ended.output, "");
    const std::size_t lastLine = ended.errors.rfind('\n', ended.errors.size() - 2) + 1;
    EXPECT_THAT(ended.errors.substr(lastLine), AllOf(StartsWith(reason), EndsWith("\n")));
  }
}

TEST(Commands, ReportAFailedRunAsJson) {
  const Ended ended = runTool(simulated({"tone", "--unit", "xyzw", "--json"}));
  EXPECT_EQ(ended.status, 1);
  EXPECT_EQ(ended.errors,
            "log error: Failure: I/O unit subtype 'xyzw' not found\norvane: I/O unit subtype 'xyzw' not found\n");
  EXPECT_EQ(
      ended.output,
      R"({"command":"tone","host":"simulated","ended":"failed","error":"I/O unit subtype 'xyzw' not found",)"
      R"("seconds":0.0,"frames":0,"discontinuities":0,)"
      R"("hardware":{"output":{"sampleRate":48000.0,"channelCount":2,"interleaved":false,"commonFormat":"Float32"}},)"
      R"("client":{}})"
      "\n");
}

TEST(Commands, ShowTheLogsOtherLinesWhenVerbose) {
  const Arguments arguments = simulated({"tone", "--unit", "abc", "--seconds", "0.01"});
  EXPECT_EQ(runTool(arguments).errors, "");
  Arguments verbose = arguments;
  verbose.emplace_back("--verbose");
  const Ended ended = runTool(verbose);
  EXPECT_EQ(ended.status, 0);
  EXPECT_THAT(ended.errors, HasSubstr("invalid I/O unit subtype string: abc\n"));
}

TEST(Commands, SayThatStandardOutputIsFull) {
  for (const std::string command : {"device", "session", "meter --seconds 0.1"}) {
    const Ended ended = run("/bin/sh", {"-c", "exec " ORVANE_TOOL " --simulate pace=fast " + command + " >/dev/full"});
    EXPECT_EQ(ended.status, 1) << command;
    EXPECT_EQ(ended.errors, "orvane: standard output could not be written\n") << command;
  }
}

TEST(Commands, DoNotMixUpTheirFilesWhereStandardOutputIsClosed) {
  const TemporaryFolder folder;
  const std::string file = folder.path("silence.wav");
  const Ended ended = run(
      "/bin/sh", {"-c", "exec " ORVANE_TOOL " --simulate pace=fast,speaker=" + file + " meter --seconds 0.1 >&- 2>&-"});
  EXPECT_EQ(ended.status, 0);
  EXPECT_EQ(readSound(file), (Sound{48000, 2, std::vector<float>(2 * 4864)}));
}

}  // namespace
}  // namespace orvane::tests
