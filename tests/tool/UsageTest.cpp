#include <gmock/gmock.h>

#include <filesystem>

#include "tests/tool/Program.h"

namespace orvane::tests {
namespace {

using testing::AllOf;
using testing::HasSubstr;
using testing::StartsWith;

TEST(Usage, WrongUsageIsSaidBeforeAnythingStarts) {
  struct Case {
    Arguments arguments;
    std::vector<std::string> said;
  };
  const TemporaryFolder folder;
  const std::string file = folder.path("untouched.wav");
  const auto tone = [&file](const Arguments& options, const std::string& device = "rate=48000") {
    Arguments arguments{"--simulate", "pace=fast,speaker=" + file + "," + device, "tone", "--seconds", "0.1"};
    arguments.insert(arguments.end(), options.begin(), options.end());
    return arguments;
  };
  const Case cases[] = {
      {{}, {"a command is needed", "session, device, tone, meter, record and playthru", "'orvane --help'"}},
      {{"tune"}, {"\"tune\" is no command", "session, device, tone, meter, record and playthru"}},
      {{"tone", "meter"}, {"\"meter\" is not expected", "'orvane tone --help'"}},
      {{"--seconds", "1", "tone"}, {"\"--seconds\" is not expected here", "stand behind the command"}},
      {{"meter", "--seconds"}, {"--seconds needs a value"}},
      {{"meter", "--seconds", "1", "--seconds", "2"}, {"--seconds may be given only once"}},
      {{"meter", "--seconds", "0"}, {"--seconds: 0 is out of range", "from 0.000001 to 1000000000"}},
      {{"meter", "--seconds", "-1"}, {"--seconds: -1 is out of range"}},
      {{"meter", "--seconds", "1,5"}, {"--seconds: \"1,5\" is no number"}},
      {{"meter", "--seconds", "1s"}, {"\"1s\" is no number"}},
      {{"meter", "--session", "main"}, {"--session", "\"main\"", "primary or auxiliary"}},
      {{"session", "--option", "mixWithOthers"}, {"it takes =on or =off behind mixWithOthers"}},
      {{"session", "--option", "mixWithOthers=yes"}, {"it takes =on or =off behind mixWithOthers"}},
      {{"session", "--option", "mix=on"}, {"\"mix=on\": no option is called so", "allowA2DP, defaultToSpeaker"}},
      {{"session", "--option", "=on"}, {"no option is called so"}},
      {{"--host", "pipe", "device"}, {"--host: \"pipe\"", "simulated or pipewire"}},
      {{"--host", "pipewire", "--simulate", "pace=fast", "device"}, {"--simulate", "--host pipewire"}},
      {tone({"--frequency", "0"}), {"--frequency: 0 is out of range", "from 0.1 to half the rate"}},
      {tone({"--frequency", "-440"}), {"--frequency: -440 is out of range", "from 0.1 to half the rate"}},
      {tone({"--frequency", "nan"}), {"--frequency: \"nan\" is no number", "from 0.1 to half the rate"}},
      {tone({"--frequency", "inf"}), {"--frequency: \"inf\" is no number"}},
      {tone({"--frequency", "440Hz"}), {"--frequency: \"440Hz\" is no number"}},
      {tone({"--frequency", "0x1B8"}), {"--frequency: \"0x1B8\" is no number"}},
      {tone({"--frequency", "1e999"}), {"--frequency: \"1e999\" is no number"}},
      {tone({"--frequency", "16000.01"}), {"--frequency: 16000.01", "from 0.1 to 16000", "24000 with --monotone"}},
      {tone({"--frequency", "24001", "--monotone"}), {"--frequency: 24001", "from 0.1 to 24000"}},
      {tone({"--frequency", "5000", "--client-rate", "8000"}), {"rate of 8000", "from 0.1 to 2666.6666666666665"}},
      {tone({"--frequency", "5000"}, "rate=8000"), {"rate of 8000", "from 0.1 to 2666.6666666666665"}},
      {tone({}, "rate=500"), {"--frequency: 261", "to 166.66666666666666"}},
      {tone({"--amplitude", "1.01"}), {"--amplitude: 1.01 is out of range", "0 to 1"}},
      {tone({"--amplitude", "-0.1"}), {"--amplitude: -0.1 is out of range", "0 to 1"}},
      {tone({"--amplitude", "nan"}), {"--amplitude: \"nan\" is no number", "0 to 1"}},
      {tone({"--amplitude", ""}), {"--amplitude: \"\" is no number", "0 to 1"}},
      {{"record"}, {"PATH is required", "'orvane record --help'"}},
      {{"record", file, file}, {"is not expected here"}},
      {{"record", file, "--client-rate", "22050.5"}, {"--client-rate: 22050.5", "whole hertz, from 1 to 768000"}},
      {tone({"--client-rate", "0"}), {"--client-rate: 0 is out of range", "from 1 to 768000"}},
  };
  for (const auto& [arguments, said] : cases) {
    const Ended ended = runTool(arguments);
    SCOPED_TRACE(testing::PrintToString(arguments));
    EXPECT_EQ(ended.status, 2);
    EXPECT_EQ(ended.output, "");
    EXPECT_THAT(ended.errors, StartsWith("orvane: "));
    for (const std::string& words : said) EXPECT_THAT(ended.errors, HasSubstr(words));
    EXPECT_FALSE(std::filesystem::exists(file));
  }
}

TEST(Usage, AWrongDeviceIsNamedByItsKey) {
  struct Case {
    std::string simulate;
    std::string key;
  };
  const TemporaryFolder folder;
  writeSound(folder.path("voice.wav"), {.rate = 44100, .channels = 2, .samples = {0, 0}});
  const std::string voice = "mic=" + folder.path("voice.wav");
  for (const auto& [simulate, key] : {
           Case{"loudness=3", "loudness"},
           Case{"rate", "rate"},
           Case{"=3", "unknown key \"\""},
           Case{"pace=slow", "pace"},
           Case{"rate=-1", "rate"},
           Case{"rate=768001", "rate"},
           Case{"rate=fast", "rate"},
           Case{"inputs=65", "inputs"},
           Case{"outputs=-2", "outputs"},
           Case{"outputs=1.5", "outputs"},
           Case{"slice=0", "slice"},
           Case{"slice=8193", "slice"},
           Case{"slice=", "slice"},
           Case{"mic=" + folder.path("none.wav"), "mic"},
           Case{"mic=tone", "mic"},
           Case{"mic=tone:loud", "mic"},
           Case{"mic=noise:seed", "mic"},
           Case{voice + ",rate=48000", "rate"},
           Case{voice + ",inputs=1", "inputs"},
           Case{"pace=fast,rate=8000,rate=9000", "rate"},
       }) {
    const Ended ended = runTool({"--simulate", simulate, "device"});
    SCOPED_TRACE(simulate);
    EXPECT_EQ(ended.status, 2);
    EXPECT_EQ(ended.output, "");
    EXPECT_THAT(ended.errors, AllOf(StartsWith("orvane: --simulate: "), HasSubstr(key)));
  }
}

TEST(Usage, HelpTellsEveryCommandWithAnExample) {
  for (const char* command : {"", "session", "device", "tone", "meter", "record", "playthru"}) {
    for (const char* flag : {"-h", "--help"}) {
      const Ended ended = runTool(*command == '\0' ? Arguments{flag} : Arguments{command, flag});
      EXPECT_EQ(ended.status, 0);
      EXPECT_EQ(ended.errors, "");
      EXPECT_THAT(ended.output, AllOf(HasSubstr("Usage: orvane"), HasSubstr("Example"), HasSubstr("\n  orvane ")));
    }
  }
  for (const Arguments& arguments : {Arguments{"--version"}, Arguments{"tone", "--version"}}) {
    const Ended ended = runTool(arguments);
    EXPECT_EQ(ended.status, 0);
    EXPECT_EQ(ended.output, "orvane 0.1.0\n");
  }
}

}  // namespace
}  // namespace orvane::tests
