// SPDX-License-Identifier: MIT
#include "tests/tools/orvane/Program.h"

namespace orvane::test {
namespace {

/// A part of the message of a command that finds no sound server.
constexpr const char* noServer = ORVANE_HAS_PIPEWIRE ? "orvane: no sound server at /nonexistent/pipewire-0; "
                                                     : "this build has no pipewire host; it has --host simulated";

/// Runs the tool on the simulated host unless the arguments choose one.
Ended runOnSimulated(const std::string& arguments) {
  return runTool((arguments.find("--host") == std::string::npos ? "--host simulated " : "") + arguments);
}

TEST(Commands, EndWithTheStatusAndTheReason) {
  const TemporaryFolder folder;
  const std::string file = folder.file("untouched.wav");
  const std::string old = folder.file("old.wav");
  writeSound(old, {.samples = {0, 0}});
  const std::string tone = "tone --seconds 0.1 --simulate pace=fast,speaker=" + file;
  const std::string notStarted = "orvane: UnitService::";
  const std::tuple<int, std::string, std::vector<std::string>> cases[] = {
      {2,
       "",
       {"a command is needed", "session, device, tone, meter, record, playthru, engine, queue, formats, sound and midi",
        "'orvane --help'"}},
      {2,
       "tune",
       {"unknown command 'tune'",
        "session, device, tone, meter, record, playthru, engine, queue, formats, sound and midi"}},
      {2, "tone meter", {"unexpected argument 'meter' for 'orvane tone' (see 'orvane tone --help')"}},
      {2, "1 tone", {"unexpected argument '1' before 'tone'"}},
      {2, "record a b", {"unexpected argument 'b' for 'orvane record'"}},
      {2, "--seconds 1 tone", {"option '--seconds' must follow the command: 'orvane tone --seconds' (see"}},
      {2, "--seconds 1", {"option '--seconds' needs a command before it; the commands are"}},
      {2, "--bogus tone", {"unknown option '--bogus' for 'orvane' (see"}},
      {2, "meter --bogus", {"orvane: unknown option '--bogus' for 'orvane meter' (see 'orvane meter --help')\n"}},
      {2, "tone --unit x", {"--unit: \"x\" has 1 byte; it takes exactly four, such as rioc"}},
      {2, "record -", {"PATH: standard output is not supported; write ./- for a file named \"-\""}},
      {2, "meter --seconds", {"--seconds needs a value"}},
      {2, "meter --seconds 1 --seconds 2", {"--seconds may be given only once"}},
      {2, "meter --seconds 0", {"--seconds: 0 is out of range", "from 0.000001 to 1000000000"}},
      {2, "meter --session main", {"--session", "\"main\"", "primary or auxiliary"}},
      {2, "session --option mixWithOthers=yes", {"it takes mixWithOthers=on or mixWithOthers=off"}},
      {2, "session --option mix=on", {"\"mix=on\": unknown category option", "allowA2DP, defaultToSpeaker"}},
      {2, "--host pipe device", {"--host: unknown host \"pipe\"", "pipewire or simulated"}},
      {2, "--host pipewire --simulate pace=fast device", {"--simulate sets up the simulated host"}},
      {2, tone + " --frequency nan", {"--frequency: \"nan\" is not a number", "from 0.1 to half the rate"}},
      {2, tone + " --frequency 16000.01", {"--frequency: 16000.01", "from 0.1 to 16000", "24000 with --monotone"}},
      {2, tone + " --frequency 24001 --monotone", {"--frequency: 24001", "from 0.1 to 24000"}},
      {2, tone + " --frequency 5000 --client-rate 8000", {"rate of 8000", "from 0.1 to 2666.6666666666665"}},
      {2, tone + ",rate=500", {"--frequency: 261", "to 166.66666666666666"}},
      {2, tone + " --amplitude 1.01", {"--amplitude: 1.01 is out of range", "0 to 1"}},
      {2, tone + " --client-rate 0", {"--client-rate: 0 is out of range", "from 1 to 768000"}},
      {2, "record " + file + " --client-rate 22050.5", {"--client-rate: 22050.5", "whole hertz, from 1 to 768000"}},
      {2, "record", {"PATH is required", "'orvane record --help'"}},
      {77, "--host pipewire device", {noServer}},
      {77, "meter --simulate inputs=0", {"orvane: the simulated host has no audio input"}},
      {77, "tone --simulate outputs=0", {"orvane: the simulated host has no audio output"}},
      {1, "session --category playandrecord", {"setCategory failed: no category is named \"playandrecord\""}},
      {1, "tone --category Record --option allowA2DP=on", {"change categoryOption 0x20 1 failed: "}},
      {2, "meter --simulate speaker=/none/a.wav", {"--simulate: speaker=/none/a.wav: \"/none/a.wav\": there is no"}},
      {1, "meter --session auxiliary --category Playback", {notStarted + "initialize failed: -15"}},
      {1, "tone --session primary --category Record", {notStarted + "initialize failed: -16"}},
      {1, "tone --seconds 1 --simulate rate=0", {"Hardware sample rate is 0.0 after activating session and init"}},
      {1, "meter --simulate rate=0", {notStarted + "start failed: -12"}},
      {1, "record " + old + " --unit xyzw", {"orvane: I/O unit subtype 'xyzw' not found\n"}},
      {1,
       "record " + old + " --simulate mic=" + old,
       {"create failed: -3: \"" + old + "\" is the microphone's file of this run"}},
      {1,
       "record " + file + " --simulate speaker=" + file,
       {notStarted + "start failed: -3", "being written as another file of"}}};
  for (const auto& [status, arguments, said] : cases) {
    const Ended ended = runOnSimulated(arguments);
    EXPECT_EQ(ended, (Ended{status, "", ended.errors})) << arguments;
    EXPECT_TRUE(status != 2 || (ended.errors.starts_with("orvane: ") && !std::filesystem::exists(file))) << arguments;
    for (const std::string& words : said) EXPECT_THAT(ended.errors, HasSubstr(words)) << arguments;
    EXPECT_EQ(ended.errors.find("log error: "), std::string::npos) << "the failure twice: " << ended.errors;
    EXPECT_EQ(readSound(old).samples, std::vector<float>(2)) << arguments;
  }
}

TEST(Commands, ShowTheSessionAndTheHardware) {
  const std::pair<std::string, std::string> cases[] = {
      {"session", "auxiliary, inactive\ncategory  orvane.category.play-and-record\nmode      orvane.mode.default\n"},
      {"session --primary --category Ambient --mode Raw",
       "primary, inactive\ncategory  orvane.category.ambient\nmode      orvane.mode.raw\noptions   none\n"},
      {"session --category orvane.category.playback --activate --deactivate",
       "inactive\ncategory  orvane.category.playback\n"},
      {"session --deactivate --activate --option duckOthers=on", "auxiliary, active\n"},
      // These two options share a bit, and the later option determines it.
      {"session --option mixExceptWithSpokenAudio=on --option mixWithOthers=off",
       "options   mixExceptWithSpokenAudio\n"},
      // Setting a category clears the options that it does not accept. An option after the category is kept.
      {"session --option defaultToSpeaker=on --option allowSkycast=on --category Playback --option allowA2DP=on",
       "options   allowA2DP, allowSkycast\n"},
      {"device --simulate inputs=0", "input    none\n"},
      {"device --simulate outputs=0 --category Record", "output   none\n"},
      {"session --json --activate --option allowHFP=on --option defaultToSpeaker=on",
       R"({"command":"session","host":"simulated","ended":"finished","primary":false,"active":true,"category":"orvane.category.play-and-record","mode":"orvane.mode.default",)"
       R"("mixWithOthers":false,"duckOthers":false,"allowHFP":true,"allowA2DP":false,"defaultToSpeaker":true,)"
       R"("mixExceptWithSpokenAudio":false,"allowSkycast":false})"
       "\n"},
      {"device --json --simulate rate=44100,inputs=1,outputs=2,slice=100",
       R"({"command":"device","host":"simulated","ended":"finished","input":)" + formatJson(44100, 1) +
           R"(,"output":)" + formatJson(44100, 2) + R"(,"client":{"input":)" + formatJson(44100, 1) + R"(,"output":)" +
           formatJson(44100, 2) + "},\"slice\":100}\n"}};
  for (const auto& [arguments, output] : cases) {
    const Ended ended = runTool("--host simulated " + arguments);
    EXPECT_EQ(ended, (Ended{0, ended.output}));
    EXPECT_THAT(ended.output, HasSubstr(output)) << arguments;
  }
  // If a build has the sound server's host, the tool never uses the simulated device instead.
  EXPECT_THAT(runTool("device").errors, HasSubstr(ORVANE_HAS_PIPEWIRE ? noServer : "using the simulated device"));
  EXPECT_EQ(runFast("", "tone --unit rioc --seconds 0.01"), Ended{0});
}

TEST(Commands, PrintOneObjectHoweverTheyEnd) {
  const std::tuple<std::string, int, std::string> cases[] = {
      {"--json", 2, R"("command":"","host":"simulated","ended":"usage","error":"a command is needed; )"},
      {"--bogus tone --json=true", 2, R"("command":"tone","host":"simulated","ended":"usage","error":")"},
      {"--host pipewire --json record", 2, R"("command":"record","host":"pipewire","ended":"usage","error":"PATH is )"},
      {"meter --bogus --json", 2, R"("command":"meter","host":"simulated","ended":"usage","error":")"},
      {"meter --json --seconds 0", 2, R"("command":"meter","host":"simulated","ended":"usage","error":"--sec)"},
      {"record --json --simulate mic=/none '\xFF'", 2, R"("command":"record","host":"simulated","ended":"usage",)"},
      {"tone --json --frequency 24001", 2, R"("command":"tone","host":"simulated","ended":"usage","error":"--fr)"},
      {"device --json --host pipewire", 77, R"("command":"device","host":"pipewire","ended":"unavailable","error":")"},
      {"meter --json --host pipewire", 77, R"("command":"meter","host":"pipewire","ended":"unavailable",)"},
      {"meter --json --simulate inputs=0", 77,
       R"("command":"meter","host":"simulated","ended":"unavailable","error":"the simulated host has no audio input",)"
       R"("seconds":0.0,"frames":0,"slice":0,)"},
      {"session --json --category x", 1, R"("command":"session","host":"simulated","ended":"failed","error":"setCa)"},
      {"device --json --unit xyzw", 1, R"("command":"device","host":"simulated","ended":"failed","error":"I/O unit)"},
      {"tone --json --simulate pace=fast,slice=100 --seconds 0.1", 0,
       R"("command":"tone","host":"simulated","ended":"seconds","seconds":0.1,"frames":4800,"slice":100,)"},
      {"meter --json --simulate pace=fast --seconds 1 >/dev/full", 1,
       R"("command":"meter","host":"simulated","ended":"failed","error":"standard output could not be written",)"
       R"("seconds":1.0,"frames":48000,)"}};
  for (const auto& [arguments, status, members] : cases) {
    const Ended ended = runOnSimulated(arguments);
    EXPECT_EQ(ended.status, status) << arguments;
    // The JSON object is the last line. `meter` prints it on standard error, because standard output has the bars;
    // other commands print only the object on standard output.
    const bool toErrors = members.starts_with(R"("command":"meter")");
    const std::string& stream = toErrors ? ended.errors : ended.output;
    const std::string object = stream.substr(std::min(stream.find("{\"command\""), stream.size()));
    EXPECT_THAT(object, AllOf(StartsWith("{" + members), EndsWith("}\n"))) << arguments;
    EXPECT_EQ(std::ranges::count(object, '\n'), 1) << arguments;
    EXPECT_TRUE(toErrors || ended.output == object) << ended;
    EXPECT_TRUE(status == 0 || ended.errors.starts_with("orvane: ")) << ended;
  }
}

TEST(Commands, DoWithoutAUsableStandardOutput) {
  for (const std::string command : {"device", "session", "session --json", "--version", "meter --seconds 0.1"})
    EXPECT_EQ(runFast("", command + " >/dev/full"), (Ended{1, "", "orvane: standard output could not be written\n"}));
  // If standard output is closed, the next opened file must not get its descriptor.
  const TemporaryFolder folder;
  const std::string file = folder.file("silence.wav");
  EXPECT_EQ(runFast("speaker=" + file, "meter --seconds 0.1 >&- 2>&-").status, 0);
  EXPECT_EQ(readSound(file).samples, std::vector<float>(2 * 4800));
}

TEST(Commands, TellTheirUseIn80Columns) {
  for (const std::string command : {"", "session ", "device ", "tone ", "meter ", "record ", "playthru "}) {
    const Ended help = runTool(command + "--help");
    EXPECT_THAT(help.output, ContainsRegex("Usage: orvane(.|\n)*Example.*\n  orvane "));
    std::istringstream lines(help.output);
    for (std::string line; std::getline(lines, line);) EXPECT_LE(line.size(), 80U) << line;
    EXPECT_EQ(help, (Ended{0, help.output}));
    EXPECT_EQ(runTool(command + "-h"), help);
    EXPECT_EQ(runTool(command + "--version"), (Ended{0, "orvane 0.1.0\n"}));
  }
}

TEST(Commands, SayOnATerminalWhatRuns) {
  const auto onTerminal = [](const std::string& arguments) {
    return run("script -qec '" ORVANE_TOOL " --simulate pace=fast " + arguments + "' /dev/null").output;
  };
  const TemporaryFolder folder;
  const std::string file = folder.file("a.wav");
  EXPECT_EQ(onTerminal("tone --seconds 0.5"),
            "orvane: playing a tone on the output of the simulated host; ends after 0.5 s or with Ctrl-C\r\n");
  EXPECT_THAT(onTerminal("record --json --seconds 1 " + file),
              testing::StartsWith("orvane: recording the input of the simulated host to " + file + "; ends after 1 s"));
  EXPECT_THAT(onTerminal("playthru --seconds 1 --unit xyzw"), testing::Not(HasSubstr("ends"))) << "it did not start";
  EXPECT_THAT(onTerminal("meter --seconds 1"), testing::Not(HasSubstr("ends")));
}

TEST(Examples, DoWhatTheToolDoes) {
  const Ended meter = run(ORVANE_EXAMPLE_METER " pace=fast,mic=tone:440:0.5");
  EXPECT_EQ(meter.output.size(), 118U * 41) << "every eighth of 938 slices";
  EXPECT_EQ(meter, runFast("mic=tone:440:0.5", "meter --seconds 5"));

  const TemporaryFolder folder;
  const std::string example = folder.file("example.wav"), tool = folder.file("tool.wav"),
                    lost = folder.file("lost.json");
  EXPECT_EQ(run(ORVANE_EXAMPLE_TONE " pace=fast,speaker=" + example), Ended{0});
  EXPECT_EQ(runFast("speaker=" + tool, "tone --frequency 440 --monotone --seconds 2"), Ended{0});
  EXPECT_TRUE(readFile(example) == readFile(tool));
  std::ofstream(lost) << R"({"audio":{"pace":"fast"},"faults":[{"at":0.5,"fault":"device-lost"}]})";
  for (const auto& [name, command] :
       {std::pair<std::string, std::string>{"tone", ORVANE_EXAMPLE_TONE}, {"meter", ORVANE_EXAMPLE_METER}}) {
    const Ended ended = run(command + " scenario=" + lost);
    EXPECT_EQ(ended, (Ended{1, ended.output, name + ": the device was lost\n"})) << "no failure looks like a pass";
    EXPECT_EQ(run(command + " speaker=/none/heard.wav").errors,
              name + ": speaker=/none/heard.wav: \"/none/heard.wav\": there is no such folder\n");
  }
}

TEST(ReadMe, ShowsWhatIsPrinted) {
  const std::string readMe = readFile(ORVANE_SOURCE_FOLDER "/README.md");
  EXPECT_THAT(readMe, HasSubstr("```cpp\n" + readFile(ORVANE_SOURCE_FOLDER "/examples/tone.cpp") + "```\n"));
  for (const std::string arguments :
       {"--simulate rate=44100,inputs=2 device", "--json --simulate pace=fast tone --seconds 1",
        "--simulate \"\" session --category PlayAndRecord --mode Measurement --option defaultToSpeaker=on "
        "--activate"}) {
    const Ended ended = runTool(arguments);
    const std::string shown = "$ orvane " + arguments + "\n" + ended.output;
    EXPECT_EQ(ended, (Ended{0, ended.output}));
    EXPECT_THAT(readMe, testing::AnyOf(HasSubstr(shown + "```"), HasSubstr(shown + "$ ")));
  }
}

}  // namespace
}  // namespace orvane::test
