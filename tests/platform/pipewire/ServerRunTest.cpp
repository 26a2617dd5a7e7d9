// SPDX-License-Identifier: MIT

// Whole runs of the tool on a private sound server, heard and fed by the server's own programs.

#include <gmock/gmock.h>

#include <algorithm>
#include <cmath>
#include <memory>
#include <numbers>

#include "tests/platform/pipewire/PrivateServer.h"

namespace orvane::test {
namespace {

using testing::HasSubstr;

/// A sine obeys x[n+1] = 2 cos(w) x[n] - x[n-1]; returns the samples that do not, between the first and the last sound.
std::size_t breaksOfSine(const std::vector<float>& samples, double hertz) {
  const double factor = 2 * std::cos(2 * std::numbers::pi * hertz / rate);
  const auto isSound = [](float sample) { return sample != 0; };
  const auto first = std::ranges::find_if(samples, isSound);
  const auto end = std::find_if(samples.rbegin(), samples.rend(), isSound).base();
  std::size_t breaks = 0;
  for (auto at = first + 1; at + 1 < end; ++at) {
    if (std::abs(at[1] - (factor * at[0] - at[-1])) > 1e-5) ++breaks;
  }
  return breaks;
}

TEST(ServerRun, PlaysATone) {
  const PrivateServer server;
  Recorder recorder(server, "test.speaker:monitor_FL", "test.speaker:monitor_FR");
  const Ended ended = runTool("--json tone --frequency 400 --seconds 2");
  const Sound sound = recorder.finish();
  EXPECT_EQ(ended.status, 0) << ended;
  EXPECT_THAT(ended.output, HasSubstr(R"("host":"pipewire","ended":"seconds","seconds":2.0,"frames":96000,)"));
  const auto discontinuities = static_cast<std::size_t>(numberOf(ended.output, "discontinuities"));
  for (const auto& [channel, hertz] : {std::pair(0U, 400.0), std::pair(1U, 600.0)}) {
    const std::vector<float> samples = channelOf(sound, channel);
    EXPECT_NEAR(*std::ranges::max_element(samples), 0.25, 1e-4);
    // A loss breaks the equations on both sides of the gap. The recorder may lose something too on a busy machine.
    EXPECT_LE(breaksOfSine(samples, hertz), 6 * (discontinuities + busyLosses)) << hertz << " Hz";
    EXPECT_GE(samples.size() - static_cast<std::size_t>(std::ranges::count(samples, 0.0F)), 90'000U);
  }
}

TEST(ServerRun, RecordsWhatIsFed) {
  const PrivateServer server;
  const Feeder feeder(server, 4);
  const std::string file = server.file("recorded.wav");
  const Ended ended = runTool("--json record --seconds 2 " + file);
  EXPECT_EQ(ended.status, 0) << ended;
  EXPECT_EQ(framesOfWholeFile(file), "96000");
  const Sound sound = readSound(file);
  for (const std::size_t channel : {0U, 1U}) {
    const Heard heard = hear(channelOf(sound, channel));
    EXPECT_LE(heard.breaks, numberOf(ended.output, "discontinuities") + busyLosses) << ended;
    EXPECT_GE(heard.frames, 90'000U);
  }
}

TEST(ServerRun, PassesInputToOutputWithTheLatencyThatItReports) {
  const PrivateServer server;
  for (const int quantum : {64, 256, 1024}) {
    const Feeder feeder(server, 4);
    // The microphone and the speaker in one file, so that both are on one clock.
    Recorder recorder(server, "test.microphone:capture_FL", "test.speaker:monitor_FL");
    const Ended ended = runTool("--json --slice " + std::to_string(quantum) + " playthru --seconds 1");
    const Sound sound = recorder.finish();
    EXPECT_EQ(ended.status, 0) << ended;
    EXPECT_EQ(numberOf(ended.output, "slice"), quantum);
    const std::vector<float> microphone = channelOf(sound, 0);
    const std::vector<float> speaker = channelOf(sound, 1);
    std::size_t late = 0;
    std::size_t others = 0;
    for (std::size_t i = 0; i < speaker.size(); ++i) {
      if (speaker[i] == 0) continue;
      const int delay = PlaceSignal::placeOf(microphone[i]) - PlaceSignal::placeOf(speaker[i]);
      // The monitor of a null sink that drives the graph is one cycle late by itself.
      const int expected = static_cast<int>(numberOf(ended.output, "latencyFrames")) + quantum;
      ++((delay + PlaceSignal::period) % PlaceSignal::period == expected ? late : others);
    }
    EXPECT_GE(late, 30'000U) << "quantum " << quantum;
    EXPECT_LE(others, late / 10) << "quantum " << quantum;
  }
}

TEST(ServerRun, AddsTheLatencyThatTheServersDevicesReport) {
  const PrivateServer server;
  const auto latencyOf = [](const std::string& output) {
    const Ended ended = runTool("--json --output " + output + " playthru --seconds 0.2");
    EXPECT_EQ(ended.status, 0) << ended;
    return numberOf(ended.output, "latencyFrames");
  };
  const Program peer(ORVANE_LATENCY_PEER " test.peer 1000");
  await([] { return run("pw-link -i").output.find("test.peer:playback_1") != std::string::npos; });
  EXPECT_EQ(latencyOf("test.peer"), latencyOf("test.speaker") + 1000);
}

/// A pair of commands that play a file and record one.
struct FileCommands {
  std::string name;
  std::string play;
  std::string record;  ///< With the beginning of the file's name.
};
class ServerFiles : public testing::TestWithParam<FileCommands> {};

TEST_P(ServerFiles, ArePlayedAndRecordedWithTheSameSamples) {
  const PrivateServer server;
  Sound sound{.rate = rate, .channels = 1, .samples = {}};
  for (std::size_t frame = 0; frame < 2 * rate; ++frame) sound.samples.push_back(PlaceSignal::at(frame));
  const std::string played = server.file("played.wav");
  const std::string file = server.file("recorded.aif");
  writeSound(played, sound);
  Program recorder(ORVANE_TOOL " --input test.speaker.monitor --json " + GetParam().record + file + " --seconds 4");
  await([] { return run("pw-link -l").output.find("|-> orvane:") != std::string::npos; });
  const Ended ended = runTool("--json " + GetParam().play + " " + played);
  EXPECT_EQ(ended.status, 0) << ended;
  EXPECT_THAT(ended.output, HasSubstr(R"("ended":"finished")"));
  EXPECT_EQ(recorder.finish().status, 0);
  EXPECT_EQ(framesOfWholeFile(file), "192000");
  const Heard heard = hear(channelOf(readSound(file), 0));
  EXPECT_LE(heard.breaks, numberOf(ended.output, "discontinuities") + busyLosses) << ended;
  EXPECT_GE(heard.frames, 90'000U);
  EXPECT_LE(heard.frames, 96'000U + busyLosses * 1024);
}

INSTANTIATE_TEST_SUITE_P(Tool, ServerFiles,
                         testing::Values(FileCommands{"Queue", "queue play", "queue record --format 48000-S16IE-1 "},
                                         FileCommands{"Engine", "engine play", "engine record file://"}),
                         [](const auto& each) { return each.param.name; });

TEST(ServerRun, DetectsASilentInput) {
  const PrivateServer server;
  const Ended ended = runTool("engine record --detect-silence file://" + server.file("silence.wav"));
  EXPECT_EQ(ended.status, 3) << ended;
  EXPECT_THAT(ended.errors, HasSubstr("Average power per channel is below threshold of -160 dB"));
}

TEST(ServerRun, PlaysTheSystemSoundsOfTheSimulatedDevice) {
  const PrivateServer server;
  const auto heard = [](const Sound& sound) {
    std::vector<float> samples = channelOf(sound, 0);
    samples.erase(samples.begin(), std::ranges::find_if(samples, [](float sample) { return sample != 0; }));
    while (!samples.empty() && samples.back() == 0) samples.pop_back();
    return samples;
  };
  const std::string file = server.file("simulated.wav");
  ASSERT_EQ(runTool("--simulate pace=fast,speaker=" + file + " sound 6 --wait").status, 0);
  const std::vector<float> expected = heard(readSound(file));
  // A server on a busy machine may drop a cycle, but hardly three times.
  bool isSame = false;
  for (int round = 0; round < 3 && !isSame; ++round) {
    Recorder recorder(server, "test.speaker:monitor_FL", "test.speaker:monitor_FR");
    EXPECT_EQ(runTool("sound 6 --wait"), Ended{0});
    isSame = heard(recorder.finish()) == expected;
  }
  EXPECT_TRUE(isSame);
}

TEST(ServerRun, LabelsItsNodeWithTheSession) {
  const PrivateServer server;
  Program tool(ORVANE_TOOL " --verbose playthru --category PlayAndRecord --mode VoiceChat --option duckOthers=on");
  std::string nodes;
  await([&nodes] {
    nodes = run("timeout 2 pw-dump").output;
    return nodes.find("orvane.session.mode") != std::string::npos;
  });
  tool.send(SIGTERM);
  for (const char* property : {R"("media.category": "Duplex")", R"("media.role": "Communication")",
                               R"("orvane.session.category": "orvane.category.play-and-record")",
                               R"("orvane.session.mode": "orvane.mode.voice-chat")"}) {
    EXPECT_THAT(nodes, HasSubstr(property));
  }
  EXPECT_THAT(tool.finish().errors, HasSubstr("does not enforce session options"));
}

TEST(ServerRun, SharesTheServerWithOthers) {
  const PrivateServer server;
  Recorder recorder(server, "test.speaker:monitor_FL", "test.speaker:monitor_FR");
  Program first(ORVANE_TOOL " tone --monotone --seconds 1");
  Program second(ORVANE_TOOL " tone --monotone --frequency 1000 --seconds 1");
  // A machine under load may interrupt either of them, which they say.
  EXPECT_EQ(first.finish().status, 0);
  EXPECT_EQ(second.finish().status, 0);
  const std::vector<float> samples = channelOf(recorder.finish(), 0);
  EXPECT_GT(*std::ranges::max_element(samples), 0.45) << "both are heard at a time";
}

TEST(ServerRun, FollowsTheDefaultsOfASessionManager) {
  const PrivateServer server(stereoDevices() + deviceEntry("test.spare", "Audio/Sink", "FL FR"),
                             PrivateServer::Defaults::ofSessionManager);
  const std::string folders = "env HOME=" + server.file("home") + " XDG_STATE_HOME=" + server.file("state") +
                              " XDG_CONFIG_HOME=" + server.file("config") + " ";
  // The choice that a user made at the desktop some time ago.
  std::filesystem::create_directories(server.file("state/wireplumber"));
  std::ofstream(server.file("state/wireplumber/default-nodes"))
      << "[default-nodes]\ndefault.configured.audio.sink=test.spare\n";
  Program manager(folders + "dbus-run-session -- sh -c 'echo $$ >" + server.file("manager") + "; exec wireplumber'");
  // While it starts, the session manager announces its choice, takes it back and announces it again.
  int agreeing = 0;
  EXPECT_TRUE(await([&agreeing] {
    agreeing = runTool("device --list").output.find("* test.spare ") != std::string::npos ? agreeing + 1 : 0;
    return agreeing == 20;
  }));
  Program tool(ORVANE_TOOL " tone");
  EXPECT_TRUE(await([] {
    return run("pw-link -l").output.find("orvane:output_1\n  |-> test.spare:playback_FL") != std::string::npos;
  }));
  tool.send(SIGTERM);
  EXPECT_EQ(tool.finish().status, 0);
  // Its message bus ends after it.
  ::kill(std::stoi(readFile(server.file("manager"))), SIGKILL);
  manager.finish();
}

TEST(ServerRun, UsesDevicesOfAnyNumberOfChannels) {
  const PrivateServer server(deviceEntry("test.eight", "Audio/Sink", "FL FR FC LFE RL RR SL SR") +
                             deviceEntry("test.mono", "Audio/Source/Virtual", "MONO"));
  EXPECT_THAT(runTool("device").output, testing::ContainsRegex("hardware input +48000 Hz, 1 channel,(.|\n)*"
                                                               "hardware output +48000 Hz, 8 channels,"));
  const Ended ended = runTool("--json playthru --seconds 0.2");
  EXPECT_EQ(ended.status, 0) << ended;
  EXPECT_EQ(numberOf(ended.output, "frames"), 9600);
  Recorder recorder(server, "test.eight:monitor_FR", "test.eight:monitor_SR");
  EXPECT_EQ(runTool("tone --seconds 0.5").status, 0);
  const Sound sound = recorder.finish();
  EXPECT_GT(std::ranges::max(channelOf(sound, 0)), 0.24F) << "the second of two channels";
  EXPECT_EQ(std::ranges::max(channelOf(sound, 1)), 0.0F) << "a channel that a stereo tone lacks";
}

TEST(ServerRun, NamesASideThatTheServerLacks) {
  const PrivateServer bare("");
  EXPECT_EQ(runTool("device --list"), (Ended{0, "inputs\n  none\noutputs\n  none\n"}));
  EXPECT_EQ(runTool("device"), (Ended{77, "", "orvane: the pipewire host has no audio input and no audio output\n"}));
  EXPECT_EQ(runTool("tone"), (Ended{77, "", "orvane: the pipewire host has no audio output\n"}));
  const PrivateServer speakerOnly(deviceEntry("test.speaker", "Audio/Sink", "FL FR"));
  EXPECT_EQ(runTool("tone --seconds 0.1").status, 0);
  EXPECT_EQ(runTool("meter"), (Ended{77, "", "orvane: the pipewire host has no audio input\n"}));
}

TEST(ServerRun, FindsTheModuleFromAnyFolder) {
  const PrivateServer server;
  const std::filesystem::path tool = ORVANE_TOOL;
  const std::string library = (tool.parent_path() / "../..").string();
  EXPECT_THAT(run("env -C " + library + " LD_LIBRARY_PATH=. " + tool.string() + " device").output,
              testing::StartsWith("host              pipewire\n"));
}

TEST(ServerRun, EndsWithARateThatDependsOnTheSideInUse) {
  // The microphone makes the graph run at another rate than the speaker alone does.
  const PrivateServer server(
      deviceEntry("test.speaker", "Audio/Sink", "FL FR") +
      deviceEntry("test.microphone node.force-rate=44100 node.rate=1/44100", "Audio/Source/Virtual", "FL FR"));
  for (const std::string command : {"tone", "meter", "playthru"}) {
    const Ended ended = runTool("--json " + command + " --seconds 0.3");
    EXPECT_EQ(ended.status, 0) << ended;
    EXPECT_LE(numberOf(ended.output + ended.errors, "discontinuities"), 2) << ended;
  }
}

struct ServerCase {
  std::string name;
  int status;
  std::string arguments;
  std::string said;
};
void PrintTo(const ServerCase& each, std::ostream* stream) {
  *stream << each.arguments;
}
class ServerChoice : public testing::TestWithParam<ServerCase> {};

TEST_P(ServerChoice, IsFollowedOrRefused) {
  const PrivateServer server;
  const Ended ended = runTool(GetParam().arguments);
  EXPECT_EQ(ended.status, GetParam().status) << ended;
  EXPECT_THAT(ended.output + ended.errors, HasSubstr(GetParam().said));
}

constexpr char microphoneJson[] =
    R"("inputs":[{"name":"test.microphone","description":"The test.microphone","channelCount":2,"sampleRate":48000.0,"default":true},{"name":"test.speaker.monitor",)";

INSTANTIATE_TEST_SUITE_P(
    Tool, ServerChoice,
    testing::Values(
        ServerCase{"List", 0, "device --list", "* test.speaker  (The test.speaker, 2 channels, 48000 Hz)\n"},
        ServerCase{"ListAsJson", 0, "--json device --list", microphoneJson},
        ServerCase{"Formats", 0, "device", "hardware output   48000 Hz, 2 channels"},
        ServerCase{"Rate", 0, "--rate 44100 device", "client input      44100 Hz, 2 channels"},
        ServerCase{"HighRate", 0, "--rate 96000 --json playthru --seconds 0.1", "\"frames\":9600,"},
        ServerCase{"NearestRateThatTheServerHas", 0, "--rate 32000 device", "hardware output   44100 Hz"},
        ServerCase{"Slice", 0, "--slice 1024 --json tone --seconds 0.1", "\"frames\":4800,\"slice\":1024,"},
        ServerCase{"Description", 0, "--output 'The test.speaker' tone --seconds 0.1", ""},
        ServerCase{"Monitor", 0, "--input test.speaker.monitor --json playthru --seconds 0.1", "\"frames\":4800"},
        ServerCase{"ClientRate", 0, "--json tone --client-rate 22050 --seconds 0.1", "\"sampleRate\":22050.0"},
        ServerCase{"UnknownName", 77, "--output speaker tone",
                   "orvane: no audio output is named \"speaker\"; there is test.speaker\n"},
        ServerCase{"None", 77, "--input none record a.wav", "the pipewire host has no audio input"},
        ServerCase{"WithSimulate", 2, "--rate 48000 --simulate pace=fast tone", "ask for a device of the sound server"},
        ServerCase{"NoName", 2, "--input '' tone", "--input: the name is empty; it takes a name from 'device --list'"},
        ServerCase{"BadSlice", 2, "--slice 0 tone", "--slice: 0 is out of range; it takes whole frames, from 1 to"}),
    [](const auto& each) { return each.param.name; });

}  // namespace
}  // namespace orvane::test
