#include <gmock/gmock.h>

#include <filesystem>

#include "tests/support/SoundFiles.h"
#include "tests/tool/Program.h"

namespace orvane::test {
namespace {

using testing::HasSubstr;

TEST(Usage, WrongUsageIsSaidBeforeAnythingStarts) {
  struct Case {
    std::string arguments;
    std::vector<std::string> said;
  };
  const TemporaryFolder folder;
  const std::string file = folder.file("untouched.wav");
  const std::string voice = "device --simulate mic=" + folder.file("voice.wav");
  writeSound(folder.file("voice.wav"), {44100, 2, {0, 0}});
  const std::string tone = "tone --seconds 0.1 --simulate pace=fast,speaker=" + file;
  const Case cases[] = {
      {"", {"a command is needed", "session, device, tone, meter, record and playthru", "'orvane --help'"}},
      {"tune", {"\"tune\" is no command", "session, device, tone, meter, record and playthru"}},
      {"tone meter", {"\"meter\" is not expected", "'orvane tone --help'"}},
      {"--seconds 1 tone", {"\"--seconds\" is not expected here", "stand behind the command"}},
      {"meter --seconds", {"--seconds needs a value"}},
      {"meter --seconds 1 --seconds 2", {"--seconds may be given only once"}},
      {"meter --seconds 0", {"--seconds: 0 is out of range", "from 0.000001 to 1000000000"}},
      {"meter --session main", {"--session", "\"main\"", "primary or auxiliary"}},
      {"session --option mixWithOthers=yes", {"it takes =on or =off behind mixWithOthers"}},
      {"session --option mix=on", {"\"mix=on\": no option is called so", "allowA2DP, defaultToSpeaker"}},
      {"--host pipe device", {"--host: \"pipe\"", "simulated or pipewire"}},
      {tone + " --frequency -440", {"--frequency: -440 is out of range", "from 0.1 to half the rate"}},
      {tone + " --frequency nan", {"--frequency: \"nan\" is no number", "from 0.1 to half the rate"}},
      {tone + " --frequency 16000.01", {"--frequency: 16000.01", "from 0.1 to 16000", "24000 with --monotone"}},
      {tone + " --frequency 24001 --monotone", {"--frequency: 24001", "from 0.1 to 24000"}},
      {tone + " --frequency 5000 --client-rate 8000", {"rate of 8000", "from 0.1 to 2666.6666666666665"}},
      {tone + ",rate=500", {"--frequency: 261", "to 166.66666666666666"}},
      {tone + " --amplitude 1.01", {"--amplitude: 1.01 is out of range", "0 to 1"}},
      {tone + " --amplitude ''", {"--amplitude: \"\" is no number", "0 to 1"}},
      {tone + " --client-rate 0", {"--client-rate: 0 is out of range", "from 1 to 768000"}},
      {"record " + file + " --client-rate 22050.5", {"--client-rate: 22050.5", "whole hertz, from 1 to 768000"}},
      {"record", {"PATH is required", "'orvane record --help'"}},
      {"device --simulate =3", {"--simulate: unknown key \"\""}},
      {"device --simulate pace=slow", {"--simulate: ", "pace"}},
      {"device --simulate rate=768001", {"--simulate: ", "rate"}},
      {"device --simulate inputs=65", {"--simulate: ", "inputs"}},
      {"device --simulate mic=tone:loud", {"--simulate: ", "mic"}},
      {"device --simulate rate=8000,rate=9000", {"--simulate: ", "rate"}},
      {voice + ",rate=48000", {"--simulate: ", "rate"}},
  };
  for (const auto& [arguments, said] : cases) {
    const Ended ended = runTool(arguments);
    EXPECT_EQ(ended.status, 2) << arguments;
    EXPECT_EQ(ended.output, "");
    EXPECT_THAT(ended.errors, testing::StartsWith("orvane: "));
    for (const std::string& words : said) EXPECT_THAT(ended.errors, HasSubstr(words));
    EXPECT_FALSE(std::filesystem::exists(file));
  }
}

TEST(Usage, HelpTellsEveryCommandWithAnExample) {
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

}  // namespace
}  // namespace orvane::test
